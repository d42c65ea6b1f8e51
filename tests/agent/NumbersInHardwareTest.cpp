// Which numbers the rows of the next-hop table name.
#include <gtest/gtest.h>

#include <vector>

#include "agent/NumbersInHardware.h"

namespace OrviaL3Agent {
namespace {

using Kind = NumbersInHardware::Kind;
using SoftAsic::Call;
using SoftAsic::Fate;
using SoftAsic::TableId;

class NumbersInHardwareTest : public ::testing::Test {
 protected:
  NumbersInHardwareTest() {
    for (Kind const kind : {Kind::interface, Kind::mtuProfile, Kind::neighbour}) {
      numbers.listenerIs(
          kind, [this, kind](std::uint16_t number) { unnamed.emplace_back(kind, number); });
    }
  }

  void call(Call::Kind kind, TableId table, std::uint32_t row, Fate fate = Fate::taken,
            std::uint16_t interface = 0, std::uint16_t mtu = 0, std::uint16_t neighbour = 0) {
    Call call;
    call.kind = kind;
    call.table = table;
    call.row = row;
    call.fate = fate;
    SoftAsic::NextHopContents contents;
    contents.l3Oif1 = interface;
    contents.mtuProfilePtr = mtu;
    contents.fields.destination = neighbour;
    if (kind == Call::Kind::write) call.contents = contents;
    numbers.callIs(call);
  }
  void write(TableId table, std::uint32_t row, std::uint16_t interface, std::uint16_t mtu,
             std::uint16_t neighbour) {
    call(Call::Kind::write, table, row, Fate::taken, interface, mtu, neighbour);
  }
  [[nodiscard]] bool named(std::uint32_t interface, std::uint32_t mtu,
                           std::uint32_t neighbour) const {
    return numbers.isNamed(Kind::interface, interface) && numbers.isNamed(Kind::mtuProfile, mtu) &&
           numbers.isNamed(Kind::neighbour, neighbour);
  }

  SoftAsic::SoftDevice device{{.nextHops = 8, .ecmpNextHops = 4, .members = 8, .groups = 8},
                              SoftAsic::AnswerQueue::Delivery::whenDrained};
  NumbersInHardware numbers{device};
  std::vector<std::pair<Kind, std::uint16_t>> unnamed;
};

TEST_F(NumbersInHardwareTest, NamesNothingAtFirst) {
  EXPECT_FALSE(numbers.isNamed(Kind::interface, 0));
  EXPECT_FALSE(numbers.isNamed(Kind::neighbour, 0xFFFFFFFF));
}

TEST_F(NumbersInHardwareTest, FollowsTheRowsOfBothViews) {
  write(TableId::ecmpNextHops, 1, 5, 6, 7);
  write(TableId::ingressNextHops, 4, 5, 60, 70);
  EXPECT_TRUE(named(5, 6, 7));
  EXPECT_TRUE(named(5, 60, 70));
  call(Call::Kind::remove, TableId::ecmpNextHops, 1);
  EXPECT_TRUE(named(5, 60, 70));
  EXPECT_FALSE(numbers.isNamed(Kind::mtuProfile, 6));
  std::vector<std::pair<Kind, std::uint16_t>> const gone{{Kind::mtuProfile, 6},
                                                         {Kind::neighbour, 7}};
  EXPECT_EQ(unnamed, gone);
}

TEST_F(NumbersInHardwareTest, KeepsWhatARefusedOrLostWriteLeavesInTheRow) {
  write(TableId::ingressNextHops, 4, 5, 6, 7);
  for (Fate const fate : {Fate::refused, Fate::lost, Fate::noSuchRow}) {
    call(Call::Kind::write, TableId::ingressNextHops, 4, fate, 1, 2, 3);
  }
  EXPECT_TRUE(named(5, 6, 7));
  EXPECT_FALSE(numbers.isNamed(Kind::interface, 1));
  write(TableId::ingressNextHops, 4, 5, 2, 7);
  EXPECT_TRUE(named(5, 2, 7));
  EXPECT_EQ(unnamed.size(), 1U);
}

TEST_F(NumbersInHardwareTest, ClearsTheRowsOfOneViewOnly) {
  write(TableId::ecmpNextHops, 0, 1, 1, 1);
  write(TableId::ecmpNextHops, 3, 2, 1, 2);
  write(TableId::ingressNextHops, 4, 3, 1, 3);
  call(Call::Kind::removeAll, TableId::ecmpNextHops, 0);
  EXPECT_TRUE(named(3, 1, 3));
  EXPECT_EQ(unnamed.size(), 4U);
  call(Call::Kind::removeAll, TableId::ingressNextHops, 4);
  EXPECT_EQ(unnamed.size(), 7U);
}

TEST_F(NumbersInHardwareTest, TakesNoNoticeOfOtherTables) {
  call(Call::Kind::remove, TableId::members, 1);
  call(Call::Kind::removeAll, TableId::groups, 0);
  write(TableId::ecmpNextHops, 100, 1, 1, 1);
  EXPECT_FALSE(numbers.isNamed(Kind::interface, 1));
}

}  // namespace
}  // namespace OrviaL3Agent
