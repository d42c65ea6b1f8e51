// The check of where groups lead at every call: each way to go wrong, each way to mend it, and many
// random calls against a check that looks at everything again after each.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "agent/ForwardingCheck.h"

namespace OrviaL3Agent {
namespace {

using SoftAsic::Call;
using SoftAsic::Fate;
using SoftAsic::TableId;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Kind = ForwardingCheck::Kind;
using Rows = std::vector<std::uint32_t>;

SoftAsic::NextHopContents nextHopTo(std::uint16_t destination) {
  SoftAsic::NextHopContents contents;
  contents.fields.destination = destination;
  contents.l3Oif1 = 1;
  contents.mtuProfilePtr = 2;
  return contents;
}

Call callOf(TableId table, Call::Kind kind, std::uint32_t row) {
  Call call;
  call.table = table;
  call.kind = kind;
  call.row = row;
  return call;
}

Call nextHopWrite(std::uint32_t row, std::uint16_t destination, Fate fate = Fate::taken,
                  TableId table = TableId::ecmpNextHops) {
  Call call = callOf(table, Call::Kind::write, row);
  call.fate = fate;
  call.contents = nextHopTo(destination);
  return call;
}

Call memberWrite(std::uint32_t row, std::uint32_t nextHop, Fate fate = Fate::taken) {
  Call call = callOf(TableId::members, Call::Kind::write, row);
  call.fate = fate;
  call.contents = SoftAsic::MemberContents{nextHop};
  return call;
}

// A record whose block has one row for each of these next-hop rows.
Call groupWrite(std::uint32_t row, std::uint16_t block, Rows const& nextHops,
                Fate fate = Fate::taken) {
  Call call = callOf(TableId::groups, Call::Kind::write, row);
  call.fate = fate;
  call.contents = SoftAsic::GroupContents{0, static_cast<std::uint16_t>(nextHops.size()), block};
  call.nextHopRows = nextHops;
  return call;
}

Call removal(TableId table, std::uint32_t row) { return callOf(table, Call::Kind::remove, row); }
Call removalOfAll(TableId table) { return callOf(table, Call::Kind::removeAll, 0); }

constexpr ForwardingCheck::Sizes kSizes{8, 16, 32, 8};

class ForwardingCheckTest : public testing::Test {
 protected:
  void make(Call call) {
    call.serial = ++serial_;
    check_.callIs(call);
  }
  // Next hops 1 and 2, a block of both from member row 4, and group row 3 over it: five calls.
  void makeGroup() {
    make(nextHopWrite(1, 11));
    make(nextHopWrite(2, 12));
    make(memberWrite(4, 1));
    make(memberWrite(5, 2));
    make(groupWrite(3, 4, {1, 2}));
    ASSERT_EQ(check_.total(), 0U) << text(check_);
  }
  // That the latest call, and no other, made group row 3 wrong in this way.
  void expectInstant(Kind kind, std::uint32_t memberRow, std::optional<std::uint32_t> nextHopRow) {
    ASSERT_EQ(check_.instants().size(), 1U) << text(check_);
    ForwardingCheck::Instant const& instant = check_.instants().front();
    EXPECT_EQ(instant.serial, serial_);
    EXPECT_EQ(instant.kind, kind) << text(instant);
    EXPECT_EQ(instant.groupRow, 3U);
    EXPECT_EQ(instant.memberRow, memberRow);
    EXPECT_EQ(instant.nextHopRow, nextHopRow);
    EXPECT_EQ(check_.count(kind), 1U);
    EXPECT_EQ(check_.total(), 1U);
    EXPECT_EQ(check_.wrongGroups(), 1U);
    EXPECT_EQ(check_.wrongCalls(), 1U);
  }

