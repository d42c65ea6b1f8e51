// ECMP next hops, member blocks and groups over the simulated hardware: each alone, and the chain.
#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "SoftTables.h"

namespace SoftAsicTests {
namespace {

using NextHopEntry = EcmpIngL3NextHop1Table::Entry;
using SoftAsic::GroupContents;
using SoftAsic::MemberContents;
using GroupIndex = L3EcmpGroupTable::Index;

TEST(EcmpNextHops, LearnTheirRowWithTheAnswer) {
  Tables tables(Delivery::whenDrained);
  States states;
  NextHopEntry const entry = nextHop<NextHopEntry>(7, programmed(21), programmed(4));
  auto const handle = tables.nextHops->entryCommitWithResponseHandler(via(1), entry, into(states));
  EXPECT_EQ(handle->hwEntryIndex(), Asic::Index::invalidIndex());
  EXPECT_EQ(tables.device.ecmpNextHops().row(1).contents,
            (SoftAsic::NextHopContents{entry.fields(), 21, 4}));
  EXPECT_EQ(tables.device.answers()->drain(), 1U);
  EXPECT_EQ(handle->hwEntryIndex(), 1U);
  EXPECT_TRUE(handle->isProgrammed());
  EXPECT_EQ(states, States({1}));
}

TEST(EcmpNextHops, KeepTheOldContentsAfterARefusal) {
  Tables tables(Delivery::atOnce);
  States states;
  tables.nextHops->entryCommitWithResponseHandler(via(1), nextHop<NextHopEntry>(7), into(states));
  tables.device.ecmpNextHops().rowRefusesIs(1, true);
  auto const handle = tables.nextHops->entryCommitWithResponseHandler(
      via(1), nextHop<NextHopEntry>(8), into(states));
  EXPECT_EQ(states, States({1, 2}));
  EXPECT_EQ(handle->entryState(), Asic::HwTable::refused);
  EXPECT_EQ(tables.device.ecmpNextHops().row(1).contents->fields.destination, 7U);
}

TEST(EcmpNextHops, AreNotToldTheAnswerOfTheRowsFormerOwner) {
  Tables tables(Delivery::whenDrained);
  States first;
  States second;
  tables.device.ecmpNextHops().rowRefusesIs(1, true);
  tables.nextHops->entryCommitWithResponseHandler(via(1), nextHop<NextHopEntry>(7), into(first));
  tables.nextHops->entryRemove(via(1));
  tables.device.ecmpNextHops().rowRefusesIs(1, false);
  auto const handle = tables.nextHops->entryCommitWithResponseHandler(
      via(2), nextHop<NextHopEntry>(8), into(second));
  EXPECT_EQ(tables.device.answers()->drain(1), 1U);
  EXPECT_TRUE(second.empty());
  EXPECT_EQ(tables.device.ecmpNextHops().counts().overtaken, 1U);
  tables.device.answers()->drain();
  EXPECT_TRUE(first.empty());
  EXPECT_EQ(second, States({1}));
  EXPECT_EQ(handle->hwEntryIndex(), 1U);
}

TEST(EcmpNextHops, AreTheDeletesThatNeverHadARow) {
  Tables tables(Delivery::atOnce);
  for (std::uint8_t i = 1; i <= 5; ++i) {
    tables.nextHops->entryCommit(via(i), nextHop<NextHopEntry>(i));
  }
  EXPECT_ANY_THROW(tables.nextHops->entryCommit(via(6), nextHop<NextHopEntry>(6)));
  tables.nextHops->entryRemove(via(6));
  auto const& counts = tables.device.ecmpNextHops().counts();
  EXPECT_EQ(counts.writes, 5U);
  EXPECT_EQ(counts.deletes, 1U);
  EXPECT_EQ(counts.withoutRow, 1U);
  EXPECT_EQ(counts.noSuchRow, 1U);
  EXPECT_EQ(tables.device.ecmpNextHops().rowsAnswered(Answer::accepted), 5U);
}

TEST(EcmpNextHops, AreRefusedOutsideTheWindowAndDeletesThereAreIgnored) {
  Tables tables(Delivery::atOnce);
  auto const util = tables.nextHops->util();
  auto const& hwTable = tables.nextHops->hwTable();
  tables.ingress->entryCommit(programmed(6), nextHop<IngL3NextHop1Table::Entry>(1));

  struct Responses final : Vek::NotifieeConst {
    void onAttribute(Vek::AttributeId, void const* key) override {
      seen.push_back(*static_cast<Asic::HwTable::WriteResponse const*>(key));
    }
    std::vector<Asic::HwTable::WriteResponse> seen;
  };
  Vek::Ptr<Responses> const responses = new Responses;
  responses->notifierIs(hwTable.get());
  responses->isRegisteredNotifieeIs(true);
  responses->hasNotificationActiveIs(true);

  util->hwTableEntryIs(hwTable, 6, nextHop<NextHopEntry>(2));
  ASSERT_EQ(responses->seen.size(), 1U);
  EXPECT_EQ(responses->seen[0].row, 6U);
  EXPECT_EQ(responses->seen[0].state, Asic::HwTable::refused);
  util->hwTableEntryDel(hwTable, 6);
  EXPECT_EQ(tables.device.nextHops().row(6).contents->fields.destination, 1U);
  EXPECT_EQ(tables.device.ecmpNextHops().counts().noSuchRow, 2U);
  EXPECT_EQ(tables.device.ecmpNextHops().counts().withoutRow, 0U);
}

TEST(EcmpNextHops, ChangeNothingOnceTheTableIsGone) {
  Tables tables(Delivery::whenDrained);
  States states;
  auto const handle = tables.nextHops->entryCommitWithResponseHandler(
      via(1), nextHop<NextHopEntry>(7), into(states));
  auto const util = tables.nextHops->util();
  tables.nextHops = nullptr;
  EXPECT_EQ(tables.device.answers()->drain(), 1U);
  EXPECT_TRUE(states.empty());
  EXPECT_FALSE(handle->isProgrammed());
  EXPECT_EQ(util->maxIndex(), 0U);
}

TEST(Utilities, SayWhichRowTheHardwareHoldsForAKey) {
  Tables tables(Delivery::atOnce);
  auto const none = Asic::Index::invalidIndex();
  auto const nextHops = tables.nextHops->util();
  auto const members = tables.members->util();
  auto const groups = tables.groups->util();
  EXPECT_EQ(nextHops->hwTableEntryIndex(tables.nextHops->hwTable(), via(1)), none);
  auto const hop = tables.nextHops->entryCommit(via(1), nextHop<NextHopEntry>(7));
  EXPECT_EQ(nextHops->hwTableEntryIndex(tables.nextHops->hwTable(), via(1)), 1U);

  L3EcmpEntryBlock const first = blockOf({hop});
  L3EcmpEntryBlock const second = blockOf({hop, hop});
  EXPECT_EQ(members->hwTableEntryIndex(tables.members->hwTable(), first), none);
  auto const firstHandle = tables.members->entryBlockRef(first);
  auto const secondHandle = tables.members->entryBlockRef(second);
  EXPECT_EQ(members->hwTableEntryIndex(tables.members->hwTable(), second),
            secondHandle->hwEntryIndex());

  tables.groups->entryCommit(GroupIndex(70), {0, secondHandle, 0, 2});
  EXPECT_EQ(groups->hwTableEntryIndex(tables.groups->hwTable(), GroupIndex(70)), 1U);
  groups->hwTableEntryDel(tables.groups->hwTable(), 1);
  EXPECT_EQ(groups->hwTableEntryIndex(tables.groups->hwTable(), GroupIndex(70)), none);
  tables.groups->entryRemove(GroupIndex(70));
}

TEST(Utilities, HaveNothingToEmptyWithoutAHardwareTable) {
  Tables tables(Delivery::atOnce);
  tables.members->util()->hwTableEntryDelAll({});
  EXPECT_EQ(tables.device.members().counts().deleteAlls, 0U);
}

TEST(Members, HoldTheRowsOfTheirNextHopsAndAnswerToNobody) {
  Tables tables(Delivery::whenDrained);
  auto const a = tables.nextHops->entryCommit(via(1), nextHop<NextHopEntry>(1));
  auto const b = tables.nextHops->entryCommit(via(2), nextHop<NextHopEntry>(2));
  auto const block = tables.members->entryBlockRef(blockOf({b, a, b}));
  EXPECT_FALSE(tables.device.members().row(0).contents);
  tables.device.answers()->drain();

  ASSERT_TRUE(block->isProgrammed());
  EXPECT_EQ(block->hwEntryIndex(), 0U);
  EXPECT_EQ(tables.device.members().row(0).contents, MemberContents{2});
  EXPECT_EQ(tables.device.members().row(1).contents, MemberContents{1});
  EXPECT_EQ(tables.device.members().row(2).contents, MemberContents{2});
  EXPECT_EQ(tables.device.members().row(0).answer, Answer::awaited);

  EXPECT_EQ(tables.device.answers()->drain(), 3U);
  EXPECT_EQ(tables.device.members().counts().accepted, 3U);
  EXPECT_EQ(tables.device.members().counts().unclaimed, 3U);
}

TEST(Members, StayPublishedWhenARowIsRefused) {
  Tables tables(Delivery::atOnce);
  auto const a = tables.nextHops->entryCommit(via(1), nextHop<NextHopEntry>(1));
  tables.device.members().rowRefusesIs(1, true);
  auto const block = tables.members->entryBlockRef(blockOf({a, a}));
  EXPECT_TRUE(block->isProgrammed());
  EXPECT_TRUE(tables.device.members().row(0).contents);
  EXPECT_FALSE(tables.device.members().row(1).contents);
  EXPECT_EQ(tables.device.members().row(1).answer, Answer::refused);
  EXPECT_EQ(tables.device.members().counts().refused, 1U);
}

TEST(Members, LeaveTheirRowsWithTheBlock) {
  Tables tables(Delivery::whenDrained);
  auto const a = tables.nextHops->entryCommit(via(1), nextHop<NextHopEntry>(1));
  tables.device.answers()->drain();
  ConstHandle block = tables.members->entryBlockRef(blockOf({a, a}));
  block = nullptr;
  EXPECT_FALSE(tables.device.members().row(0).contents);
  EXPECT_FALSE(tables.device.members().row(1).contents);
  EXPECT_EQ(tables.device.answers()->drain(), 2U);
  EXPECT_EQ(tables.device.members().counts().overtaken, 2U);
  EXPECT_EQ(tables.device.members().counts().unclaimed, 0U);
}

TEST(Groups, HoldModePathsAndTheBlocksFirstRow) {
  Tables tables(Delivery::atOnce);
  auto const a = tables.nextHops->entryCommit(via(1), nextHop<NextHopEntry>(1));
  auto const first = tables.members->entryBlockRef(blockOf({a, a, a}));
  auto const second = tables.members->entryBlockRef(blockOf({a, a}));
  States states;
  tables.groups->entryCommitWithResponseHandler(GroupIndex(70), {0, second, 5, 2}, into(states));
  EXPECT_EQ(states, States({1}));
  EXPECT_EQ(tables.device.groups().row(1).contents, (GroupContents{5, 2, 3}));
  tables.device.groups().rowRefusesIs(1, true);
  tables.groups->entryCommitWithResponseHandler(GroupIndex(70), {0, first, 5, 3}, into(states));
  EXPECT_EQ(states, States({1, 2}));
  EXPECT_EQ(tables.device.groups().row(1).contents, (GroupContents{5, 2, 3}));
  tables.groups->entryRemove(GroupIndex(70));
  EXPECT_FALSE(tables.device.groups().row(1).contents);
}

// Everything hangs on an interface that comes last.
struct WholeChain : testing::TestWithParam<Delivery> {
  void drainAll() {
    while (tables.device.answers()->drain() != 0) {
    }
  }

