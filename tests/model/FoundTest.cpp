// Sequences under which the model and the tables once differed, as small as they go.
#include <gtest/gtest.h>

#include "Compare.h"

namespace Model {
namespace {

// The parked record held the last reference to its own key's handle: what the table had for the key
// went with it, and was read afterwards.
TEST(Found, AParkedRecordThatHoldsItsOwnHandleIsReplaced) {
  EXPECT_EQ(difference({
                .reactions = {},
                .steps =
                    {
                        {Kind::externRow, {5, 1}},
                        {Kind::externState, {5, 1}},
                        {Kind::hopRef, {0, 0, 0, 0, 2}},
                        {Kind::hopRef, {0, 117, 0, 0, 2}},
                        {Kind::ingressCommit, {5, 0, 0, 0, 2}},
                        {Kind::hopRef, {}},
                    },
            }),
            "");
}

// A handle that is registered no longer ends when another one is: the clean-up takes the other's
// record, with it the other handle itself, and still announces the removal of a registration.
TEST(Found, AnUnregisteredHandleEndsBesideAnotherOne) {
  EXPECT_EQ(difference({
                .reactions = {},
                .steps =
                    {
                        {Kind::groupWriteAtIndex, {}},
                        {Kind::rawEntryHandleDel, {1}},
                        {Kind::groupWriteAtIndex, {0, 7}},
                    },
            }),
            "");
}

// Needed handles that only a parked record keeps end from the last slot to the first.
TEST(Found, TheHandlesOfADroppedRecordEndFromTheLastSlotOn) {
  EXPECT_EQ(difference({
                .reactions = {},
                .steps =
                    {
                        {Kind::externState, {2, 1}},
                        {Kind::externRow, {2, 1}},
                        {Kind::groupWrite, {0, 0, 0, 0, 4}},
                        {Kind::hopCommit, {0, 0, 0, 0, 3}},
                        {Kind::ingressCommit, {2, 153}},
                    },
            }),
            "");
}

// A handler that raises while its reactor turns to another handle does not keep it from watching.
TEST(Found, AReactorWatchesOnAfterAHandlerThatRaised) {
  EXPECT_EQ(difference({
                .reactions = {{{}, {}, {{Kind::raise, {}}}, {}}},
                .steps =
                    {
                        {Kind::externRow, {2, 1}},
                        {Kind::externState, {2, 1}},
                        {Kind::externRow, {0, 1}},
                        {Kind::externState, {0, 1}},
                        {Kind::ingressCommit, {0, 1, 3}},
                        {Kind::pendingEntrySmIs, {}},
                        {Kind::ingressCommit, {0, 3, 3}},
                        {Kind::ingressWrite, {0, 13, 1, 1}},
                    },
            }),
            "");
}

// What needs no handle is never written, also when its count is set to what it needs.
TEST(Found, ABlockWithoutMembersIsNotCommittedByItsCount) {
  EXPECT_EQ(difference({
                .reactions = {},
                .steps =
                    {
                        {Kind::memberRef, {0, 0, 0, 0, 3}},
                        {Kind::successCountIs, {2, 3, 1}},
                        {Kind::successCountIs, {2, 3}},
                    },
            }),
            "");
}

// A table that is destroyed while an operation holds it: its hardware's answers are thrown away at
// once, not when the operation has ended.
TEST(Found, ATableThatIsDestroyedInItsOperationIsNotAnsweredAnyMore) {
  EXPECT_EQ(difference({
                .reactions = {{{{Kind::destroy, {}}, {Kind::answer, {0, 1}}}, {}, {}, {}}},
                .steps =
                    {
                        {Kind::externRow, {2, 1}},
                        {Kind::externState, {2, 1}},
                        {Kind::ingressCommit, {2, 3, 1}},
                    },
            }),
            "");
}

// What ends the process first is what is told: the end of a handle without registration, before
// the write that has no allocator.
TEST(Found, AHandleWithoutRegistrationEndsBeforeTheAllocatorIsMissed) {
  EXPECT_EQ(difference({
                .reactions = {},
                .steps =
                    {
                        {Kind::externRow, {2, 1}},
                        {Kind::hopCommit, {1, 0, 0, 0, 1}},
                        {Kind::entryHandleMutate, {1, 1, 0, 0, 1}},
                        {Kind::externState, {2, 1}},
                        {Kind::allocatorDel, {}},
                        {Kind::copySlot, {0, 1}},
                        {Kind::hopWrite, {1, 3, 0, 1}},
                    },
            }),
            "");
}

// A record that is written without an allocator: the handle shows that the hardware has not
// answered, and then the process ends.
TEST(Found, AHandleIsResetBeforeTheAllocatorIsMissed) {
  EXPECT_EQ(difference({
                .reactions = {},
                .steps =
                    {
                        {Kind::externRow, {2, 1}},
                        {Kind::externState, {2, 1}},
                        {Kind::hopCommit, {1, 3, 0, 0, 1}},
                        {Kind::answer, {}},
                        {Kind::allocatorDel, {}},
                        {Kind::handleEntry, {1, 1}},
                    },
            }),
            "");
}

// A waiting block without a handle is named by its text, which does not show its members.
TEST(Found, ABlockThatWaitsWithoutAHandleIsNamedByItsText) {
  EXPECT_EQ(difference({
                .reactions = {},
                .steps =
                    {
                        {Kind::hopRef, {0, 0, 0, 0, 1}},
                        {Kind::unresolvedBlockIs, {0, 450}},
                        {Kind::memberRef, {0, 450}},
                    },
            }),
            "");
}

// A table that reacts to the removal of its pending reactors gets a new one: it goes as well.
TEST(Found, AReactorThatComesBackWhileAllAreRemovedGoesToo) {
  EXPECT_EQ(difference({
                .reactions = {{{}, {}, {}, {{Kind::ingressCommit, {5, 6}}}}},
                .steps =
                    {
                        {Kind::externRow, {5, 1}},
                        {Kind::externState, {5, 1}},
                        {Kind::externState, {2, 1}},
                        {Kind::externRow, {2, 1}},
                        {Kind::tableReacts, {0, 4}},
                        {Kind::ingressCommit, {2}},
                        {Kind::pendingEntrySmDelAll, {}},
                    },
            }),
            "");
}

// The same with parked records.
TEST(Found, ARecordThatIsParkedAgainWhileAllAreRemovedGoesToo) {
  EXPECT_EQ(difference({
                .reactions = {{{}, {{Kind::hopCommit, {}}}, {}, {}}},
                .steps =
                    {
                        {Kind::hopRef, {}},
                        {Kind::tableReacts, {1, 2}},
                        {Kind::unresolvedEntryDelAll, {1}},
                    },
            }),
            "");
}

// A table that is taken apart lets its allocator go first; what becomes complete then still enters
// the collection, without hardware.
TEST(Found, ARecordBecomesCompleteWhileItsTableIsTakenApart) {
  EXPECT_EQ(difference({
                .reactions = {{{{Kind::answer, {}}}, {}, {}, {}}},
                .steps =
                    {
                        {Kind::externRow, {1, 1}},
                        {Kind::externState, {1, 1}},
                        {Kind::groupCommit, {1}},
                        {Kind::tableReacts, {3, 1}},
                        {Kind::entryBlockIs, {0, 2}},
                        {Kind::hopWrite, {0, 2, 0, 0, 2}},
                        {Kind::groupCommit, {1, 9}},
                    },
            }),
            "");
}

// A write-response reactor hears answers only behind the announcement of its coming, ...
TEST(Found, AnAnswerWithinTheAnnouncementOfTheReactorIsNotHeard) {
  EXPECT_EQ(difference({
                .reactions = {{{}, {}, {{Kind::answer, {}}}, {}}},
                .steps =
                    {
                        {Kind::externState, {5, 1}},
                        {Kind::writeResponseSmDel, {1}},
                        {Kind::externRow, {5, 1}},
                        {Kind::groupRef, {0, 6}},
                        {Kind::tableReacts, {3, 3}},
                        {Kind::writeResponseSmIs, {1}},
                    },
            }),
            "");
}

// ... and until behind that of its going.
TEST(Found, AnAnswerWithinTheAnnouncementOfTheReactorsEndIsHeard) {
  EXPECT_EQ(difference({
                .reactions = {{{}, {}, {{Kind::answer, {}}}, {}}},
                .steps =
                    {
                        {Kind::externState, {5, 1}},
                        {Kind::externRow, {5, 1}},
                        {Kind::groupRef, {0, 6}},
                        {Kind::tableReacts, {3, 3}},
                        {Kind::writeResponseSmDel, {1}},
                    },
            }),
            "");
}

}  // namespace
}  // namespace Model
