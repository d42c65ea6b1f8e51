// Every fault that the hardware can be given, on every recorded stream: while it lasts no packet is
// led astray, when it is lifted everything comes right, and whenever all is withdrawn nothing
// stays.
//
// The streams of a thousand groups and of thousands of routes take one profile of each sort, and
// the largest one a few: the others would meet the same code with the same groups, only more often.
// Under AddressSanitizer, which makes all this twenty times slower, they take the worst alone, and
// the others every third.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/agent/GroupFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using SoftAsic::TableId;

constexpr std::array kStreams{
    "bgp-1k-distinct16-reconn.0.fpm",
    "bgp-1k-distinct16.0.fpm",
    "bgp16-10k.0.fpm",
    "churn-500-1to16way.0.fpm",
    "flap-static-reconn.0.fpm",
    "flap-static.0.fpm",
    "forms.0.fpm",
    "misc.0.fpm",
    "misc.1.fpm",
    "w1-static.0.fpm",
    "weights.0.fpm",
    "wide-static.0.fpm",
};

enum class Size { any, large, largest };

Size sizeOf(std::string const& stream) {
  if (stream.starts_with("bgp16")) return Size::largest;
  bool const isLarge =
      stream.starts_with("bgp") || stream.starts_with("churn") || stream.starts_with("wide");
  return isLarge ? Size::large : Size::any;
}

struct Profile {
  std::string name;
  std::vector<std::string> faults;  // as options of the command line
  std::uint64_t seed = 0;
  Size upTo = Size::any;   // streams of this size
  bool ofMembers = false;  // member rows may lack what was published
  bool isWorst = false;
};

std::vector<Profile> profiles() {
  std::vector<Profile> all{
      {"AnswersAtOnce", {"all:answer=at-once"}, 0, Size::largest},
      {"AnswersAfter1Turn", {"all:answer=1"}},
      {"AnswersAfter3Turns", {"all:answer=3"}},
      {"AnswersAfter10Turns", {"all:answer=10"}, 0, Size::largest},
      {"AnswersInTheSameTurnInAnyOrder", {"all:order=random"}, 4},
      {"AnswersTwice", {"all:answer-twice-every=1"}},
      {"AnswersTwiceAfter3Turns", {"all:answer=3,answer-twice-every=2"}, 0, Size::large},
      {"AnswersLate", {"all:late-every=3,late-by=7"}},
      {"AnswersLateAfter2Turns", {"all:answer=2,late-every=2,late-by=20"}, 0, Size::large},
      {"AnswersOfGroupsAtOnceOthersLater", {"all:answer=3", "group:answer=at-once"}},
      {"AnswersOfNextHopsAtOnceOthersLater", {"all:answer=3", "ecmp:answer=at-once"}},
      {"EverythingGoesWrong",
       {"all:answer=2,order=random,refuse-every=7,lose-answer-every=5,lose-write-every=11,"
        "answer-twice-every=3,late-every=4,late-by=6",
        "ingress:refuse-rows=16384+16385", "ecmp:refuse-rows=3", "member:refuse-rows=1",
        "group:refuse-rows=1"},
       7,
       Size::largest,
       true,
       true},
  };
  for (std::uint64_t const seed : {1U, 2U, 3U}) {
    all.push_back({"AnswersAfter2TurnsInAnyOrder" + std::to_string(seed),
                   {"all:answer=2,order=random"},
                   seed,
                   seed == 1 ? Size::large : Size::any});
  }
  struct Named {
    std::string table, name, rows;
  };
  std::vector<Named> const tables{{"ingress", "Ingress", "16384+16386+16390"},
                                  {"ecmp", "Ecmp", "1+2+5"},
                                  {"member", "Member", "0+3+9"},
                                  {"group", "Group", "1+3"}};
  for (Named const& named : tables) {
    auto const add = [&](std::string const& what, std::string const& fault, Size upTo) {
      all.push_back({what + "Of" + named.name,
                     {named.table + ":" + fault},
                     0,
                     upTo,
                     named.table == "member"});
    };
    bool const ofIngress = named.table == "ingress";
    bool const ofGroups = named.table == "group";
    add("RefusedRows", "refuse-rows=" + named.rows, ofIngress ? Size::largest : Size::large);
    add("RefusedEvery3rd", "refuse-every=3", Size::large);
    add("RefusedEvery2ndAnswersLater", "refuse-every=2,answer=3", Size::any);
    add("LostAnswersEvery2nd", "lose-answer-every=2", ofGroups ? Size::large : Size::any);
    add("LostAnswersAll", "lose-answer-every=1", Size::any);
    add("LostWritesEvery3rd", "lose-write-every=3", ofGroups ? Size::large : Size::any);
    add("LostWritesAll", "lose-write-every=1", Size::any);
  }
  return all;
}

