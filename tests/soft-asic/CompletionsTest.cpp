// Answers that come out of order, late, twice or never: whom they are credited to.
#include <gtest/gtest.h>

#include <algorithm>
#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "HardwarePort.h"

namespace SoftAsicTests {
namespace {

using Order = FaultProfile::Order;
using NextHopEntry = EcmpIngL3NextHop1Table::Entry;
using GroupIndex = L3EcmpGroupTable::Index;

// What happens to an entry whose refusal is under way.
enum class Overtaken { byRewrite, byDelete, byNextOwner };

struct Overtaking : testing::TestWithParam<std::tuple<Order, Overtaken>> {};

std::string nameOf(std::tuple<Order, Overtaken> const& param) {
  auto const [order, by] = param;
  std::string const name = order == Order::inOrder ? "InOrder" : "RandomOrder";
  if (by == Overtaken::byRewrite) return name + "ByRewrite";
  return name + (by == Overtaken::byDelete ? "ByDelete" : "ByNextOwner");
}

INSTANTIATE_TEST_SUITE_P(Orders, Overtaking,
                         testing::Combine(testing::Values(Order::inOrder, Order::random),
                                          testing::Values(Overtaken::byRewrite, Overtaken::byDelete,
                                                          Overtaken::byNextOwner)),
                         [](auto const& param) { return nameOf(param.param); });

// Twenty seeds: with random order, the overtaken answer comes before and after the other one.
TEST_P(Overtaking, DropsTheAnswerAndCountsIt) {
  auto const [order, by] = GetParam();
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    // The first write is refused; both are answered twice.
    Tables tables(onlyOf(TableId::ecmpNextHops,
                         {.order = order, .refusedRows = {1}, .answerTwiceEvery = 1}, seed));
    States first;
    States second;
    tables.nextHops->entryCommitWithResponseHandler(via(1), nextHop<NextHopEntry>(7), into(first));
    tables.device.faultIs(TableId::ecmpNextHops, {.order = order, .answerTwiceEvery = 1});
    std::uint8_t const key = by == Overtaken::byNextOwner ? 2 : 1;
    if (by != Overtaken::byRewrite) tables.nextHops->entryRemove(via(1));
    ConstHandle handle;
    if (by != Overtaken::byDelete) {
      handle = tables.nextHops->entryCommitWithResponseHandler(via(key), nextHop<NextHopEntry>(8),
                                                               into(second));
    }
    EXPECT_EQ(runTurn(tables), by == Overtaken::byDelete ? 2U : 4U);

    auto const& counts = tables.device.ecmpNextHops().counts();
    EXPECT_EQ(first, States());
    EXPECT_EQ(counts.overtaken, 2U);
    EXPECT_EQ(counts.refused, 0U);
    if (by == Overtaken::byDelete) {
      EXPECT_EQ(second, States());
      EXPECT_EQ(counts.accepted + counts.repeated, 0U);
      EXPECT_FALSE(tables.device.ecmpNextHops().row(1).contents);
    } else {
      EXPECT_EQ(second, States({1}));
      EXPECT_TRUE(handle->isProgrammed());
      EXPECT_EQ(handle->hwEntryIndex(), 1U);
      EXPECT_EQ(counts.accepted, 1U);
      EXPECT_EQ(counts.repeated, 1U);
      EXPECT_EQ(tables.device.ecmpNextHops().row(1).contents->fields.destination, 8U);
    }
  }
}

TEST_P(Overtaking, DropsALateAnswerTurnsAfterwards) {
  auto const [order, by] = GetParam();
  Tables tables(onlyOf(TableId::ecmpNextHops,
                       {.order = order, .refusedRows = {1}, .lateEvery = 1, .lateBy = 5}));
  States first;
  States second;
  tables.nextHops->entryCommitWithResponseHandler(via(1), nextHop<NextHopEntry>(7), into(first));
  tables.device.faultIs(TableId::ecmpNextHops, {.order = order});
  if (by != Overtaken::byRewrite) tables.nextHops->entryRemove(via(1));
  if (by != Overtaken::byDelete) {
    std::uint8_t const key = by == Overtaken::byNextOwner ? 2 : 1;
    tables.nextHops->entryCommitWithResponseHandler(via(key), nextHop<NextHopEntry>(8),
                                                    into(second));
  }
  EXPECT_EQ(runTurn(tables), by == Overtaken::byDelete ? 0U : 1U);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(runTurn(tables), 0U);
  EXPECT_EQ(runTurn(tables), 1U);
  EXPECT_EQ(first, States());
  EXPECT_EQ(second, by == Overtaken::byDelete ? States() : States({1}));
  EXPECT_EQ(tables.device.ecmpNextHops().counts().overtaken, 1U);
  EXPECT_EQ(tables.device.ecmpNextHops().counts().refused, 0U);
}

TEST(LostAnswers, LeaveTheEntryUnansweredAndWhatDependsOnItWaiting) {
  Tables tables(onlyOf(TableId::ecmpNextHops, {.loseAnswerEvery = 2}));
  States hop;
  States group;
  auto const a = tables.nextHops->entryCommit(via(1), nextHop<NextHopEntry>(1));
  auto const b =
      tables.nextHops->entryCommitWithResponseHandler(via(2), nextHop<NextHopEntry>(2), into(hop));
  auto const block = tables.members->entryBlockRef(blockOf({a, b}));
  tables.groups->entryCommitWithResponseHandler(GroupIndex(70), {0, block, 0, 2}, into(group));
  for (int i = 0; i < 5; ++i) runTurn(tables);
  EXPECT_TRUE(a->isProgrammed());
  EXPECT_EQ(b->entryState(), Asic::HwTable::notAnswered);
  EXPECT_EQ(hop, States());
  EXPECT_EQ(group, States());
  EXPECT_EQ(tables.device.ecmpNextHops().row(2).contents->fields.destination, 2U);
  EXPECT_EQ(tables.device.members().counts().writes, 0U);

  // The same again, heard this time.
  tables.device.faultsDel();
  tables.nextHops->entryCommit(via(2), nextHop<NextHopEntry>(3));
  for (int i = 0; i < 5; ++i) runTurn(tables);
  EXPECT_TRUE(b->isProgrammed());
  EXPECT_EQ(group, States({1}));
  tables.groups->entryRemove(GroupIndex(70));
}

TEST(LostWrites, LeaveTheEntryUnansweredAndTheRowEmpty) {
  Tables tables(onlyOf(TableId::groups, {.loseWriteEvery = 1}));
  auto const hop = tables.nextHops->entryCommit(via(1), nextHop<NextHopEntry>(1));
  runTurn(tables);
  auto const block = tables.members->entryBlockRef(blockOf({hop}));
  States states;
  auto const handle =
      tables.groups->entryCommitWithResponseHandler(GroupIndex(70), {0, block, 0, 1}, into(states));
  for (int i = 0; i < 5; ++i) runTurn(tables);
  EXPECT_EQ(states, States());
  EXPECT_FALSE(handle->isProgrammed());
  EXPECT_FALSE(tables.device.groups().row(1).contents);
  tables.groups->entryRemove(GroupIndex(70));
}

// Members answer to nobody: their rows alone say what became of them.
TEST(LostWrites, OfMembersLeaveTheBlockPublished) {
  Tables tables(onlyOf(TableId::members, {.loseWriteEvery = 2}));
  auto const hop = tables.nextHops->entryCommit(via(1), nextHop<NextHopEntry>(1));
  runTurn(tables);
  auto const block = tables.members->entryBlockRef(blockOf({hop, hop, hop}));
  EXPECT_TRUE(block->isProgrammed());
  runTurn(tables);
  EXPECT_EQ(tables.device.members().row(0).fate, Fate::taken);
  EXPECT_EQ(tables.device.members().row(1).fate, Fate::lost);
  EXPECT_EQ(tables.device.members().row(2).fate, Fate::taken);
  EXPECT_FALSE(tables.device.members().row(1).contents);
  EXPECT_EQ(tables.device.members().counts().unclaimed, 2U);
}

TEST(RepeatedAnswers, CallNobodyWrongly) {
  for (bool const atOnce : {false, true}) {
    FaultProfile twice{.answerTwiceEvery = 1};
    if (atOnce) twice.answerAfter.reset();
    FaultProfiles profiles;
    profiles.tables.fill(twice);
    Tables tables(profiles);
    States hop;
    States group;
    auto const handle = tables.nextHops->entryCommitWithResponseHandler(
        via(1), nextHop<NextHopEntry>(1), into(hop));
    auto const block = tables.members->entryBlockRef(blockOf({handle, handle}));
    tables.groups->entryCommitWithResponseHandler(GroupIndex(70), {0, block, 0, 2}, into(group));
    for (int i = 0; i < 5; ++i) runTurn(tables);
    EXPECT_EQ(hop, States({1}));
    EXPECT_EQ(group, States({1}));
    EXPECT_EQ(tables.device.ecmpNextHops().counts().repeated, 1U);
    EXPECT_EQ(tables.device.members().counts().repeated, 2U);
    EXPECT_EQ(tables.device.groups().counts().repeated, 1U);
    tables.groups->entryRemove(GroupIndex(70));
  }
}

// An answer at once may be the end of everything that the write was called with.
TEST(RepeatedAnswers, OutliveATableThatEndsInTheFirst) {
  Tables tables(onlyOf(TableId::ecmpNextHops, {.answerAfter = {}, .answerTwiceEvery = 1}));
  struct Ender final : Vek::NotifieeConst {
    explicit Ender(Tables& all) : tables(all) {}
    void onAttribute(Vek::AttributeId, void const*) override { tables.nextHops = nullptr; }
    Tables& tables;
  };
  Vek::Ptr<Ender> const ender = new Ender(tables);
  ender->notifierIs(tables.nextHops->hwTable().get());
  ender->isRegisteredNotifieeIs(true);
  ender->hasNotificationActiveIs(true);
  tables.nextHops->util()->hwTableEntryIs(tables.nextHops->hwTable(), 1, nextHop<NextHopEntry>(1));
  EXPECT_EQ(tables.nextHops, nullptr);
  EXPECT_EQ(tables.device.ecmpNextHops().counts().accepted, 1U);
  EXPECT_EQ(tables.device.ecmpNextHops().counts().repeated, 1U);
}

// A plain model of one hardware table: what is written, when it must be answered, and how.
class Model {
 public:
  struct Answer {
    std::uint32_t row;
    bool refused;
    friend auto operator<=>(Answer const&, Answer const&) = default;
  };

