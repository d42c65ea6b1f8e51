// A restart of the ingress table over the simulated hardware: it is refilled from the rows that the
// device's file holds, under the keys of whoever owns them.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "HardwareFile.h"
#include "HardwarePort.h"
#include "plugins/soft-asic/Attaching.h"

namespace SoftAsicTests {
namespace {

using SoftAsic::Call;
using SoftAsic::NextHopContents;
using SoftAsic::RowOwner;
using Entry = IngL3NextHop1Table::Entry;
using Rows = std::vector<std::uint32_t>;

struct CountingObserver final : SoftAsic::CallObserver {
  void callIs(Call const& call) override { kinds.push_back(call.kind); }
  std::vector<Call::Kind> kinds;
};

// Rows 6, 9 and 15 of the ingress table were written by a process before this one, and row 1 and 2
// by the table beside it. The keys, and what records point at, are made anew.
struct Refill : testing::Test {
  Refill() {
    {
      Tables before(FaultProfiles{}, file.path());
      std::vector<Handle> keys;
      for (std::uint32_t const row : {6U, 9U, 15U}) {
        keys.push_back(programmed(row));
        before.ingress->entryCommit(keys.back(), record(row));
      }
      for (std::uint8_t i = 1; i <= 2; ++i) {
        before.nextHops->entryCommit(via(i), nextHop<EcmpIngL3NextHop1Table::Entry>(i));
      }
      while (before.device.answers()->waiting() > 0) before.device.answers()->drain();
      before.ingress->hwTableReadyIs(false);
    }
    device = std::make_unique<SoftDevice>(Tables::sizes, FaultProfiles{}, file.path());
    device->observerIs(&observer);
    device->attach(*table);
    for (std::uint32_t const row : {6U, 9U, 15U}) owners[row] = programmed(row);
  }
  Entry record(std::uint32_t row) const {
    return nextHop<Entry>(static_cast<std::uint16_t>(row * 10), interface, mtuProfile);
  }
  // The function that knows the owners there are.
  SoftAsic::RowOwnerOf ownerOf() {
    return [this](Asic::Index row, NextHopContents const& contents) -> std::optional<RowOwner> {
      asked.push_back(row.value());
      EXPECT_EQ(contents.fields.destination, row.value() * 10);
      EXPECT_FALSE(table->hwTableReady());
      auto const owner = owners.find(row.value());
      if (owner == owners.end()) return std::nullopt;
      return RowOwner{owner->second, record(row.value())};
    };
  }
  void sync() {
    device->rowOwnerIs(ownerOf());
    table->syncEntries();
  }
  void serve() const {
    table->hwTableReadyIs(true);
    table->doInitComplete();
  }
  [[nodiscard]] SoftAsic::Counts const& counts() const {
    return device->counts(TableId::ingressNextHops);
  }
  [[nodiscard]] std::optional<NextHopContents> const& held(std::uint32_t row) const {
    return device->ingressNextHops().row(row).contents;
  }