  Tables tables{GetParam()};
};

TEST_P(WholeChain, ResolvesFromTheInterfaceToTheGroup) {
  Handle const interface = new Asic::SwTable::EntryHandle;
  interface->hasNotificationActiveIs(true);
  States states;
  std::vector<ConstHandle> hops;
  for (std::uint8_t i = 1; i <= 3; ++i) {
    hops.push_back(tables.nextHops->entryRef(via(i), nextHop<NextHopEntry>(i, interface)));
  }
  ConstHandle block = tables.members->entryBlockRef(blockOf({hops[0], hops[1], hops[2]}));
  tables.groups->entryCommitWithResponseHandler(GroupIndex(70), {0, block, 1, 3}, into(states));
  drainAll();
  EXPECT_EQ(tables.device.ecmpNextHops().counts().writes, 0U);
  EXPECT_TRUE(states.empty());

  interface->hwEntryIndexIs(9);
  interface->entryStateIs(Asic::HwTable::success());
  drainAll();
  EXPECT_EQ(states, States({1}));

  // What a packet would meet, from the group on.
  GroupContents const group = tables.device.groups().row(1).contents.value();
  EXPECT_EQ(group,
            (GroupContents{1, 3, static_cast<std::uint16_t>(block->hwEntryIndex().value())}));
  for (std::uint32_t i = 0; i < group.numPaths; ++i) {
    MemberContents const member =
        tables.device.members().row(group.ecmpBlockPtr + i).contents.value();
    EXPECT_EQ(member.nextHopEntry, hops[i]->hwEntryIndex());
    auto const hop = tables.device.nextHops().row(member.nextHopEntry).contents.value();
    EXPECT_EQ(hop.fields.destination, i + 1);
    EXPECT_EQ(hop.l3Oif1, 9U);
  }

  // From the group down; the auto-removed rest goes with the last reference.
  tables.groups->entryRemove(GroupIndex(70));
  block = nullptr;
  hops.clear();
  drainAll();
  EXPECT_EQ(tables.device.groups().rowsAnswered(Answer::none), 8U);
  EXPECT_EQ(tables.device.members().rowsAnswered(Answer::none), 12U);
  EXPECT_EQ(tables.device.ecmpNextHops().rowsAnswered(Answer::none), 6U);
  EXPECT_EQ(tables.device.ecmpNextHops().counts().deletes, 3U);
  EXPECT_EQ(tables.device.members().counts().deletes, 3U);
  EXPECT_EQ(tables.device.groups().counts().deletes, 1U);
  EXPECT_EQ(tables.nextHops->firstFreeIndexAllocator()->rowsFree(), 5U);
}

TEST_P(WholeChain, WaitsBehindARefusedNextHopAndGoesOnWhenItIsTaken) {
  tables.device.ecmpNextHops().rowRefusesIs(2, true);
  States states;
  auto const a = tables.nextHops->entryCommit(via(1), nextHop<NextHopEntry>(1));
  auto const b = tables.nextHops->entryCommit(via(2), nextHop<NextHopEntry>(2));
  auto const block = tables.members->entryBlockRef(blockOf({a, b}));
  tables.groups->entryCommitWithResponseHandler(GroupIndex(70), {0, block, 0, 2}, into(states));
  drainAll();
  EXPECT_EQ(b->entryState(), Asic::HwTable::refused);
  EXPECT_EQ(tables.device.members().counts().writes, 0U);
  EXPECT_EQ(tables.device.groups().counts().writes, 0U);

  tables.device.ecmpNextHops().rowRefusesIs(2, false);
  tables.nextHops->entryCommit(via(2), nextHop<NextHopEntry>(3));
  drainAll();
  EXPECT_EQ(states, States({1}));
  EXPECT_EQ(tables.device.members().counts().accepted, 2U);
  EXPECT_EQ(tables.device.groups().row(1).answer, Answer::accepted);
  tables.groups->entryRemove(GroupIndex(70));
}

INSTANTIATE_TEST_SUITE_P(Answers, WholeChain,
                         testing::Values(Delivery::atOnce, Delivery::whenDrained),
                         [](auto const& delivery) {
                           return delivery.param == Delivery::atOnce ? "AtOnce" : "WhenDrained";
                         });

}  // namespace
}  // namespace SoftAsicTests