  ForwardingCheck check_{kSizes};
  std::uint64_t serial_ = 0;
};

TEST_F(ForwardingCheckTest, AGroupThatIsBuiltFromTheBottomIsRightAtEachCall) {
  makeGroup();
  EXPECT_EQ(check_.calls(), 5U);
  EXPECT_EQ(check_.wrongGroups(), 0U);
  EXPECT_EQ(check_.wrongCalls(), 0U);
  EXPECT_EQ(text(check_),
            "forwarding check: 5 calls, no group ever led anywhere but where its record said\n");
}

TEST_F(ForwardingCheckTest, AGroupThatIsRemovedFromTheTopIsRightAtEachCall) {
  makeGroup();
  make(removal(TableId::groups, 3));
  make(removal(TableId::members, 4));
  make(removal(TableId::members, 5));
  make(removal(TableId::ecmpNextHops, 1));
  make(removal(TableId::ecmpNextHops, 2));
  EXPECT_EQ(check_.total(), 0U) << text(check_);
}

TEST_F(ForwardingCheckTest, AMemberRowThatWasNeverWrittenIsSeenWhenTheGroupIs) {
  make(nextHopWrite(1, 11));
  make(memberWrite(4, 1));
  make(groupWrite(3, 4, {1, 1}));
  expectInstant(Kind::neverWritten, 5, std::nullopt);
}

TEST_F(ForwardingCheckTest, ANextHopRowThatWasNeverWrittenIsSeenWhenTheGroupIs) {
  make(memberWrite(4, 1));
  make(groupWrite(3, 4, {1}));
  expectInstant(Kind::neverWritten, 4, 1);
}

TEST_F(ForwardingCheckTest, AMemberRowBeyondTheTableIsNeverWritten) {
  make(nextHopWrite(1, 11));
  make(memberWrite(31, 1));
  make(groupWrite(3, 31, {1, 1}));
  expectInstant(Kind::neverWritten, 32, std::nullopt);
}

TEST_F(ForwardingCheckTest, AMemberRowThatNamesNoNextHopRowLeadsNowhere) {
  make(memberWrite(4, Asic::Index::invalidIndex().value()));
  make(groupWrite(3, 4, {Asic::Index::invalidIndex().value()}));
  expectInstant(Kind::neverWritten, 4, std::nullopt);
}

TEST_F(ForwardingCheckTest, ADeletedMemberRowIsSeenAtItsDeletion) {
  makeGroup();
  make(removal(TableId::members, 5));
  expectInstant(Kind::deleted, 5, std::nullopt);
}

TEST_F(ForwardingCheckTest, ADeletedNextHopRowIsSeenAtItsDeletion) {
  makeGroup();
  make(removal(TableId::ecmpNextHops, 2));
  expectInstant(Kind::deleted, 5, 2);
}

TEST_F(ForwardingCheckTest, AMemberRowThatIsWrittenToNameAnotherNextHopIsSeenAtThatWrite) {
  makeGroup();
  make(memberWrite(4, 2));
  expectInstant(Kind::another, 4, 2);
}

TEST_F(ForwardingCheckTest, ANextHopRowThatIsWrittenForSomebodyElseIsSeenAtThatWrite) {
  makeGroup();
  make(nextHopWrite(1, 13));
  expectInstant(Kind::another, 4, 1);
}

TEST_F(ForwardingCheckTest, AGroupThatIsWrittenToSomebodyElsesBlockIsSeenAtThatWrite) {
  makeGroup();
  make(memberWrite(8, 2));
  make(groupWrite(3, 8, {1}));
  expectInstant(Kind::another, 8, 2);
}

TEST_F(ForwardingCheckTest, PathsBeyondTheRecordsBlockAreSomebodyElses) {
  makeGroup();
  Call call = groupWrite(3, 4, {1, 2});
  call.nextHopRows.pop_back();
  make(call);
  expectInstant(Kind::another, 5, 2);
  EXPECT_EQ(check_.instants().front().askedFor, "nothing");
}

TEST_F(ForwardingCheckTest, ARowThatWasDeletedAndGivenToSomebodyElseIsWrongTwice) {
  makeGroup();
  make(removal(TableId::ecmpNextHops, 2));
  make(nextHopWrite(2, 99));
  EXPECT_EQ(check_.count(Kind::deleted), 1U);
  EXPECT_EQ(check_.count(Kind::another), 1U);
  EXPECT_EQ(check_.wrongCalls(), 2U);
  EXPECT_EQ(check_.wrongGroups(), 1U);
}

TEST_F(ForwardingCheckTest, RewritingRowsWithEqualContentsIsRight) {
  makeGroup();
  make(nextHopWrite(1, 11));
  make(memberWrite(5, 2));
  make(groupWrite(3, 4, {1, 2}));
  EXPECT_EQ(check_.total(), 0U) << text(check_);
}

TEST_F(ForwardingCheckTest, WritesThatAreRefusedOrLostChangeNoRow) {
  makeGroup();
  make(nextHopWrite(1, 13, Fate::refused));
  make(nextHopWrite(2, 13, Fate::lost));
  make(groupWrite(3, 20, {5, 6}, Fate::refused));
  make(groupWrite(3, 20, {5, 6}, Fate::lost));
  EXPECT_EQ(check_.total(), 0U) << text(check_);
  // The group still goes over the rows that it went over before.
  make(removal(TableId::members, 4));
  expectInstant(Kind::deleted, 4, std::nullopt);
}

TEST_F(ForwardingCheckTest, AGroupOverAMemberRowWhoseWriteWasRefusedIsPublishedWithoutIt) {
  make(nextHopWrite(1, 11));
  make(memberWrite(4, 1, Fate::refused));
  make(groupWrite(3, 4, {1}));
  expectInstant(Kind::notInHardware, 4, std::nullopt);
}

TEST_F(ForwardingCheckTest, AGroupOverAMemberRowWhoseWriteWasLostIsPublishedWithoutIt) {
  makeGroup();
  make(nextHopWrite(6, 16));
  make(memberWrite(8, 1));
  make(memberWrite(8, 6, Fate::lost));  // the row keeps what it had
  make(groupWrite(3, 8, {6}));
  expectInstant(Kind::notInHardware, 8, 1);
}

TEST_F(ForwardingCheckTest, ARefusedMemberWriteIsNoHarmWhereTheRowHoldsWhatWasAskedFor) {
  makeGroup();
  make(memberWrite(4, 1, Fate::refused));
  make(groupWrite(3, 4, {1, 2}));
  EXPECT_EQ(check_.total(), 0U) << text(check_);
}

TEST_F(ForwardingCheckTest, ADeletionUnderAGroupIsToldApartFromTheMissingMember) {
  make(nextHopWrite(1, 11));
  make(memberWrite(4, 1));
  make(memberWrite(5, 1, Fate::refused));
  make(groupWrite(3, 4, {1, 1}));
  make(removal(TableId::members, 4));
  EXPECT_EQ(check_.count(Kind::notInHardware), 1U);
  EXPECT_EQ(check_.count(Kind::deleted), 1U);
  make(removal(TableId::members, 5));  // forgets the refusal: the row is as good as never written
  EXPECT_EQ(check_.count(Kind::neverWritten), 1U);
}

TEST_F(ForwardingCheckTest, AMemberRowThatIsWrittenAgainMendsTheGroup) {
  make(nextHopWrite(1, 11));
  make(memberWrite(4, 1, Fate::refused));
  make(groupWrite(3, 4, {1}));
  make(memberWrite(4, 1));
  EXPECT_EQ(check_.total(), 1U);
  EXPECT_EQ(check_.wrongGroups(), 0U);
  EXPECT_EQ(check_.wrongCalls(), 1U);
  make(removal(TableId::members, 4));  // and it can go wrong once more
  EXPECT_EQ(check_.total(), 2U);
}

TEST_F(ForwardingCheckTest, AGroupIsReportedOnceForAsLongAsItIsWrong) {
  makeGroup();
  make(removal(TableId::members, 4));
  make(removal(TableId::members, 5));
  make(nextHopWrite(7, 17));
  EXPECT_EQ(check_.total(), 1U) << text(check_);
  EXPECT_EQ(check_.wrongCalls(), 3U);
  make(memberWrite(4, 1));
  EXPECT_EQ(check_.wrongGroups(), 1U);
  make(memberWrite(5, 2));
  EXPECT_EQ(check_.wrongGroups(), 0U);
  EXPECT_EQ(check_.wrongCalls(), 4U);
}

TEST_F(ForwardingCheckTest, AGroupRowWrittenToAnotherBlockMendsTheGroup) {
  makeGroup();
  make(removal(TableId::members, 4));
  make(memberWrite(8, 2));
  make(groupWrite(3, 8, {2}));
  EXPECT_EQ(check_.wrongGroups(), 0U);
  EXPECT_EQ(check_.total(), 1U);
  make(removal(TableId::members, 5));  // of the block that it no longer goes over
  EXPECT_EQ(check_.total(), 1U) << text(check_);
}

TEST_F(ForwardingCheckTest, RemovingTheGroupRowMendsTheGroup) {
  makeGroup();
  make(removal(TableId::members, 4));
  make(removal(TableId::groups, 3));
  EXPECT_EQ(check_.wrongGroups(), 0U);
  EXPECT_EQ(check_.wrongCalls(), 1U);
}

TEST_F(ForwardingCheckTest, ANextHopThatReturnsUnchangedMendsTheGroup) {
  makeGroup();
  make(removal(TableId::ecmpNextHops, 1));
  make(nextHopWrite(1, 11));
  EXPECT_EQ(check_.wrongGroups(), 0U);
}

TEST_F(ForwardingCheckTest, ANextHopRowThatWasEmptyIsHeldToWhatIsFirstWrittenThere) {
  make(memberWrite(4, 1));
  make(groupWrite(3, 4, {1}));
  make(nextHopWrite(1, 11));
  EXPECT_EQ(check_.wrongGroups(), 0U);
  make(nextHopWrite(1, 12));
  EXPECT_EQ(check_.count(Kind::another), 1U);
}

TEST_F(ForwardingCheckTest, AGroupWrittenAgainIsHeldToWhatIsThereThen) {
  makeGroup();
  make(nextHopWrite(1, 13));
  EXPECT_EQ(check_.wrongGroups(), 1U);
  make(groupWrite(3, 4, {1, 2}));
  EXPECT_EQ(check_.wrongGroups(), 0U);
}

TEST_F(ForwardingCheckTest, EveryGroupOverASharedBlockIsReported) {
  makeGroup();
  make(groupWrite(6, 4, {1, 2}));
  make(groupWrite(7, 5, {2}));
  make(removal(TableId::ecmpNextHops, 2));
  std::set<std::optional<std::uint32_t>> rows;
  for (auto const& instant : check_.instants()) rows.insert(instant.groupRow);
  EXPECT_EQ(rows, (std::set<std::optional<std::uint32_t>>{3, 6, 7}));
  EXPECT_EQ(check_.wrongGroups(), 3U);
  make(removal(TableId::groups, 3));
  make(removal(TableId::groups, 6));
  make(nextHopWrite(2, 12));
  EXPECT_EQ(check_.wrongGroups(), 0U);
  EXPECT_EQ(check_.total(), 3U);
}

TEST_F(ForwardingCheckTest, EmptyingAWindowDeletesItsRowsAtOnce) {
  makeGroup();
  make(removalOfAll(TableId::ecmpNextHops));
  expectInstant(Kind::deleted, 4, 1);
}

TEST_F(ForwardingCheckTest, EmptyingTheMemberRowsIsSeen) {
  makeGroup();
  make(removalOfAll(TableId::members));
  expectInstant(Kind::deleted, 4, std::nullopt);
}

TEST_F(ForwardingCheckTest, EmptyingTheGroupRowsLeavesNoGroup) {
  makeGroup();
  make(removalOfAll(TableId::groups));
  make(removalOfAll(TableId::members));
  make(removalOfAll(TableId::ecmpNextHops));
  EXPECT_EQ(check_.total(), 0U) << text(check_);
}

TEST_F(ForwardingCheckTest, AViewEmptiesAndWritesItsOwnPartOfTheNextHopRows) {
  makeGroup();
  make(removalOfAll(TableId::ingressNextHops));
  make(removal(TableId::ingressNextHops, 1));
  make(nextHopWrite(1, 13, Fate::noSuchRow, TableId::ingressNextHops));
  EXPECT_EQ(check_.total(), 0U) << text(check_);
  // A row of the other view can be led to, and is then watched like any other.
  make(nextHopWrite(8, 18, Fate::taken, TableId::ingressNextHops));
  make(memberWrite(9, 8));
  make(groupWrite(3, 9, {8}));
  make(removalOfAll(TableId::ecmpNextHops));
  EXPECT_EQ(check_.total(), 0U) << text(check_);
  make(removalOfAll(TableId::ingressNextHops));
  EXPECT_EQ(check_.count(Kind::deleted), 1U);
}

TEST_F(ForwardingCheckTest, RowsOutsideOfTheTablesAreIgnored) {
  makeGroup();
  make(nextHopWrite(100, 1, Fate::noSuchRow));
  make(memberWrite(100, 1, Fate::noSuchRow));
  make(groupWrite(100, 0, {7}, Fate::noSuchRow));
  for (TableId const table :
       {TableId::ingressNextHops, TableId::ecmpNextHops, TableId::members, TableId::groups}) {
    make(removal(table, 100));
    make(removal(table, Asic::Index::invalidIndex().value()));
  }
  EXPECT_EQ(check_.total(), 0U) << text(check_);
  EXPECT_EQ(check_.calls(), 16U);
}

TEST_F(ForwardingCheckTest, ARecordThatNamesWhatIsNotProgrammedIsAnInstantOfItsOwn) {
  Call call = nextHopWrite(9, 11, Fate::refused, TableId::ingressNextHops);
  call.unprogrammedHandles = 2;
  make(call);
  make(nextHopWrite(1, 11));
  make(memberWrite(4, 1));
  call = groupWrite(3, 4, {1});
  call.unprogrammedHandles = 1;
  make(call);
  EXPECT_EQ(check_.count(Kind::unprogrammed), 2U);
  EXPECT_EQ(check_.total(), 2U);
  EXPECT_EQ(check_.wrongGroups(), 0U);
  EXPECT_EQ(check_.wrongCalls(), 0U);
  EXPECT_EQ(text(check_.instants().front()),
            "call 1, write of ingress row 9 (destination 11, interface row 1, MTU row 2), refused: "
            "names an entry that is not programmed: 2 not programmed; asked for programmed "
            "entries");
}

TEST_F(ForwardingCheckTest, AnInstantTellsTheCallTheWayAndWhatWasAskedFor) {
  makeGroup();
  make(nextHopWrite(1, 13));
  make(removal(TableId::ecmpNextHops, 2));
  make(removal(TableId::members, 4));
  ASSERT_EQ(check_.instants().size(), 2U);
  EXPECT_EQ(text(check_.instants()[0]),
            "call 6, write of ecmp row 1 (destination 13, interface row 1, MTU row 2): group row 3 "
            "leads to another row: member row 4 -> next-hop row 1 (destination 13, interface row "
            "1, MTU row 2); asked for next-hop row 1 (destination 11, interface row 1, MTU row 2)");
  EXPECT_EQ(text(check_.instants()[1]),
            "call 7, removal of ecmp row 2: group row 3 leads to a deleted row: member row 5 -> "
            "next-hop row 2 (empty); asked for next-hop row 2 (destination 12, interface row 1, "
            "MTU row 2)");
}

TEST_F(ForwardingCheckTest, EveryKindOfCallHasAText) {
  makeGroup();
  make(groupWrite(3, 8, {1, 2}));
  make(groupWrite(6, 4, {1, 2}));
  make(memberWrite(4, 2));
  make(memberWrite(5, Asic::Index::invalidIndex().value()));
  make(memberWrite(4, 1));
  make(memberWrite(5, 2));
  make(removalOfAll(TableId::members));
  std::vector<std::string> calls;
  for (auto const& instant : check_.instants()) calls.push_back(instant.call);
  EXPECT_THAT(calls,
              ElementsAre("write of group row 3 (2 paths from member row 8)",
                          "write of member row 4 (next-hop row 2)", "removal of all member rows"));
}

TEST_F(ForwardingCheckTest, TheTextIsBoundedAndSummedUp) {
  makeGroup();
  for (int i = 0; i < 25; ++i) {
    make(removal(TableId::members, 4));
    make(memberWrite(4, 1));
  }
  make(memberWrite(5, 7, Fate::refused));  // keeps what it had, which is right
  std::string const all = text(check_);
  EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 22);
  EXPECT_THAT(all, StartsWith("call 6, removal of member row 4: group row 3 leads to a deleted "
                              "row: member row 4 -> nothing; asked for next-hop row 1 "));
  EXPECT_THAT(all,
              HasSubstr("\nand 5 more\nforwarding check: 56 calls, 25 instants (25 x leads to "
                        "a deleted row), 25 calls left a group wrong, 0 groups are wrong now\n"));
}

TEST_F(ForwardingCheckTest, OnlySoManyInstantsAreKeptAndAllAreCounted) {
  ForwardingCheck few(kSizes, 2);
  for (std::uint64_t i = 1; i <= 5; ++i) {
    Call call = memberWrite(1, 1);
    call.serial = i;
    call.unprogrammedHandles = 1;
    few.callIs(call);
  }
  EXPECT_EQ(few.instants().size(), 2U);
  EXPECT_EQ(few.count(Kind::unprogrammed), 5U);
  EXPECT_THAT(text(few), HasSubstr("\nand 3 more\n"));
}

// Looks at every position of every group after every call. Shares the rule with the check and
// nothing of how it finds what a call touches.
class PlainCheck {
 public:
  using Beginning = std::tuple<std::uint64_t, std::uint32_t, Kind, std::uint32_t>;