struct Case {
  std::string stream;
  Profile profile;
};

void PrintTo(Case const& tested, std::ostream* out) {
  *out << tested.stream << " with " << tested.profile.name;
}

std::vector<Case> cases() {
  std::vector<Case> all;
  for (char const* stream : kStreams) {
    std::size_t number = 0;
    for (Profile const& profile : profiles()) {
      bool const isTaken = !kIsSlow || (profile.isWorst && sizeOf(stream) != Size::largest) ||
                           (sizeOf(stream) == Size::any && number++ % 3 == 0);
      if (sizeOf(stream) <= profile.upTo && isTaken) all.push_back({stream, profile});
    }
  }
  return all;
}

std::string nameOf(std::string stream) {
  std::erase_if(stream, [](unsigned char c) { return std::isalnum(c) == 0; });
  return stream;
}

// Rows in force, by table.
using RowCounts = std::array<std::uint64_t, SoftAsic::kTables>;

class MatrixFixture : public GroupFixture {
 protected:
  MatrixFixture() { options.rows = 32768; }

  RowCounts rowsInForce() {
    return {Hardware::rowsInForce(device().ingressNextHops()),
            Hardware::rowsInForce(device().ecmpNextHops()),
            Hardware::rowsInForce(device().members()), Hardware::rowsInForce(device().groups())};
  }
  bool allInForce() {
    Report const report = replay().report();
    return replay().differences().empty() && report.routes.liveIn(Routes::State::notInForce) == 0 &&
           report.ingress.liveIn(NextHopState::programmed) == report.ingress.live.size() &&
           report.ecmp.liveIn(NextHopState::programmed) == report.ecmp.live.size() &&
           report.groups.liveIn(State::programmed) == report.groups.live.size();
  }

  // Of a run without faults, and the withdrawal of what it leaves.
  struct Faultless {
    RowCounts rows{};
    Bytes withdrawals;
  };
  Faultless const& faultless(std::string const& stream) {
    static std::map<std::string, Faultless> all;
    if (auto const found = all.find(stream); found != all.end()) return found->second;
    SoftAsic::FaultProfiles const faults = std::exchange(options.faults, {});
    run(contentOf(streamPath(stream)));
    expectRight();
    EXPECT_TRUE(allInForce());
    Withdrawals const rest = withdrawalsOf(replay());
    Faultless const result{rowsInForce(), rest.routes + rest.groups + rest.nextHops};
    end();
    options.faults = faults;
    return all.emplace(stream, result).first->second;
  }
};

// --- With faults.

class FaultMatrix : public MatrixFixture, public ::testing::WithParamInterface<Case> {
 protected:
  FaultMatrix() {
    options.faults.seed = GetParam().profile.seed;
    for (std::string const& fault : GetParam().profile.faults) {
      SoftAsic::faultIs(options.faults, fault);
    }
  }

