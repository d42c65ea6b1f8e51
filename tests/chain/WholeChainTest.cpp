// Next hops, blocks and groups together: arrival in every order, answers, swaps, handlers that
// change the chain, and many that wait for one.
#include <algorithm>
#include <chrono>
#include <numeric>

#include "ChainTables.h"

namespace ChainTests {
namespace {

class WholeChainTest : public ChainTest {
 protected:
  World world;
  Journal& journal = world.journal;
  Vek::Ptr<TestHandle> const oif = programmedHandle(5);
  EcmpIngL3NextHop1Table& hops = *world.hops.table;
  L3EcmpMemberTable& members = *world.members.table;
  L3EcmpGroupTable& groups = *world.groups.table;

  NeededHandle hop(std::uint32_t n) {
    return hops.entryRef(NextHops::key(n), NextHops::entry(oif, static_cast<std::uint16_t>(n)));
  }
};

TEST_F(WholeChainTest, ResolvesInsideOneHardwareAnswer) {
  auto const block = members.entryBlockRef(blockOf({hop(1)}));
  auto const group = groups.entryRefWithResponseHandler(Groups::key(7), Groups::entry(block, 1),
                                                        recordingHandler(journal, "group"));
  EXPECT_EQ(journal.take(), (Lines{"hop write 1 5/1"}));
  world.hops.answer(1);
  EXPECT_EQ(journal.take(), (Lines{"member write 0 1", "group write 1 0/1"}));
  world.groups.answer(1);
  EXPECT_EQ(journal.take(), (Lines{"group answered 1"}));
}

TEST_F(WholeChainTest, ResolvesInsideTheWriteWhenTheHardwareAnswersAtOnce) {
  world.hops.answerAtOnce();
  world.groups.answerAtOnce();
  auto const block = members.entryBlockRef(blockOf({hop(1), hop(2)}));
  auto const group = groups.entryRef(Groups::key(7), Groups::entry(block, 2));
  EXPECT_EQ(journal.take(), (Lines{"hop write 1 5/1", "hop write 2 5/2", "member write 0 1",
                                   "member write 1 2", "group write 1 0/2"}));
  EXPECT_TRUE(group->isProgrammed());
}

TEST_F(WholeChainTest, ARefusedNextHopHoldsBackBlockAndGroupUntilItIsMended) {
  auto const first = hop(1);
  auto const block = members.entryBlockRef(blockOf({first}));
  auto const group = groups.entryRef(Groups::key(7), Groups::entry(block, 1));
  journal.take();
  world.hops.answer(1, refused);
  EXPECT_EQ(journal.take(), Lines{});
  hops.entryRef(NextHops::key(1), NextHops::entry(oif, 50));
  world.hops.answer(1);
  EXPECT_EQ(journal.take(), (Lines{"hop write 1 5/50", "member write 0 1", "group write 1 0/1"}));
}

// Two interfaces, two next hops, a block and a group: each interface comes up, and each entry is
// written, in every order in which they can be written at all.
TEST_F(WholeChainTest, EndsTheSameInEveryOrderOfArrival) {
  // Steps: 0, 1 interface up; 2, 3 answer for the next hop's write; 4 block; 5 group. Handles exist
  // from the start, as stand-ins are not needed: hops are written parked.
  std::vector<int> order(6);
  std::iota(order.begin(), order.end(), 0);
  int runs = 0;
  do {
    // The group needs the block's handle, and a write is answered after it was made.
    auto const at = [&](int step) { return std::find(order.begin(), order.end(), step); };
    if (at(5) < at(4) || at(2) < at(0) || at(3) < at(1)) continue;
    ++runs;
    World own;
    Vek::Ptr<TestHandle> const ports[] = {waitingHandle(), waitingHandle()};
    NeededHandle const hop1 =
        own.hops.table->entryRef(NextHops::key(1), NextHops::entry(ports[0], 1));
    NeededHandle const hop2 =
        own.hops.table->entryRef(NextHops::key(2), NextHops::entry(ports[1], 2));
    NeededHandle block;
    NeededHandle group;
    std::map<std::string, std::uint32_t> rowOf;
    for (int const step : order) {
      switch (step) {
        case 0:
        case 1:
          program(*ports[step], 8 + static_cast<std::uint32_t>(step));
          for (auto const& [row, text] : own.hops.util->rows) rowOf[text] = row;
          break;
        case 2:
          own.hops.answer(rowOf.at("8/1"));
          break;
        case 3:
          own.hops.answer(rowOf.at("9/2"));
          break;
        case 4:
          block = own.members.table->entryBlockRef(blockOf({hop1, hop2}));
          break;
        default:
          group = own.groups.table->entryRef(Groups::key(7), Groups::entry(block, 2));
          break;
      }
      bool const hopsDone = hop1->isProgrammed() && hop2->isProgrammed();
      EXPECT_EQ(own.members.util->rows.size(), hopsDone && block ? 2U : 0U);
      EXPECT_EQ(own.groups.util->rows.size(), hopsDone && group ? 1U : 0U);
    }
    auto const text1 = std::to_string(rowOf.at("8/1"));
    auto const text2 = std::to_string(rowOf.at("9/2"));
    EXPECT_EQ(own.members.util->rows,
              (std::map<std::uint32_t, std::string>{{0, text1}, {1, text2}}));
    EXPECT_EQ(own.groups.util->rows, (std::map<std::uint32_t, std::string>{{1, "0/2"}}));
    group = nullptr;
    EXPECT_TRUE(own.groups.util->rows.empty());
    block = nullptr;
    EXPECT_TRUE(own.members.util->rows.empty());
  } while (std::next_permutation(order.begin(), order.end()));
  EXPECT_EQ(runs, 90);
}

// What is written waits for stand-ins that come up in every order.
TEST_F(WholeChainTest, GroupsOnBlocksThatShareNextHopsResolveInEveryOrderOfTheNextHops) {
  std::vector<int> order{0, 1, 2, 3};
  int runs = 0;
  do {
    ++runs;
    World own;
    std::vector<Vek::Ptr<TestHandle>> next;
    for (int n = 0; n < 4; ++n) next.push_back(waitingHandle());
    std::vector<std::vector<int>> const sets{{0, 1}, {1, 2, 3}, {0, 3}, {2}};
    std::vector<NeededHandle> groupsHeld;
    for (std::size_t s = 0; s < sets.size(); ++s) {
      std::vector<NeededHandle> picked;
      for (int const n : sets[s]) picked.emplace_back(next[static_cast<std::size_t>(n)]);
      groupsHeld.push_back(own.groups.table->entryRef(
          Groups::key(static_cast<std::uint32_t>(s)),
          Groups::entry(own.members.table->entryBlockRef(blockOf(picked)), 1)));
    }
    std::vector<bool> up(4);
    for (int const n : order) {
      program(*next[static_cast<std::size_t>(n)], 100 + static_cast<std::uint32_t>(n));
      up[static_cast<std::size_t>(n)] = true;
      for (std::size_t s = 0; s < sets.size(); ++s) {
        bool const complete = std::all_of(sets[s].begin(), sets[s].end(),
                                          [&](int m) { return up[static_cast<std::size_t>(m)]; });
        EXPECT_EQ(own.groups.table->entryExists(Groups::key(static_cast<std::uint32_t>(s))),
                  complete);
      }
    }
    EXPECT_EQ(own.groups.util->rows.size(), 4U);
    EXPECT_EQ(own.members.util->rows.size(), 8U);
  } while (std::next_permutation(order.begin(), order.end()));
  EXPECT_EQ(runs, 24);
}

TEST_F(WholeChainTest, DroppingTheGroupTakesBlockAndNextHopsThatOnlyItKept) {
  world.hops.answerAtOnce();
  auto group = groups.entryRef(Groups::key(7),
                               Groups::entry(members.entryBlockRef(blockOf({hop(1), hop(2)})), 2));
  journal.take();
  group = nullptr;
  EXPECT_EQ(journal.take(), (Lines{"group delete 1", "member delete 0", "member delete 1",
                                   "hop delete 1", "hop delete 2"}));
}

TEST_F(WholeChainTest, ANewBlockIsWrittenAndPointedAtBeforeTheOldOneIsDeleted) {
  world.hops.answerAtOnce();
  groups.entryCommit(Groups::key(7), Groups::entry(members.entryBlockRef(blockOf({hop(1)})), 1));
  journal.take();
  groups.entryCommit(Groups::key(7),
                     Groups::entry(members.entryBlockRef(blockOf({hop(2), hop(3)})), 2));
  EXPECT_EQ(journal.take(),
            (Lines{"hop write 2 5/2", "hop write 3 5/3", "member write 1 2", "member write 2 3",
                   "group write 1 1/2", "member delete 0", "hop delete 1"}));
}

TEST_F(WholeChainTest, TheOldBlockServesUntilALateNewOneIsThere) {
  world.hops.answerAtOnce();
  groups.entryCommit(Groups::key(7), Groups::entry(members.entryBlockRef(blockOf({hop(1)})), 1));
  auto const lateHop = waitingHandle();
  groups.entryCommit(Groups::key(7), Groups::entry(members.entryBlockRef(blockOf({lateHop})), 1));
  EXPECT_EQ(world.groups.util->rows.at(1), "0/1");
  EXPECT_EQ(world.members.util->rows.size(), 1U);
  journal.take();
  program(*lateHop, 9);
  EXPECT_EQ(journal.take(),
            (Lines{"member write 1 9", "group write 1 1/1", "member delete 0", "hop delete 1"}));
}

TEST_F(WholeChainTest, AHandlerMayWriteADifferentRecordForItsKey) {
  auto const other = waitingHandle();
  bool done = false;
  auto const handle =
      hops.entryRefWithResponseHandler(NextHops::key(1), NextHops::entry(oif, 1), [&](State state) {
        journal.add("answered " + std::to_string(state));
        if (std::exchange(done, true)) return;
        hops.entryRefWithResponseHandler(NextHops::key(1), NextHops::entry(other, 2),
                                         recordingHandler(journal, "second"));
      });
  world.hops.answer(1);
  EXPECT_EQ(hops.getEntry(NextHops::key(1)), NextHops::entry(other, 2));
  program(*other, 6);
  world.hops.answer(1);
  EXPECT_EQ(journal.take(),
            (Lines{"hop write 1 5/1", "answered 1", "hop write 1 6/2", "second answered 1"}));
}

TEST_F(WholeChainTest, AHandlerInsideTheWriteMayWriteADifferentRecord) {
  auto const other = waitingHandle();
  world.hops.answerAtOnce();
  auto const handle = hops.entryRefWithResponseHandler(
      NextHops::key(1), NextHops::entry(oif, 1),
      [&](State) { hops.entryRef(NextHops::key(1), NextHops::entry(other, 2)); });
  // The record that the handler parked stays parked, although the outer write ends after it.
  ASSERT_TRUE(hops.unresolvedEntry(NextHops::key(1)));
  EXPECT_EQ(hops.unresolvedEntry(NextHops::key(1))->entry(), NextHops::entry(other, 2));
  EXPECT_EQ(hops.entry(NextHops::key(1)), NextHops::entry(oif, 1));
  program(*other, 6);
  EXPECT_EQ(journal.take(), (Lines{"hop write 1 5/1", "hop write 1 6/2"}));
}

TEST_F(WholeChainTest, AHandlerInsideTheWriteMayProgramADifferentRecordAtOnce) {
  world.hops.answerAtOnce();
  Vek::Ptr<TestHandle> const other = programmedHandle(6);
  auto const handle = hops.entryRefWithResponseHandler(
      NextHops::key(1), NextHops::entry(oif, 1),
      [&](State) { hops.entryRef(NextHops::key(1), NextHops::entry(other, 2)); });
  EXPECT_EQ(journal.take(), (Lines{"hop write 1 5/1", "hop write 1 6/2"}));
  EXPECT_EQ(hops.entry(NextHops::key(1)), NextHops::entry(other, 2));
  EXPECT_EQ(hops.unresolvedEntrys(), 0U);
  EXPECT_EQ(world.hops.util->rows.at(1), "6/2");
}

TEST_F(WholeChainTest, AHandlerMayDropItsOwnHandle) {
  NeededHandle held;
  held = hops.entryRefWithResponseHandler(NextHops::key(1), NextHops::entry(oif, 1), [&](State) {
    journal.add("answered");
    held = nullptr;
  });
  world.hops.answer(1);
  EXPECT_EQ(journal.take(), (Lines{"hop write 1 5/1", "answered", "hop delete 1"}));
  EXPECT_FALSE(hops.entryHandleExists(NextHops::key(1)));
}

TEST_F(WholeChainTest, AHandlerMayRemoveItsOwnKey) {
  hops.entryCommitWithResponseHandler(NextHops::key(1), NextHops::entry(oif, 1), [&](State) {
    journal.add("answered");
    hops.entryRemove(NextHops::key(1));
  });
  world.hops.answer(1);
  EXPECT_EQ(journal.take(), (Lines{"hop write 1 5/1", "answered", "hop delete 1"}));
  EXPECT_EQ(hops.entrys(), 0U);
}

TEST_F(WholeChainTest, AGroupMayBeRemovedWhileItsBlockResolves) {
  auto const lateHop = waitingHandle();
  auto block = members.entryBlockRef(blockOf({lateHop}));
  HandleWatch watch(journal, "block", *block);
  watch.onChange = [&] { groups.entryRemove(Groups::key(7)); };
  groups.entryCommit(Groups::key(7), Groups::entry(block, 1));
  auto const other = groups.entryRef(Groups::key(8), Groups::entry(block, 1));
  program(*lateHop, 9);
  EXPECT_EQ(journal.take(), (Lines{"member write 0 9", "block row 0 state 0", "block row 0 state 1",
                                   "group write 1 0/1"}));
  EXPECT_FALSE(groups.entryHandleExists(Groups::key(7)));
  EXPECT_TRUE(groups.entryExists(Groups::key(8)));
}

TEST_F(WholeChainTest, ADifferentBlockMayBeWrittenWhileTheBlockResolves) {
  auto const lateHop = waitingHandle();
  auto block = members.entryBlockRef(blockOf({lateHop}));
  HandleWatch watch(journal, "block", *block);
  bool done = false;
  watch.onChange = [&] {
    if (std::exchange(done, true)) return;
    groups.entryCommit(Groups::key(7),
                       Groups::entry(members.entryBlockRef(blockOf({lateHop, oif})), 2));
  };
  groups.entryCommit(Groups::key(7), Groups::entry(block, 1));
  program(*lateHop, 9);
  EXPECT_EQ(world.groups.util->rows, (std::map<std::uint32_t, std::string>{{1, "1/2"}}));
  EXPECT_EQ(world.members.util->rows.size(), 3U);
  block = nullptr;
  EXPECT_EQ(world.members.util->rows.size(), 2U);
}

TEST_F(WholeChainTest, ABlocksHandleMayBeDroppedWhileItsBlockResolves) {
  auto const lateHop = waitingHandle();
  NeededHandle block = members.entryBlockRef(blockOf({lateHop}));
  HandleWatch watch(journal, "block", *block);
  watch.onChange = [&] { block = nullptr; };
  program(*lateHop, 9);
  EXPECT_EQ(members.entryBlocks(), 0U);
  EXPECT_EQ(members.indexAllocator()->rowsInUse(), 0U);
  EXPECT_TRUE(world.members.util->rows.empty());
  EXPECT_EQ(members.unresolvedEntryBlocks(), 0U);
}

TEST_F(WholeChainTest, ABlockMayBeDroppedAndReferencedAnewWhileItResolves) {
  auto const lateHop = waitingHandle();
  NeededHandle block = members.entryBlockRef(blockOf({lateHop}));
  world.members.observe();
  bool done = false;
  world.members.watch->onAnnouncement = [&](std::string const& attribute) {
    if (attribute != "entryBlock" || std::exchange(done, true)) return;
    block = nullptr;
    block = members.entryBlockRef(blockOf({lateHop}));
  };
  program(*lateHop, 9);
  world.members.watch->onAnnouncement = nullptr;
  EXPECT_TRUE(block->isProgrammed());
  EXPECT_EQ(world.members.util->rows.size(), 1U);
  EXPECT_EQ(members.entryBlocks(), 1U);
  EXPECT_EQ(members.unresolvedEntryBlocks(), 0U);
}

TEST_F(WholeChainTest, ManyRoundsOfChangeLeaveNothingBehind) {
  world.record(false);
  world.hops.answerAtOnce();
  world.groups.answerAtOnce();
  for (std::uint32_t round = 0; round < 500; ++round) {
    std::vector<NeededHandle> picked;
    for (std::uint32_t n = 0; n <= round % 4; ++n) picked.push_back(hop(1 + (round + n) % 6));
    auto const block = members.entryBlockRef(blockOf(picked));
    groups.entryCommit(Groups::key(round % 3),
                       Groups::entry(block, static_cast<std::uint16_t>(picked.size())));
  }
  EXPECT_EQ(world.groups.util->rows.size(), 3U);
  for (std::uint32_t n = 0; n < 3; ++n) groups.entryRemove(Groups::key(n));
  EXPECT_TRUE(world.groups.util->rows.empty());
  EXPECT_TRUE(world.members.util->rows.empty());
  EXPECT_TRUE(world.hops.util->rows.empty());
  EXPECT_EQ(hops.firstFreeIndexAllocator()->rowsInUse(), 0U);
  EXPECT_EQ(members.indexAllocator()->largestFreeRun(), 16U);
}

// Seconds to park `count` groups on one handle, resolve them all with one change, and remove them.
double secondsFor(std::uint32_t count) {
  Journal journal;
  TableWorld<Groups> groups(journal, count + 1);
  groups.util->recording = false;
  auto const block = waitingHandle();
  std::vector<NeededHandle> handles;
  auto const start = std::chrono::steady_clock::now();
  for (std::uint32_t n = 0; n < count; ++n) {
    handles.push_back(groups.table->entryRef(Groups::key(n), Groups::entry(block, 1)));
  }
  program(*block, 64);
  EXPECT_EQ(groups.util->rows.size(), count);
  // From the middle outwards, so that neither end of a list is favoured.
  for (std::uint32_t n = 0; n < count; ++n) {
    handles[n % 2 == 0 ? count / 2 + n / 2 : (count - 1) / 2 - n / 2] = nullptr;
  }
  handles.clear();
  EXPECT_TRUE(groups.util->rows.empty());
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST_F(WholeChainTest, AHundredThousandWatchersOfOneHandleCostTenTimesTenThousand) {
  double const few = std::min(secondsFor(10'000), secondsFor(10'000));
  double const many = secondsFor(100'000);
  // Linear is ten times as much, more where memory is cold; quadratic is a hundred times.
  EXPECT_LT(many, 45 * few) << few << " s for 10,000, " << many << " s for 100,000";
}

}  // namespace
}  // namespace ChainTests