  explicit PlainCheck(ForwardingCheck::Sizes const& sizes) : sizes_(sizes) {}

  void callIs(Call const& call) {
    take(call);
    std::map<std::uint32_t, std::map<Kind, std::uint32_t>> now;  // the lowest member row
    for (auto& [row, group] : groups_) {
      for (std::uint32_t i = 0; i < group.asked.size(); ++i) {
        std::optional<Kind> const kind = judge(group.block + i, group.asked[i]);
        if (kind) now[row].try_emplace(*kind, group.block + i);
      }
    }
    for (auto const& [row, kinds] : now) {
      for (auto const& [kind, member] : kinds) {
        if (!wrong_[row].contains(kind)) beginnings.emplace_back(call.serial, row, kind, member);
      }
    }
    wrong_ = now;
    if (!now.empty()) ++wrongCalls;
  }
  [[nodiscard]] std::size_t wrongGroups() const {
    return static_cast<std::size_t>(std::count_if(
        wrong_.begin(), wrong_.end(), [](auto const& group) { return !group.second.empty(); }));
  }
  // What a right record of a group with this block would ask for.
  [[nodiscard]] Rows named(std::uint32_t block, std::uint32_t paths) const {
    Rows rows;
    for (std::uint32_t i = 0; i < paths; ++i) {
      auto const found = members_.find(block + i);
      rows.push_back(found == members_.end() ? 0 : found->second);
    }
    return rows;
  }