  explicit Model(FaultProfile const& profile) : profile_(profile) {}

  void write(std::uint32_t row, std::uint32_t value) {
    ++writes_;
    auto const hits = [this](std::uint32_t every) { return every != 0 && writes_ % every == 0; };
    latest_[row] = writes_;
    if (hits(profile_.loseWriteEvery)) return;
    bool const isRefused = profile_.refusedRows.contains(row) || hits(profile_.refuseEvery);
    if (!isRefused) inForce_[row] = value;
    if (hits(profile_.loseAnswerEvery)) return;
    std::uint64_t const due =
        turn_ + 1 + profile_.answerAfter.value() + (hits(profile_.lateEvery) ? profile_.lateBy : 0);
    int const times = hits(profile_.answerTwiceEvery) ? 2 : 1;
    for (int i = 0; i < times; ++i) answers_.insert({due, {writes_, {row, isRefused}}});
  }
  void erase(std::uint32_t row) {
    latest_.erase(row);
    inForce_.erase(row);
  }
  // Begins a turn; returns the answers that must be heard in it, sorted.
  std::vector<Answer> turn() {
    ++turn_;
    std::vector<Answer> heard;
    auto const [begin, end] = answers_.equal_range(turn_);
    for (auto each = begin; each != end; ++each) {
      auto const& [write, answer] = each->second;
      auto const latest = latest_.find(answer.row);
      if (latest != latest_.end() && latest->second == write) {
        heard.push_back(answer);
      } else {
        ++overtaken_;
      }
    }
    answers_.erase(begin, end);
    std::sort(heard.begin(), heard.end());
    return heard;
  }
  [[nodiscard]] bool isWaiting() const { return !answers_.empty(); }
  [[nodiscard]] std::uint64_t overtaken() const { return overtaken_; }
  [[nodiscard]] std::optional<std::uint32_t> value(std::uint32_t row) const {
    auto const found = inForce_.find(row);
    return found != inForce_.end() ? std::optional(found->second) : std::nullopt;
  }

