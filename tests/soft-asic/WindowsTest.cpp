// One next-hop device table behind two windows.
#include <gtest/gtest.h>

#include <stdexcept>

#include "SoftTables.h"

namespace SoftAsicTests {
namespace {

using SoftAsic::NextHopDeviceTable;
using SoftAsic::NextHopHwTable;
using EcmpEntry = EcmpIngL3NextHop1Table::Entry;
using IngressEntry = IngL3NextHop1Table::Entry;

TEST(Windows, ShareTheRowsOfOneDevice) {
  Tables tables(Delivery::atOnce);
  auto const ecmp = tables.nextHops->entryCommit(via(1), nextHop<EcmpEntry>(11));
  Handle const key = programmed(6);
  auto const ingress = tables.ingress->entryCommit(key, nextHop<IngressEntry>(12));
  EXPECT_EQ(ecmp->hwEntryIndex(), 1U);
  EXPECT_EQ(ingress->hwEntryIndex(), 6U);
  EXPECT_EQ(tables.device.nextHops().rows(), 16U);
  EXPECT_EQ(tables.device.nextHops().row(1).contents->fields.destination, 11U);
  EXPECT_EQ(tables.device.nextHops().row(6).contents->fields.destination, 12U);
  EXPECT_EQ(tables.device.ecmpNextHops().row(1).contents->fields.destination, 11U);
  EXPECT_EQ(tables.device.ingressNextHops().row(6).contents->fields.destination, 12U);
}

TEST(Windows, AreAsLargeAsTheTablesThatTheyAreAttachedTo) {
  Tables const tables(Delivery::atOnce);
  EXPECT_EQ(tables.nextHops->numEntries(), 6U);
  EXPECT_EQ(tables.nextHops->util()->minIndex(), 0U);
  EXPECT_EQ(tables.nextHops->util()->maxIndex(), 5U);
  EXPECT_EQ(tables.ingress->util()->minIndex(), 6U);
  EXPECT_EQ(tables.ingress->util()->maxIndex(), 15U);
  EXPECT_EQ(tables.members->util()->maxIndex(), 11U);
  EXPECT_EQ(tables.groups->minIndex(), 0U);
  EXPECT_EQ(tables.groups->maxIndex(), 7U);
}

TEST(Windows, KeepTheAnswersOfTheOtherViewAway) {
  Tables tables(Delivery::atOnce);
  auto const ecmp = tables.nextHops->entryCommit(via(1), nextHop<EcmpEntry>(11));
  ASSERT_TRUE(ecmp->isProgrammed());
  // Row 1 belongs to the other window: here it is outside.
  States states;
  auto const ingress = tables.ingress->entryCommitWithResponseHandler(
      programmed(1), nextHop<IngressEntry>(12), into(states));
  ASSERT_FALSE(states.empty());
  EXPECT_EQ(states.front(), Asic::HwTable::refused);
  EXPECT_TRUE(ecmp->isProgrammed());
  EXPECT_EQ(tables.device.nextHops().row(1).contents->fields.destination, 11U);
  EXPECT_EQ(tables.device.ingressNextHops().counts().noSuchRow, 1U);
  EXPECT_EQ(tables.device.ecmpNextHops().counts().noSuchRow, 0U);
}

TEST(Windows, AreEmptiedOneAtATime) {
  Tables tables(Delivery::atOnce);
  tables.nextHops->entryCommit(via(1), nextHop<EcmpEntry>(11));
  Handle const lowest = programmed(6);
  Handle const highest = programmed(15);
  tables.ingress->entryCommit(lowest, nextHop<IngressEntry>(12));
  tables.ingress->entryCommit(highest, nextHop<IngressEntry>(13));
  auto const& device = tables.device.nextHops();

  tables.nextHops->util()->hwTableEntryDelAll(tables.nextHops->hwTable());
  EXPECT_FALSE(device.row(1).contents);
  EXPECT_TRUE(device.row(6).contents);
  EXPECT_TRUE(device.row(15).contents);

  tables.nextHops->entryCommit(via(2), nextHop<EcmpEntry>(14));
  tables.ingress->util()->hwTableEntryDelAll(tables.ingress->hwTable());
  EXPECT_TRUE(device.row(2).contents);
  EXPECT_FALSE(device.row(6).contents);
  EXPECT_FALSE(device.row(15).contents);
}

TEST(Windows, OvertakeAnAnswerWhenTheyAreEmptied) {
  Tables tables(Delivery::whenDrained);
  States states;
  tables.nextHops->entryCommitWithResponseHandler(via(1), nextHop<EcmpEntry>(11), into(states));
  tables.nextHops->util()->hwTableEntryDelAll(tables.nextHops->hwTable());
  tables.device.answers()->drain();
  EXPECT_TRUE(states.empty());
  EXPECT_EQ(tables.device.ecmpNextHops().counts().overtaken, 1U);
}

TEST(Windows, RefuseRowsOfTheirOwnOnly) {
  Tables const tables(Delivery::atOnce);
  EXPECT_THROW(tables.device.ecmpNextHops().rowRefusesIs(6, true), std::out_of_range);
  EXPECT_THROW(tables.device.ingressNextHops().rowRefusesIs(5, true), std::out_of_range);
  EXPECT_THROW((void)tables.device.ingressNextHops().row(16), std::out_of_range);
}

TEST(Windows, DoNotReachBeyondTheirDevice) {
  Vek::Ptr<NextHopDeviceTable> const device = new NextHopDeviceTable(8);
  EXPECT_THROW(NextHopHwTable(device, 8, 1), std::out_of_range);
  EXPECT_THROW(NextHopHwTable(device, 1, 8), std::out_of_range);
  EXPECT_THROW(NextHopHwTable(device, 9, 0), std::out_of_range);
  EXPECT_THROW(NextHopHwTable(device, 1, 0xFFFFFFFFU), std::out_of_range);
  Vek::Ptr<NextHopHwTable> const last = new NextHopHwTable(device, 7, 1);
  EXPECT_TRUE(last->hasRow(7));
  EXPECT_FALSE(last->hasRow(6));
  EXPECT_FALSE(last->hasRow(Asic::Index::invalidIndex()));
  EXPECT_THROW(SoftDevice({.nextHops = 4, .ecmpNextHops = 5}, Delivery::atOnce), std::out_of_range);
}

}  // namespace
}  // namespace SoftAsicTests