  // The profile did something, as far as the stream makes enough writes for it.
  void expectFaults() {
    expectFaults(TableId::ingressNextHops, device().ingressNextHops().counts());
    expectFaults(TableId::ecmpNextHops, device().ecmpNextHops().counts());
    expectFaults(TableId::members, device().members().counts());
    expectFaults(TableId::groups, device().groups().counts());
  }
  void expectFaults(TableId table, SoftAsic::Counts const& counts) {
    SCOPED_TRACE(name(table));
    SoftAsic::FaultProfile const& faults = fault(table);
    auto const happens = [&counts](std::uint32_t every) {
      return every > 0 && counts.writes >= every;
    };
    EXPECT_EQ(counts.lostWrites > 0, happens(faults.loseWriteEvery));
    EXPECT_EQ(counts.lostAnswers > 0, happens(faults.loseAnswerEvery));
    EXPECT_EQ(counts.late > 0, happens(faults.lateEvery));
    if (faults.loseAnswerEvery > 0) return;  // maybe those of the others
    if (happens(faults.refuseEvery)) {
      EXPECT_GT(counts.refused + counts.overtaken, 0U);
    }
    if (happens(faults.answerTwiceEvery)) {
      EXPECT_GT(counts.repeated + counts.overtaken, 0U);
    }
    if (faults.refuseEvery == 0 && faults.refusedRows.empty()) {
      EXPECT_EQ(counts.refused, 0U);
    }
  }
  void expectNoInstantButByMemberFaults() {
    using Kind = ForwardingCheck::Kind;
    ForwardingCheck const& check = replay().forwardingCheck().value();
    std::uint64_t const byFaults = check.count(Kind::notInHardware);
    EXPECT_EQ(check.total(), byFaults) << text(check);
    if (!GetParam().profile.ofMembers) {
      EXPECT_EQ(byFaults, 0U) << text(check);
    }
  }
};

TEST_P(FaultMatrix, EndsAsWithoutFaultsWhenTheyAreLifted) {
  Faultless const& expected = faultless(GetParam().stream);
  run(contentOf(streamPath(GetParam().stream)));
  expectNoInstantButByMemberFaults();
  expectFaults();
  faultsOff();
  settle();
  // One request is enough: what it mends brings along what waits for that.
  retry();
  settle();
  EXPECT_TRUE(allInForce()) << text(replay().report());
  expectVerified();
  EXPECT_EQ(rowsInForce(), expected.rows);
  EXPECT_EQ(replay().forwardingCheck()->wrongGroups(), 0U);
  expectNoInstantButByMemberFaults();
}

TEST_P(FaultMatrix, LeavesNothingWhenAllIsWithdrawnWhileTheyLast) {
  run(contentOf(streamPath(GetParam().stream)) + faultless(GetParam().stream).withdrawals);
  expectNothingLeft(replay());
  expectNoInstantButByMemberFaults();
}

INSTANTIATE_TEST_SUITE_P(All, FaultMatrix, ::testing::ValuesIn(cases()),
                         [](::testing::TestParamInfo<Case> const& tested) {
                           return nameOf(tested.param.stream) + "_" + tested.param.profile.name;
                         });

// --- Without faults, however the turns fall.

class FaultlessMatrix : public MatrixFixture, public ::testing::WithParamInterface<char const*> {};

TEST_P(FaultlessMatrix, LeadsNowhereWrongAndEndsAsAskedHoweverTheTurnsFall) {
  RowCounts const rows = faultless(GetParam()).rows;
  for (std::uint32_t const slice : {1U, 16U, 100000U}) {
    for (std::uint32_t const delay : {0U, 2U, 7U}) {
      if (kIsSlow && sizeOf(GetParam()) != Size::any && (slice != 16 || delay != 2)) continue;
      SCOPED_TRACE("slice " + std::to_string(slice) + ", delay " + std::to_string(delay));
      options.slice = slice;
      options.interfaceDelay = delay;
      run(contentOf(streamPath(GetParam())));
      expectRight();
      EXPECT_EQ(rowsInForce(), rows);
      EXPECT_TRUE(allInForce());
      end();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, FaultlessMatrix, ::testing::ValuesIn(kStreams),
                         [](auto const& tested) { return nameOf(tested.param); });

}  // namespace
}  // namespace OrviaL3Agent
