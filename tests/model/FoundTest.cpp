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

}  // namespace
}  // namespace Model