  HardwareFile const file;
  Handle const interface = programmed(21);
  Handle const mtuProfile = programmed(4);
  CountingObserver observer;
  std::unique_ptr<SoftDevice> device;
  Vek::Ptr<IngL3NextHop1Table> table = IngL3NextHop1Table::IngL3NextHop1TableIs();
  std::map<std::uint32_t, Handle> owners;
  Rows asked;
};

TEST_F(Refill, PutsEveryOwnedRowBackWithoutAHardwareCall) {
  sync();
  EXPECT_EQ(asked, Rows({6, 9, 15}));
  EXPECT_EQ(table->entrys(), 3U);
  EXPECT_EQ(table->entryHandles(), 3U);
  EXPECT_EQ(table->unresolvedEntrys(), 0U);
  for (auto const& [row, key] : owners) {
    ASSERT_TRUE(table->entryExists(key));
    EXPECT_EQ(table->getEntry(key), record(row));
    auto const handle = table->entryHandleAccess(key);
    ASSERT_TRUE(handle);
    EXPECT_TRUE(handle->isProgrammed());
    EXPECT_EQ(handle->hwEntryIndex(), row);
  }
  EXPECT_TRUE(observer.kinds.empty());
  EXPECT_EQ(counts().writes, 0U);
  EXPECT_EQ(counts().deletes, 0U);
  EXPECT_EQ(counts().unowned, 0U);
  EXPECT_EQ(device->answers()->waiting(), 0U);
  EXPECT_EQ(device->ingressNextHops().rowsFromBefore(), 3U);
}

TEST_F(Refill, LeavesNothingToDoForTheSameRecord) {
  sync();
  serve();
  States states;
  auto const handle = table->entryCommitWithResponseHandler(owners[9], record(9), into(states));
  EXPECT_TRUE(handle->isProgrammed());
  EXPECT_EQ(handle->hwEntryIndex(), 9U);
  EXPECT_EQ(table->unresolvedEntrys(), 0U);
  EXPECT_TRUE(states.empty());
  EXPECT_TRUE(observer.kinds.empty());
  EXPECT_EQ(device->answers()->waiting(), 0U);
  EXPECT_EQ(device->ingressNextHops().rowsFromBefore(), 3U);
}

TEST_F(Refill, WritesAnotherRecord) {
  sync();
  serve();
  States states;
  auto const handle = table->entryCommitWithResponseHandler(owners[9], record(77), into(states));
  states.clear();
  EXPECT_EQ(observer.kinds, std::vector{Call::Kind::write});
  EXPECT_EQ(held(9)->fields.destination, 770U);
  EXPECT_EQ(device->ingressNextHops().rowsFromBefore(), 2U);
  EXPECT_EQ(device->ingressNextHops().row(9).answer, Answer::awaited);
  device->answers()->drain();
  EXPECT_EQ(counts().accepted, 1U);
  EXPECT_TRUE(handle->isProgrammed());
  EXPECT_EQ(held(6)->fields.destination, 60U);
}

TEST_F(Refill, GivesRowsBackThatCanBeRemoved) {
  sync();
  serve();
  table->entryRemove(owners[9]);
  EXPECT_EQ(observer.kinds, std::vector{Call::Kind::remove});
  EXPECT_FALSE(held(9));
  EXPECT_TRUE(held(6));
  EXPECT_EQ(device->ingressNextHops().rowsFromBefore(), 2U);
}

TEST_F(Refill, LeavesARowWithoutOwnerAsItIsAndCountsIt) {
  owners.erase(9);
  sync();
  EXPECT_EQ(asked, Rows({6, 9, 15}));
  EXPECT_EQ(table->entrys(), 2U);
  EXPECT_EQ(table->entryHandles(), 2U);
  EXPECT_EQ(counts().unowned, 1U);
  EXPECT_TRUE(held(9));
  EXPECT_TRUE(device->ingressNextHops().row(9).fromBefore);
  EXPECT_TRUE(observer.kinds.empty());
  // Whoever gets the row later writes it as any other.
  serve();
  Handle const key = programmed(9);
  table->entryCommit(key, record(9));
  EXPECT_EQ(observer.kinds, std::vector{Call::Kind::write});
}

TEST_F(Refill, AsksForNothingWhenNobodyKnowsOwners) {
  table->syncEntries();
  EXPECT_EQ(table->entrys(), 0U);
  EXPECT_EQ(counts().unowned, 0U);
  EXPECT_EQ(device->ingressNextHops().rowsFromBefore(), 3U);
  sync();
  EXPECT_EQ(table->entrys(), 3U);
}

TEST_F(Refill, AsksForNothingOnceTheFunctionIsTakenAway) {
  device->rowOwnerIs(ownerOf());
  device->rowOwnerIs(nullptr);
  table->syncEntries();
  EXPECT_EQ(asked, Rows());
  EXPECT_EQ(table->entrys(), 0U);
}

TEST_F(Refill, GoesOnWithItsFunctionWhenAnotherIsNamedMeanwhile) {
  device->rowOwnerIs([this, first = ownerOf()](Asic::Index row, NextHopContents const& contents) {
    device->rowOwnerIs(nullptr);
    return first(row, contents);
  });
  table->syncEntries();
  EXPECT_EQ(asked, Rows({6, 9, 15}));
  EXPECT_EQ(table->entrys(), 3U);
}

TEST_F(Refill, LooksAtEachRowWhenItIsItsTurn) {
  auto const known = ownerOf();
  device->rowOwnerIs([&, this](Asic::Index row, NextHopContents const& contents) {
    if (row == 6U) device->ingressNextHops().erase(9);
    return known(row, contents);
  });
  table->syncEntries();
  EXPECT_EQ(asked, Rows({6, 15}));
  EXPECT_EQ(table->entrys(), 2U);
}

TEST_F(Refill, NeedsTheTableAndNoLongerTheDevice) {
  device->rowOwnerIs(ownerOf());
  device->observerDel(&observer);
  device.reset();
  table->syncEntries();
  EXPECT_EQ(asked, Rows({6, 9, 15}));
  EXPECT_EQ(table->entrys(), 3U);
}

TEST_F(Refill, WorksForAUtilityThatAPlugInMakes) {
  auto const other = IngL3NextHop1Table::IngL3NextHop1TableIs();
  device->attach(*other, &SoftAsic::makeUtil<SoftAsic::IngL3NextHop1SoftUtil>);
  sync();
  other->syncEntries();
  EXPECT_EQ(asked, Rows({6, 9, 15, 6, 9, 15}));
  EXPECT_EQ(other->entrys(), 3U);
}

TEST_F(Refill, HappensAgainAtTheNextStart) {
  sync();
  serve();
  table->entryCommit(owners[15], record(16));
  table->hwTableReadyIs(false);
  table = nullptr;
  device.reset();
  device = std::make_unique<SoftDevice>(Tables::sizes, FaultProfiles{}, file.path());
  table = IngL3NextHop1Table::IngL3NextHop1TableIs();
  device->attach(*table);
  Rows destinations;
  device->rowOwnerIs([&](Asic::Index row, NextHopContents const& contents) {
    destinations.push_back(contents.fields.destination);
    return RowOwner{owners[row.value()], record(row.value())};
  });
  table->syncEntries();
  EXPECT_EQ(destinations, Rows({60, 90, 160}));
  EXPECT_EQ(table->entrys(), 3U);
}

TEST_F(Refill, IsTheIngressTablesAlone) {
  auto const nextHops = EcmpIngL3NextHop1Table::EcmpIngL3NextHop1TableIs();
  auto const members = L3EcmpMemberTable::L3EcmpMemberTableIs();
  auto const groups = L3EcmpGroupTable::L3EcmpGroupTableIs();
  device->attach(*nextHops);
  device->attach(*members);
  device->attach(*groups);
  device->rowOwnerIs(ownerOf());
  nextHops->util()->syncEntries(nextHops->hwTable(), nextHops);
  members->util()->syncEntries(members->hwTable(), members);
  groups->util()->syncEntries(groups->hwTable(), groups);
  EXPECT_EQ(asked, Rows());
  EXPECT_EQ(nextHops->entrys(), 0U);
  EXPECT_EQ(device->counts(TableId::ecmpNextHops).unowned, 0U);
  EXPECT_EQ(device->ecmpNextHops().rowsFromBefore(), 2U);
}

TEST_F(Refill, WaitsForAHardwareTable) {
  auto const unattached = IngL3NextHop1Table::IngL3NextHop1TableIs();
  device->rowOwnerIs(ownerOf());
  table->util()->syncEntries(nullptr, unattached);
  EXPECT_EQ(asked, Rows());
  EXPECT_EQ(unattached->entrys(), 0U);
}

TEST(Attaching, DoesNotSayReady) {
  SoftDevice const device(Tables::sizes, Delivery::atOnce);
  auto const table = L3EcmpGroupTable::L3EcmpGroupTableIs();
  device.attach(*table);
  EXPECT_FALSE(table->hwTableReady());
  EXPECT_TRUE(table->hwTable());
  EXPECT_TRUE(table->util());
  EXPECT_EQ(table->numEntries(), Tables::sizes.groups);
}

}  // namespace
}  // namespace SoftAsicTests
