// What the records of next hops are made of.
#include <gtest/gtest.h>

#include <optional>

#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "agent/NextHopParts.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

class NextHopPartsTest : public ::testing::Test {
 protected:
  // Most tests need no delay.
  EventLoop loop;
  StandInTable interfaces{loop, 0};
  StandInTable mtuProfiles{loop, 0};
  NextHopParts parts{interfaces, mtuProfiles, {{3, 9000}, {4, 9000}, {5, 576}}};
};

TEST_F(NextHopPartsTest, HaveOneInterfaceHandlePerInterfaceFromSlotOneUp) {
  NextHopParts::Result const first = parts.use(via(7, "10.0.0.1"));
  NextHopParts::Result const same = parts.use(via(7, "10.0.0.2"));
  NextHopParts::Result const other = parts.use(connected(2));
  ASSERT_EQ(first.obstacle, Obstacle::none);
  EXPECT_EQ(first.parts.interface, same.parts.interface);
  EXPECT_EQ(first.parts.interface->hwEntryIndex(), 1U);
  EXPECT_EQ(other.parts.interface->hwEntryIndex(), 2U);
  EXPECT_EQ(interfaces.size(), 2U);
}

TEST_F(NextHopPartsTest, HaveAnInterfaceHandleForEachRoutingInstance) {
  NextHopParts::Result const first = parts.use(connected(2));
  NextHopParts::Result const other = parts.use({1, Asic::AddressFamily::ipv4, 2});
  EXPECT_NE(first.parts.interface, other.parts.interface);
  EXPECT_EQ(interfaces.size(), 2U);
}

TEST_F(NextHopPartsTest, HaveOneMtuHandlePerDistinctMtu) {
  auto const profile = [this](std::uint32_t interface) {
    return parts.use(connected(interface)).parts.mtuProfile;
  };
  StandInTable::Handle const usual = profile(2);
  StandInTable::Handle const jumbo = profile(3);
  StandInTable::Handle const tiny = profile(5);
  EXPECT_EQ(profile(6), usual);
  EXPECT_EQ(profile(4), jumbo);
  EXPECT_EQ(mtuProfiles.size(), 3U);
  EXPECT_EQ(usual->hwEntryIndex(), 1U);
  EXPECT_EQ(jumbo->hwEntryIndex(), 2U);
  EXPECT_EQ(tiny->hwEntryIndex(), 3U);
  EXPECT_EQ(parts.mtuOf(2), 1500U);
  EXPECT_EQ(parts.mtuOf(3), 9000U);
}

TEST_F(NextHopPartsTest, GoWithTheirLastUser) {
  NextHopParts::Result first = parts.use(via(2, "10.0.0.1"));
  NextHopParts::Result second = parts.use(via(2, "10.0.0.2"));
  first = {};
  EXPECT_EQ(interfaces.size(), 1U);
  second = {};
  EXPECT_EQ(interfaces.size(), 0U);
  EXPECT_EQ(mtuProfiles.size(), 0U);
  EXPECT_EQ(*parts.use(via(9, "10.0.0.3")).parts.adjacency, 1);
}

TEST_F(NextHopPartsTest, MakeRecordsThatCarryBothHandles) {
  NextHopParts::Result const result = parts.use(via(3, "fe80::1"));
  auto const check = [&](auto const& record) {
    EXPECT_EQ(record.l3Oif1Handle(), result.parts.interface);
    EXPECT_EQ(record.mtuProfilePtrHandle(), result.parts.mtuProfile);
    EXPECT_EQ(record.destination(), *result.parts.adjacency);
    EXPECT_EQ(record.forwardingType(), 2);
    EXPECT_EQ(record.l2McL3McL2OifSysDstValid(), 1);
  };
  Identity const identity = via(3, "fe80::1");
  check(result.parts.record<OrviaL3Unicast::IngL3NextHop1Traits::Entry>(identity));
  check(result.parts.record<OrviaL3Unicast::EcmpIngL3NextHop1Traits::Entry>(identity));
}

TEST_F(NextHopPartsTest, SayHowTheNeighbourIsReachedByItsGateway) {
  using Record = OrviaL3Unicast::IngL3NextHop1Traits::Entry;
  auto const type = [this](Identity const& identity) -> unsigned {
    return parts.use(identity).parts.record<Record>(identity).forwardingType().value();
  };
  EXPECT_EQ(type(connected(2)), 0U);
  EXPECT_EQ(type(connected(2, Asic::AddressFamily::ipv6)), 0U);
  EXPECT_EQ(type(via(2, "10.0.0.1")), 1U);
  EXPECT_EQ(type(via(2, "fe80::1")), 2U);
}

TEST_F(NextHopPartsTest, SayWhatIsMissing) {
  StandInTable oneSlot(loop, 0, 1);
  NextHopParts fewInterfaces(oneSlot, mtuProfiles);
  NextHopParts::Result const kept = fewInterfaces.use(connected(2));
  EXPECT_EQ(fewInterfaces.use(connected(3)).obstacle, Obstacle::interfaceSlot);
  EXPECT_FALSE(fewInterfaces.use(connected(3)).parts.interface);

  StandInTable oneProfile(loop, 0, 1);
  NextHopParts fewProfiles(interfaces, oneProfile, {{3, 9000}});
  NextHopParts::Result const profiled = fewProfiles.use(connected(2));
  EXPECT_EQ(fewProfiles.use(connected(3)).obstacle, Obstacle::mtuSlot);
  EXPECT_EQ(interfaces.size(), 1U);  // nothing stays of the attempt

  EXPECT_EQ(text(Obstacle::row), "no free row");
  EXPECT_EQ(text(Obstacle::interfaceSlot), "no free interface slot");
  EXPECT_EQ(text(Obstacle::mtuSlot), "no free MTU-profile slot");
  EXPECT_EQ(text(Obstacle::adjacency), "no free neighbour number");
}

TEST_F(NextHopPartsTest, TellTheIdentityOfARow) {
  Identity const identity = via(3, "10.0.0.1");
  NextHopParts::Result const result = parts.use(identity);
  NextHopParts::Result const other = parts.use(via(2, "10.0.0.2"));
  auto const record = result.parts.record<OrviaL3Unicast::IngL3NextHop1Traits::Entry>(identity);
  SoftAsic::NextHopContents const contents = SoftAsic::contentsOf(record);
  EXPECT_EQ(parts.identityOf(contents), identity);

  // One wrong value, and nobody would have written that.
  SoftAsic::NextHopContents wrong = contents;
  wrong.l3Oif1 = other.parts.interface->hwEntryIndex().value() & 0xFFFFU;
  EXPECT_EQ(parts.identityOf(wrong), std::nullopt);
  wrong = contents;
  ++wrong.mtuProfilePtr;
  EXPECT_EQ(parts.identityOf(wrong), std::nullopt);
  wrong = contents;
  wrong.fields.forwardingType = 2;
  EXPECT_EQ(parts.identityOf(wrong), std::nullopt);
  wrong = contents;
  wrong.fields.destination = 99;
  EXPECT_EQ(parts.identityOf(wrong), std::nullopt);
}

}  // namespace
}  // namespace OrviaL3Agent