  std::vector<Beginning> beginnings;
  std::uint64_t wrongCalls = 0;

 private:
  struct Asked {
    std::uint32_t row;
    std::optional<SoftAsic::NextHopContents> contents;
  };
  struct Group {
    std::uint32_t block;
    std::vector<Asked> asked;
  };

  void take(Call const& call) {
    bool const all = call.kind == Call::Kind::removeAll;
    auto const isHit = [&](std::uint32_t row) { return all || row == call.row; };
    std::uint32_t const first = call.table == TableId::ingressNextHops ? sizes_.ecmpNextHops : 0;
    std::uint32_t const ends[] = {sizes_.nextHops, sizes_.ecmpNextHops, sizes_.members,
                                  sizes_.groups};
    if (call.kind == Call::Kind::write) {
      if (call.row < first || call.row >= ends[static_cast<std::size_t>(call.table)]) return;
      if (call.table == TableId::members) {
        missed_.erase(call.row);
        if (call.fate != Fate::taken) missed_.insert(call.row);
      }
      if (call.fate == Fate::taken) write(call);
      return;
    }
    for (std::uint32_t row = first; row < ends[static_cast<std::size_t>(call.table)]; ++row) {
      if (!isHit(row)) continue;
      if (call.table == TableId::members) {
        members_.erase(row);
        missed_.erase(row);
      } else if (call.table == TableId::groups) {
        groups_.erase(row);
      } else {
        nextHops_.erase(row);
      }
    }
  }