 private:
  FaultProfile profile_;
  std::uint64_t writes_ = 0;
  std::uint64_t turn_ = 0;
  std::uint64_t overtaken_ = 0;
  std::map<std::uint32_t, std::uint64_t> latest_;  // the write that a row was last changed by
  std::map<std::uint32_t, std::uint32_t> inForce_;
  std::multimap<std::uint64_t, std::pair<std::uint64_t, Answer>> answers_;  // by turn
};

// Gtest prints what differs.
void PrintTo(Model::Answer const& answer, std::ostream* out) {
  *out << "row " << answer.row << (answer.refused ? " refused" : " accepted");
}

// Rows as random as a generator that is the same everywhere makes them.
struct RandomCalls : testing::TestWithParam<std::uint32_t> {};

INSTANTIATE_TEST_SUITE_P(Seeds, RandomCalls, testing::Values(1U, 2U, 3U, 4U, 5U));

TEST_P(RandomCalls, AreAnsweredToWhomTheyWereMadeFor) {
  FaultProfile const profile{.answerAfter = 1,
                             .order = Order::random,
                             .refusedRows = {3},
                             .refuseEvery = 4,
                             .loseAnswerEvery = 11,
                             .loseWriteEvery = 13,
                             .answerTwiceEvery = 3,
                             .lateEvery = 5,
                             .lateBy = 4};
  for (TableId const table : {TableId::ecmpNextHops, TableId::groups}) {
    std::mt19937 random(GetParam());
    Tables tables(onlyOf(table, profile, GetParam()));
    HardwarePort const port(tables, table);
    auto const responses = Responses::of(table == TableId::groups ? tables.groups->hwTable()
                                                                  : tables.nextHops->hwTable());
    Model model(profile);
    constexpr std::uint32_t rows = 6;
    auto const turn = [&] {
      responses->seen.clear();
      runTurn(tables);
      std::vector<Model::Answer> heard;
      for (auto const& response : responses->seen) {
        heard.push_back({response.row.value(), response.state == Asic::HwTable::refused});
      }
      std::sort(heard.begin(), heard.end());
      return heard;
    };
    std::uint64_t compared = 0;
    for (int i = 0; i < 10'000; ++i) {
      std::uint32_t const row = static_cast<std::uint32_t>(random() % rows);
      std::uint32_t const what = static_cast<std::uint32_t>(random() % 10);
      if (what < 2) {
        port.erase(row);
        model.erase(row);
      } else {
        auto const value = static_cast<std::uint16_t>(i);
        port.write(row, value);
        model.write(row, value);
      }
      if (random() % 4 != 0) continue;
      auto const expected = model.turn();
      ASSERT_EQ(turn(), expected) << "call " << i;
      compared += expected.size();
    }
    while (model.isWaiting()) {
      auto const expected = model.turn();
      ASSERT_EQ(turn(), expected);
      compared += expected.size();
    }
    EXPECT_EQ(tables.device.answers()->waiting(), 0U);
    EXPECT_EQ(port.counts().overtaken, model.overtaken());
    EXPECT_GT(model.overtaken(), 1000U);
    EXPECT_GT(compared, 1000U);
    EXPECT_EQ(port.heard(), compared);
    for (std::uint32_t row = 0; row < rows; ++row) EXPECT_EQ(port.value(row), model.value(row));
  }
}

// Keys come and go, and rows have many owners: each entry hears of its own last write only.
TEST_P(RandomCalls, ThroughTheTablesLeaveEveryEntryWithItsOwnAnswer) {
  std::mt19937 random(GetParam());
  FaultProfile const profile{.answerAfter = 1,
                             .order = Order::random,
                             .refuseEvery = 3,
                             .answerTwiceEvery = 2,
                             .lateEvery = 4,
                             .lateBy = 6};
  Tables tables(onlyOf(TableId::ecmpNextHops, profile, GetParam()));
  // A key's last commit: what it wrote, what the hardware did with it, and what its handler heard.
  struct Entry {
    ConstHandle handle;
    std::uint16_t value = 0;
    bool isRefused = false;
    States states;
  };
  std::map<std::uint8_t, Entry> entries;
  std::uint64_t writes = 0;
  std::uint64_t answered = 0;
  auto const check = [&] {
    for (auto const& [key, entry] : entries) {
      for (int const state : entry.states) {
        ASSERT_EQ(state == Asic::HwTable::refused, entry.isRefused) << "key " << int{key};
        ++answered;
      }
    }
  };
  for (int i = 0; i < 10'000; ++i) {
    auto const key = static_cast<std::uint8_t>(1 + random() % 5);
    bool const isThere = entries.contains(key);
    // Each entry is committed once and removed: what its handler hears is its one write's answer.
    if (isThere) {
      tables.nextHops->entryRemove(via(key));
      entries.erase(key);
    } else {
      Entry& entry = entries[key];
      entry.value = static_cast<std::uint16_t>(i + 1);
      entry.isRefused = ++writes % 3 == 0;
      entry.handle = tables.nextHops->entryCommitWithResponseHandler(
          via(key), nextHop<NextHopEntry>(entry.value), into(entry.states));
    }
    if (random() % 4 == 0) runTurn(tables);
    check();
    if (HasFatalFailure()) return;
  }
  EXPECT_EQ(tables.device.ecmpNextHops().counts().writes, writes);
  while (tables.device.answers()->waiting() > 0) runTurn(tables);
  check();
  EXPECT_GT(answered, 1000U);
  for (auto const& [key, entry] : entries) {
    EXPECT_EQ(entry.states, States({entry.isRefused ? 2 : 1}));
    EXPECT_EQ(entry.handle->isProgrammed(), !entry.isRefused);
    auto const& contents = tables.device.ecmpNextHops().row(entry.handle->hwEntryIndex()).contents;
    if (entry.isRefused) {
      EXPECT_FALSE(contents);
    } else {
      ASSERT_TRUE(contents);
      EXPECT_EQ(contents->fields.destination, entry.value);
    }
  }
  entries.clear();
}

}  // namespace
}  // namespace SoftAsicTests
