// Hardware that refuses, loses, doubles and delays: each fault, on each of the four tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "HardwarePort.h"

namespace SoftAsicTests {
namespace {

using Order = FaultProfile::Order;

struct Faults : testing::TestWithParam<TableId> {
  void faultIs(FaultProfile const& profile) { tables.device.faultIs(GetParam(), profile); }
  // Writes of the values first, first + 1, ... to the row.
  void write(std::uint16_t first, std::uint16_t count, std::uint32_t row) {
    for (std::uint16_t i = 0; i < count; ++i)
      port.write(row, static_cast<std::uint16_t>(first + i));
  }
  std::size_t runTurns(int turns) {
    std::size_t delivered = 0;
    for (int i = 0; i < turns; ++i) delivered += runTurn(tables);
    return delivered;
  }
  SoftAsic::Counts const& counts() const { return port.counts(); }
  std::uint32_t row(std::uint32_t n) const { return port.first() + n; }

  Tables tables{Delivery::whenDrained};
  HardwarePort const port{tables, GetParam()};
};

INSTANTIATE_TEST_SUITE_P(EveryTable, Faults, testing::ValuesIn(SoftAsic::allTables),
                         [](auto const& table) { return std::string(name(table.param)); });

TEST_P(Faults, AreNoneWithoutAProfile) {
  port.write(row(1), 10);
  EXPECT_EQ(port.value(row(1)), 10U);
  EXPECT_EQ(port.fate(row(1)), Fate::taken);
  EXPECT_EQ(port.answer(row(1)), Answer::awaited);
  EXPECT_EQ(runTurns(1), 1U);
  EXPECT_EQ(port.answer(row(1)), Answer::accepted);
  EXPECT_EQ(counts().accepted, 1U);
  EXPECT_EQ(counts().lostWrites + counts().lostAnswers + counts().late + counts().repeated, 0U);
}

TEST_P(Faults, AreNoneInTheirDefault) {
  faultIs({});
  port.write(row(1), 10);
  EXPECT_EQ(port.answer(row(1)), Answer::awaited);
  EXPECT_EQ(runTurns(1), 1U);
  EXPECT_EQ(port.answer(row(1)), Answer::accepted);
}

TEST_P(Faults, AnswerAtOnce) {
  faultIs({.answerAfter = {}});
  port.write(row(1), 10);
  EXPECT_EQ(port.answer(row(1)), Answer::accepted);
  EXPECT_EQ(tables.device.answers()->waiting(), 0U);
}

TEST_P(Faults, AnswerTurnsLater) {
  for (std::uint32_t const turns : {1U, 3U}) {
    faultIs({.answerAfter = turns});
    port.write(row(1), 10);
    EXPECT_EQ(runTurns(static_cast<int>(turns)), 0U);
    EXPECT_EQ(port.answer(row(1)), Answer::awaited);
    EXPECT_EQ(runTurns(1), 1U);
    EXPECT_EQ(port.answer(row(1)), Answer::accepted);
  }
}

TEST_P(Faults, RefuseRowsAndKeepWhatTheyHeld) {
  port.write(row(1), 10);
  runTurns(1);
  faultIs({.refusedRows = {row(1), row(2), 0xFFFFFFFEU}});
  port.write(row(1), 11);
  port.write(row(2), 12);
  port.write(row(3), 13);
  EXPECT_EQ(port.fate(row(1)), Fate::refused);
  EXPECT_EQ(port.answer(row(1)), Answer::awaited);
  runTurns(1);
  EXPECT_EQ(port.answer(row(1)), Answer::refused);
  EXPECT_EQ(port.answer(row(2)), Answer::refused);
  EXPECT_EQ(port.answer(row(3)), Answer::accepted);
  EXPECT_EQ(port.value(row(1)), 10U);
  EXPECT_EQ(port.value(row(2)), std::nullopt);
  EXPECT_EQ(port.value(row(3)), 13U);
  EXPECT_EQ(counts().refused, 2U);
}

TEST_P(Faults, RefuseEveryThirdWrite) {
  faultIs({.refuseEvery = 3});
  std::vector<std::uint32_t> inForce;
  for (std::uint16_t i = 1; i <= 7; ++i) {
    port.write(row(1), i);
    inForce.push_back(port.value(row(1)).value_or(0));
  }
  EXPECT_EQ(inForce, std::vector<std::uint32_t>({1, 2, 2, 4, 5, 5, 7}));
}

TEST_P(Faults, CountTheWritesOutsideOfTheWindowToo) {
  faultIs({.refuseEvery = 2});
  port.write(99, 1);
  port.write(row(1), 2);
  EXPECT_EQ(port.fate(row(1)), Fate::refused);
  EXPECT_EQ(counts().noSuchRow, 1U);
}

TEST_P(Faults, CountFromTheTablesFirstWrite) {
  write(1, 3, row(1));
  faultIs({.refuseEvery = 4});
  port.write(row(1), 4);
  EXPECT_EQ(port.fate(row(1)), Fate::refused);
  write(5, 3, row(1));
  EXPECT_EQ(port.fate(row(1)), Fate::taken);
  port.write(row(1), 8);
  EXPECT_EQ(port.fate(row(1)), Fate::refused);
}

TEST_P(Faults, LoseAnswersToWritesThatTheRowTook) {
  faultIs({.loseAnswerEvery = 2});
  port.write(row(1), 10);
  port.write(row(2), 20);
  EXPECT_EQ(runTurns(5), 1U);
  EXPECT_EQ(port.answer(row(1)), Answer::accepted);
  EXPECT_EQ(port.answer(row(2)), Answer::awaited);
  EXPECT_EQ(port.fate(row(2)), Fate::taken);
  EXPECT_EQ(port.value(row(2)), 20U);
  EXPECT_EQ(counts().lostAnswers, 1U);
  EXPECT_EQ(counts().lostWrites, 0U);
}

TEST_P(Faults, LoseWritesWithTheirAnswers) {
  port.write(row(1), 10);
  runTurns(1);
  faultIs({.loseWriteEvery = 2});
  port.write(row(1), 11);
  EXPECT_EQ(runTurns(5), 0U);
  EXPECT_EQ(port.value(row(1)), 10U);
  EXPECT_EQ(port.fate(row(1)), Fate::lost);
  EXPECT_EQ(port.answer(row(1)), Answer::awaited);
  EXPECT_EQ(counts().lostWrites, 1U);
  EXPECT_EQ(counts().lostAnswers, 0U);
}

// The entry waits for the answer to what it wrote last.
TEST_P(Faults, LetALostWriteOvertakeTheAnswersBeforeIt) {
  faultIs({.loseWriteEvery = 2});
  write(10, 2, row(1));
  EXPECT_EQ(runTurns(1), 1U);
  EXPECT_EQ(counts().overtaken, 1U);
  EXPECT_EQ(port.heard(), 0U);
  EXPECT_EQ(port.answer(row(1)), Answer::awaited);
  EXPECT_EQ(port.value(row(1)), 10U);
}

TEST_P(Faults, AnswerTwice) {
  faultIs({.answerTwiceEvery = 2});
  port.write(row(1), 10);
  port.write(row(2), 20);
  EXPECT_EQ(runTurns(1), 3U);
  EXPECT_EQ(counts().accepted, 2U);
  EXPECT_EQ(counts().repeated, 1U);
  EXPECT_EQ(port.answer(row(2)), Answer::accepted);
}

TEST_P(Faults, AnswerARefusalTwice) {
  faultIs({.refusedRows = {row(1)}, .answerTwiceEvery = 1});
  port.write(row(1), 10);
  EXPECT_EQ(runTurns(1), 2U);
  EXPECT_EQ(counts().refused, 1U);
  EXPECT_EQ(counts().repeated, 1U);
  EXPECT_EQ(port.answer(row(1)), Answer::refused);
}

TEST_P(Faults, AnswerTwiceAtOnce) {
  faultIs({.answerAfter = {}, .answerTwiceEvery = 1});
  port.write(row(1), 10);
  EXPECT_EQ(counts().accepted, 1U);
  EXPECT_EQ(counts().repeated, 1U);
}

TEST_P(Faults, OvertakeBothAnswersToAWrite) {
  faultIs({.answerTwiceEvery = 1});
  port.write(row(1), 10);
  port.erase(row(1));
  EXPECT_EQ(runTurns(1), 2U);
  EXPECT_EQ(counts().overtaken, 2U);
  EXPECT_EQ(counts().repeated, 0U);
}

TEST_P(Faults, AnswerLate) {
  faultIs({.answerAfter = 1, .lateEvery = 2, .lateBy = 3});
  port.write(row(1), 10);
  port.write(row(2), 20);
  EXPECT_EQ(runTurns(1), 0U);
  EXPECT_EQ(runTurns(1), 1U);
  EXPECT_EQ(port.answer(row(1)), Answer::accepted);
  EXPECT_EQ(runTurns(2), 0U);
  EXPECT_EQ(port.answer(row(2)), Answer::awaited);
  EXPECT_EQ(runTurns(1), 1U);
  EXPECT_EQ(port.answer(row(2)), Answer::accepted);
  EXPECT_EQ(counts().late, 1U);
}

TEST_P(Faults, AnswerLateWhereTheOthersAnswerAtOnce) {
  faultIs({.answerAfter = {}, .lateEvery = 2, .lateBy = 2});
  port.write(row(1), 10);
  port.write(row(2), 20);
  EXPECT_EQ(port.answer(row(1)), Answer::accepted);
  EXPECT_EQ(runTurns(1), 0U);
  EXPECT_EQ(port.answer(row(2)), Answer::awaited);
  EXPECT_EQ(runTurns(1), 1U);
  EXPECT_EQ(port.answer(row(2)), Answer::accepted);
}

TEST_P(Faults, AnswerTwiceAndBothLate) {
  faultIs({.answerTwiceEvery = 2, .lateEvery = 2, .lateBy = 1});
  write(10, 2, row(1));
  EXPECT_EQ(runTurns(1), 1U);
  EXPECT_EQ(counts().overtaken, 1U);
  EXPECT_EQ(runTurns(1), 2U);
  EXPECT_EQ(counts().accepted, 1U);
  EXPECT_EQ(counts().repeated, 1U);
}

TEST_P(Faults, LoseAWriteBeforeItCanBeRefusedOrAnswered) {
  faultIs({.refuseEvery = 1,
           .loseAnswerEvery = 1,
           .loseWriteEvery = 1,
           .answerTwiceEvery = 1,
           .lateEvery = 1});
  port.write(row(1), 10);
  EXPECT_EQ(port.fate(row(1)), Fate::lost);
  EXPECT_EQ(runTurns(5), 0U);
  EXPECT_EQ(counts().lostWrites, 1U);
  EXPECT_EQ(counts().lostAnswers, 0U);
  EXPECT_EQ(counts().late, 0U);
}

TEST_P(Faults, LoseARefusal) {
  faultIs({.refuseEvery = 1, .loseAnswerEvery = 1, .answerTwiceEvery = 1, .lateEvery = 1});
  port.write(row(1), 10);
  EXPECT_EQ(port.fate(row(1)), Fate::refused);
  EXPECT_EQ(runTurns(5), 0U);
  EXPECT_EQ(port.answer(row(1)), Answer::awaited);
  EXPECT_EQ(counts().lostAnswers, 1U);
  EXPECT_EQ(counts().late, 0U);
}

TEST_P(Faults, HitWritesOutsideOfTheWindow) {
  faultIs({.loseAnswerEvery = 2, .loseWriteEvery = 3});
  for (int i = 1; i <= 3; ++i) port.write(99, 1);
  EXPECT_EQ(runTurns(1), 1U);
  EXPECT_EQ(counts().noSuchRow, 3U);
  EXPECT_EQ(counts().lostAnswers, 1U);
  EXPECT_EQ(counts().lostWrites, 1U);
}

TEST_P(Faults, AreForgottenByARowThatIsDeleted) {
  faultIs({.refuseEvery = 1});
  port.write(row(1), 10);
  port.erase(row(1));
  EXPECT_EQ(port.fate(row(1)), Fate::taken);
  EXPECT_EQ(port.answer(row(1)), Answer::none);
  faultIs({.loseWriteEvery = 1});
  port.write(row(1), 10);
  EXPECT_EQ(port.fate(row(1)), Fate::lost);
  port.eraseAll();
  EXPECT_EQ(port.fate(row(1)), Fate::taken);
  EXPECT_EQ(port.answer(row(1)), Answer::none);
}

TEST_P(Faults, LeaveTheOtherTablesAlone) {
  faultIs({.refuseEvery = 1, .loseAnswerEvery = 1});
  for (TableId const table : SoftAsic::allTables) {
    if (table == GetParam()) continue;
    HardwarePort const other(tables, table);
    other.write(other.first() + 1, 10);
    EXPECT_EQ(other.value(other.first() + 1), 10U);
  }
  EXPECT_EQ(runTurns(1), 3U);
  EXPECT_EQ(counts().writes, 0U);
}

TEST_P(Faults, AreLiftedInTheMiddle) {
  faultIs({.answerAfter = 2,
           .order = Order::random,
           .refusedRows = {row(1)},
           .refuseEvery = 2,
           .loseAnswerEvery = 3,
           .loseWriteEvery = 5,
           .answerTwiceEvery = 1,
           .lateEvery = 4,
           .lateBy = 2});
  port.rowRefusesIs(row(0));
  // Writes 1 to 5: taken; refused; its answer lost; refused and late; lost.
  for (std::uint16_t i = 1; i <= 5; ++i) port.write(row(i == 5 ? 2 : i + 1U), i);
  SoftAsic::Counts const before = counts();
  EXPECT_EQ(before.lostWrites, 1U);
  EXPECT_EQ(before.lostAnswers, 1U);
  EXPECT_EQ(before.late, 1U);
  tables.device.faultsDel();

  for (std::uint32_t i = 0; i < 6; ++i) port.write(row(i), static_cast<std::uint16_t>(20 + i));
  EXPECT_EQ(runTurns(1), 6U);
  for (std::uint32_t i = 0; i < 6; ++i) {
    EXPECT_EQ(port.value(row(i)), 20U + i);
    EXPECT_EQ(port.answer(row(i)), Answer::accepted);
  }
  EXPECT_EQ(counts().lostWrites, before.lostWrites);
  EXPECT_EQ(counts().lostAnswers, before.lostAnswers);
  EXPECT_EQ(counts().late, before.late);
  EXPECT_EQ(counts().repeated, 0U);

  // What waited comes when it is due, to rows that have been written meanwhile.
  EXPECT_EQ(tables.device.answers()->waiting(), 6U);
  EXPECT_EQ(runTurns(1), 0U);
  EXPECT_EQ(runTurns(1), 4U);
  EXPECT_EQ(runTurns(1), 0U);
  EXPECT_EQ(runTurns(1), 2U);
  EXPECT_EQ(counts().overtaken, 6U);
  EXPECT_EQ(counts().accepted, 6U);
}

TEST_P(Faults, GoOnBeingAnsweredAtOnceWhenLifted) {
  faultIs({.answerAfter = {}, .order = Order::random, .refuseEvery = 1});
  tables.device.faultsDel();
  port.write(row(1), 10);
  EXPECT_EQ(port.answer(row(1)), Answer::accepted);
}

TEST_P(Faults, ThatWaitedAreDeliveredWhenLifted) {
  faultIs({.answerAfter = 1, .answerTwiceEvery = 1});
  port.write(row(1), 10);
  tables.device.faultsDel();
  EXPECT_EQ(runTurns(1), 0U);
  EXPECT_EQ(runTurns(1), 2U);
  EXPECT_EQ(port.answer(row(1)), Answer::accepted);
  EXPECT_EQ(counts().repeated, 1U);
}

TEST_P(Faults, MayBeLiftedWithoutAny) {
  port.rowRefusesIs(row(1));
  tables.device.faultsDel();
  port.write(row(1), 10);
  EXPECT_EQ(runTurns(1), 1U);
  EXPECT_EQ(port.answer(row(1)), Answer::accepted);
  tables.device.answers()->deliveryIs(Delivery::atOnce);
  port.write(row(1), 11);
  EXPECT_EQ(port.answer(row(1)), Answer::accepted);
}

TEST(FaultyDevice, TakesAProfileForEachTable) {
  FaultProfiles profiles;
  profiles.of(TableId::ingressNextHops).answerAfter.reset();
  profiles.of(TableId::ecmpNextHops).answerAfter = 1;
  profiles.of(TableId::members).refuseEvery = 1;
  profiles.of(TableId::groups).loseWriteEvery = 1;
  Tables tables(profiles);
  for (TableId const table : SoftAsic::allTables) {
    HardwarePort const port(tables, table);
    port.write(port.first() + 1, 10);
  }
  HardwarePort const ingress(tables, TableId::ingressNextHops);
  HardwarePort const ecmp(tables, TableId::ecmpNextHops);
  HardwarePort const members(tables, TableId::members);
  HardwarePort const groups(tables, TableId::groups);
  EXPECT_EQ(ingress.answer(7), Answer::accepted);
  EXPECT_EQ(runTurn(tables), 1U);
  EXPECT_EQ(members.answer(1), Answer::refused);
  EXPECT_EQ(ecmp.answer(1), Answer::awaited);
  EXPECT_EQ(runTurn(tables), 1U);
  EXPECT_EQ(ecmp.answer(1), Answer::accepted);
  EXPECT_EQ(groups.fate(1), Fate::lost);
}

// The order in which eight rows of a table with random order are answered.
std::vector<std::uint32_t> orderOfAnswers(std::uint64_t seed) {
  Tables tables(onlyOf(TableId::groups, {.order = Order::random}, seed));
  auto const responses = Responses::of(tables.groups->hwTable());
  HardwarePort const port(tables, TableId::groups);
  for (std::uint32_t row = 0; row < 8; ++row) port.write(row, 10);
  EXPECT_EQ(runTurn(tables), 8U);
  std::vector<std::uint32_t> rows;
  for (auto const& response : responses->seen) rows.push_back(response.row.value());
  return rows;
}

TEST(FaultyDevice, AnswersInAnOrderThatDependsOnTheSeedAlone) {
  auto const first = orderOfAnswers(7);
  EXPECT_EQ(orderOfAnswers(7), first);
  EXPECT_NE(orderOfAnswers(8), first);
  auto sorted = first;
  std::sort(sorted.begin(), sorted.end());
  EXPECT_EQ(sorted, std::vector<std::uint32_t>({0, 1, 2, 3, 4, 5, 6, 7}));
  EXPECT_NE(first, sorted);
}

TEST(FaultyDevice, AnswersInOrderWhenLiftedWhatWaitsIncluded) {
  Tables tables(onlyOf(TableId::groups, {.answerAfter = 1, .order = Order::random}));
  auto const responses = Responses::of(tables.groups->hwTable());
  HardwarePort const port(tables, TableId::groups);
  auto const write = [&] {
    for (std::uint32_t row = 0; row < 8; ++row) port.write(row, 10);
  };
  auto const turn = [&] {
    responses->seen.clear();
    runTurn(tables);
    std::vector<std::uint32_t> rows;
    for (auto const& response : responses->seen) rows.push_back(response.row.value());
    return rows;
  };
  std::vector<std::uint32_t> const inOrder{0, 1, 2, 3, 4, 5, 6, 7};
  write();
  tables.device.faultsDel();
  EXPECT_TRUE(turn().empty());
  EXPECT_EQ(turn(), inOrder);
  write();
  EXPECT_EQ(turn(), inOrder);
}

}  // namespace
}  // namespace SoftAsicTests