  void write(Call const& call) {
    if (auto const* hop = std::get_if<SoftAsic::NextHopContents>(&call.contents)) {
      nextHops_[call.row] = *hop;
      nextHopsWritten_.insert(call.row);
    } else if (auto const* member = std::get_if<SoftAsic::MemberContents>(&call.contents)) {
      members_[call.row] = member->nextHopEntry.value();
      membersWritten_.insert(call.row);
    } else {
      auto const& contents = std::get<SoftAsic::GroupContents>(call.contents);
      Group group{contents.ecmpBlockPtr, {}};
      for (std::size_t i = 0; i < contents.numPaths; ++i) {
        bool const has = i < call.nextHopRows.size();
        std::uint32_t const row = has ? call.nextHopRows[i] : Asic::Index::invalidIndex().value();
        auto const found = nextHops_.find(row);
        group.asked.push_back(
            {row, found == nextHops_.end() ? std::nullopt : std::optional(found->second)});
      }
      groups_[call.row] = group;
    }
  }

  std::optional<Kind> judge(std::uint32_t memberRow, Asked& asked) const {
    auto const member = members_.find(memberRow);
    if (member == members_.end() || member->second != asked.row) {
      if (missed_.contains(memberRow)) return Kind::notInHardware;
      if (member != members_.end()) return Kind::another;
      return membersWritten_.contains(memberRow) ? Kind::deleted : Kind::neverWritten;
    }
    auto const hop = nextHops_.find(asked.row);
    if (hop == nextHops_.end()) {
      return nextHopsWritten_.contains(asked.row) ? Kind::deleted : Kind::neverWritten;
    }
    if (!asked.contents) asked.contents = hop->second;
    return *asked.contents == hop->second ? std::nullopt : std::optional(Kind::another);
  }

  ForwardingCheck::Sizes sizes_;
  std::map<std::uint32_t, SoftAsic::NextHopContents> nextHops_;
  std::map<std::uint32_t, std::uint32_t> members_;
  std::map<std::uint32_t, Group> groups_;
  std::set<std::uint32_t> nextHopsWritten_, membersWritten_, missed_;
  std::map<std::uint32_t, std::map<Kind, std::uint32_t>> wrong_;
};

class RandomCalls {
 public:
  explicit RandomCalls(unsigned seed) : random_(seed) {}

  Call next(PlainCheck const& plain) {
    Call call = any(plain);
    call.serial = ++serial_;
    return call;
  }

 private:
  std::uint32_t below(std::uint32_t end) {
    return std::uniform_int_distribution<std::uint32_t>(0, end - 1)(random_);
  }
  bool oneIn(std::uint32_t count) { return below(count) == 0; }
  Fate fate() { return oneIn(8) ? Fate::refused : oneIn(8) ? Fate::lost : Fate::taken; }

  Call any(PlainCheck const& plain) {
    auto const table = static_cast<TableId>(below(4));
    std::uint32_t const row = table == TableId::groups ? below(7) : below(14);
    if (oneIn(300)) return removalOfAll(table);
    if (oneIn(5)) return removal(table, row);
    if (table == TableId::members) return memberWrite(row, oneIn(20) ? 99 : below(10), fate());
    if (table == TableId::groups) {
      std::uint32_t const block = below(14);
      Rows asked = plain.named(block, below(5));
      if (!asked.empty() && oneIn(4)) asked[below(static_cast<std::uint32_t>(asked.size()))] = 3;
      Call call = groupWrite(row, static_cast<std::uint16_t>(block), asked, fate());
      if (!asked.empty() && oneIn(10)) call.nextHopRows.pop_back();
      return call;
    }
    return nextHopWrite(row, static_cast<std::uint16_t>(1 + below(3)), fate(), table);
  }

  std::mt19937 random_;
  std::uint64_t serial_ = 0;
};

class RandomForwardingCheck : public testing::TestWithParam<unsigned> {};

TEST_P(RandomForwardingCheck, SeesWhatALookAtEverythingAfterEveryCallSees) {
  constexpr ForwardingCheck::Sizes kSmall{6, 10, 12, 6};
  ForwardingCheck check(kSmall, 1'000'000);
  PlainCheck plain(kSmall);
  RandomCalls calls(GetParam());
  std::size_t right = 0;
  for (int i = 0; i < 10'000; ++i) {
    Call const call = calls.next(plain);
    check.callIs(call);
    plain.callIs(call);
    ASSERT_EQ(check.wrongGroups(), plain.wrongGroups()) << "after call " << call.serial;
    ASSERT_EQ(check.total(), plain.beginnings.size()) << "after call " << call.serial;
    right += plain.wrongGroups() == 0 ? 1 : 0;
  }
  EXPECT_EQ(check.wrongCalls(), plain.wrongCalls);
  std::vector<PlainCheck::Beginning> found;
  for (auto const& instant : check.instants()) {
    found.emplace_back(instant.serial, *instant.groupRow, instant.kind, *instant.memberRow);
  }
  EXPECT_EQ(found, plain.beginnings);
  // That the calls tried enough: all kinds, and groups that were right as well.
  for (Kind const kind : {Kind::deleted, Kind::another, Kind::notInHardware, Kind::neverWritten}) {
    EXPECT_GT(check.count(kind), 0U) << text(kind);
  }
  EXPECT_GT(check.count(Kind::another), 200U);
  EXPECT_GT(right, 20U);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomForwardingCheck, testing::Values(1U, 2U, 3U, 4U));

}  // namespace
}  // namespace OrviaL3Agent
