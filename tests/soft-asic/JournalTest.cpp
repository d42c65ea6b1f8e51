// The journal of a device's calls: kept, saved, loaded and compared.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "HardwarePort.h"
#include "TemporaryFile.h"
#include "plugins/soft-asic/Journal.h"

namespace SoftAsicTests {
namespace {

using SoftAsic::Call;
using SoftAsic::Comparison;
using SoftAsic::Journal;
using SoftAsic::JournalError;
using EcmpEntry = EcmpIngL3NextHop1Table::Entry;

// A device whose calls are journalled.
struct Recorded {
  explicit Recorded(FaultProfiles const& faults = {}) : tables(faults) {
    tables.device.observerIs(&journal);
  }

  Tables tables;
  Journal journal;
};

std::string linesOf(Journal const& journal) {
  std::string all;
  for (Journal::Entry const& call : journal.calls()) all += text(call) + "\n";
  return all;
}
Journal journalOf(std::string const& lines) {
  TemporaryFile const file(lines);
  return Journal::load(file.path());
}
std::string errorOf(std::string const& lines) {
  TemporaryFile const file(lines);
  std::string const text = thrown<JournalError>([&] { (void)Journal::load(file.path()); });
  if (text.empty()) return "no error";
  EXPECT_EQ(text.rfind(file.path().string(), 0), 0U) << text;
  return text.substr(file.path().string().size());
}

// Every kind of call and every fate.
std::string const everyCall =
    "1 ecmp write row 1: destination 65535 dvp 2 dvpL3Oif1 16383 dvpMtuProfilePtr 1023 "
    "forwardingType 15 l2McL3McL2OifSysDstValid 14 l3OifType 1 strengthProfileIdx 31 systemOpcode "
    "13 "
    "viewType 3 l3Oif1 21 mtuProfilePtr 4 taken\n"
    "2 ingress write row 7: destination 10 dvp 0 dvpL3Oif1 0 dvpMtuProfilePtr 0 forwardingType 0 "
    "l2McL3McL2OifSysDstValid 0 l3OifType 0 strengthProfileIdx 0 systemOpcode 0 viewType 0 l3Oif1 "
    "1 "
    "mtuProfilePtr 0 taken\n"
    "3 member write row 1: nextHopEntry 70000 refused\n"
    "4 member write row 2: nextHopEntry none lost\n"
    "5 group write row 3: numPaths 2 lbMode 4294967295 ecmpBlockPtr 65535 taken\n"
    "6 group write row 99: numPaths 10 lbMode 0 ecmpBlockPtr 0 noSuchRow\n"
    "7 group remove row 3: taken\n"
    "8 group remove row none: noSuchRow\n"
    "9 ingress removeAll row 6: taken\n";

void makeEveryCall(Recorded& recorded) {
  Tables& tables = recorded.tables;
  EcmpEntry const entry(65535, 2, 16383, 1023, 15, 14, 0, programmed(21), 1, 0, programmed(4), 31,
                        13, 3);
  tables.nextHops->util()->hwTableEntryIs(tables.nextHops->hwTable(), 1, entry);
  HardwarePort const ingress(tables, TableId::ingressNextHops);
  HardwarePort const groups(tables, TableId::groups);
  ingress.write(7, 10);
  auto const& members = tables.members;
  members->util()->hwTableEntryIs(members->hwTable(), 1, L3EcmpMember(programmed(70000)));
  members->util()->hwTableEntryIs(members->hwTable(), 2, L3EcmpMember());
  tables.groups->util()->hwTableEntryIs(tables.groups->hwTable(), 3,
                                        {0, programmed(0x1FFFF), 0xFFFFFFFFU, 2});
  groups.write(99, 10);
  groups.erase(3);
  groups.erase(0xFFFFFFFFU);
  ingress.eraseAll();
}

TEST(CallJournal, KeepsEveryCallWithItsRecordAndItsFate) {
  Recorded recorded(onlyOf(TableId::members, {.refusedRows = {1}, .loseWriteEvery = 2}));
  makeEveryCall(recorded);
  EXPECT_EQ(linesOf(recorded.journal), everyCall);
}

TEST(CallJournal, KeepsTheValuesOfTheMoment) {
  Recorded recorded;
  Handle const nextHop = programmed(5);
  auto const& members = recorded.tables.members;
  members->util()->hwTableEntryIs(members->hwTable(), 1, L3EcmpMember(nextHop));
  nextHop->hwEntryIndexIs(6);
  members->util()->hwTableEntryIs(members->hwTable(), 1, L3EcmpMember(nextHop));
  EXPECT_EQ(linesOf(recorded.journal),
            "1 member write row 1: nextHopEntry 5 taken\n"
            "2 member write row 1: nextHopEntry 6 taken\n");
}

TEST(CallJournal, IsTheSameAfterARoundTrip) {
  Recorded recorded(onlyOf(TableId::members, {.refusedRows = {1}, .loseWriteEvery = 2}));
  makeEveryCall(recorded);
  TemporaryFile const file("what was there before, and is longer than a line");
  recorded.journal.save(file.path());
  EXPECT_EQ(file.text(), everyCall);
  Journal const loaded = Journal::load(file.path());
  EXPECT_EQ(loaded.calls(), recorded.journal.calls());
  loaded.save(file.path());
  EXPECT_EQ(file.text(), everyCall);
}

TEST(CallJournal, MayBeEmpty) {
  TemporaryFile const file("x");
  Journal().save(file.path());
  EXPECT_EQ(file.text(), "");
  EXPECT_TRUE(Journal::load(file.path()).calls().empty());
}

TEST(CallJournal, SaysWhenItCannotBeSaved) {
  Recorded recorded;
  HardwarePort(recorded.tables, TableId::groups).write(1, 10);
  auto const errorOfSaving = [&](char const* path) {
    try {
      recorded.journal.save(path);
    } catch (std::system_error const& error) {
      EXPECT_NE(std::string(error.what()).find(path), std::string::npos) << error.what();
      return error.code().value();
    }
    return 0;
  };
  EXPECT_EQ(errorOfSaving("no/such/folder/journal"), ENOENT);
  // Found out only at the end, as long as all of it fits into memory.
  EXPECT_EQ(errorOfSaving("/dev/full"), ENOSPC);
  for (std::uint16_t i = 0; i < 5000; ++i)
    HardwarePort(recorded.tables, TableId::groups).write(1, i);
  EXPECT_EQ(errorOfSaving("/dev/full"), ENOSPC);
}

TEST(CallJournal, SaysWhenItCannotBeRead) {
  EXPECT_THROW((void)Journal::load("no/such/journal"), std::system_error);
  EXPECT_THROW((void)Journal::load(std::filesystem::temp_directory_path()), std::system_error);
}

TEST(CallJournal, SaysWhichLineIsNone) {
  std::string const good = "1 group remove row 3: taken\n";
  EXPECT_EQ(errorOf(good + "2 group remove row 3: taken"),
            ":2: expected a line's end, found the end of the file");
  EXPECT_EQ(errorOf(good + "\n"),
            ":2: expected a number up to 18446744073709551615, found nothing");
  EXPECT_EQ(errorOf("x group remove row 3: taken\n"),
            ":1: expected a number up to 18446744073709551615, found \"x\"");
  EXPECT_EQ(errorOf("1 groups remove row 3: taken\n"),
            ":1: expected one of \"ingress\", \"ecmp\", \"member\", \"group\", found \"groups\"");
  EXPECT_EQ(errorOf("1 group delete row 3: taken\n"),
            ":1: expected one of \"write\", \"remove\", \"removeAll\", found \"delete\"");
  EXPECT_EQ(errorOf("1 group remove line 3: taken\n"), ":1: expected \"row\", found \"line\"");
  EXPECT_EQ(errorOf("1 group remove row 3 taken\n"), ":1: expected a row and \":\", found \"3\"");
  for (std::string const row : {"-1:", "4294967295:", "03:", "3x:", ":", "x:"}) {
    EXPECT_EQ(errorOf("1 group remove row " + row + " taken\n"),
              ":1: expected a row and \":\", found \"" + row + "\"");
  }
  EXPECT_EQ(errorOf("1 group remove row 3: gone\n"),
            ":1: expected one of \"taken\", \"refused\", \"lost\", \"noSuchRow\", found \"gone\"");
  EXPECT_EQ(errorOf("1 group remove row 3:\n"),
            ":1: expected one of \"taken\", \"refused\", \"lost\", \"noSuchRow\", found the end of "
            "the line");
  EXPECT_EQ(errorOf("1 group remove row 3: taken too\n"),
            ":1: expected the end of the line, found \"too\"");
  EXPECT_EQ(errorOf("1 group remove row 3: taken \n"),
            ":1: expected the end of the line, found nothing");
  EXPECT_EQ(errorOf("1  group remove row 3: taken\n"),
            ":1: expected one of \"ingress\", \"ecmp\", \"member\", \"group\", found nothing");
}

TEST(CallJournal, HasTheFieldsOfEachRecord) {
  EXPECT_EQ(errorOf("1 group write row 3: lbMode 0 numPaths 2 ecmpBlockPtr 4 taken\n"),
            ":1: expected \"numPaths\", found \"lbMode\"");
  EXPECT_EQ(errorOf("1 group write row 3: numPaths 65536 lbMode 0 ecmpBlockPtr 4 taken\n"),
            ":1: expected a number up to 65535, found \"65536\"");
  EXPECT_EQ(errorOf("1 group write row 3: numPaths 2 lbMode 4294967296 ecmpBlockPtr 4 taken\n"),
            ":1: expected a number up to 4294967295, found \"4294967296\"");
  EXPECT_EQ(errorOf("1 group write row 3: numPaths 2 lbMode 0 ecmpBlockPtr taken\n"),
            ":1: expected a number up to 65535, found \"taken\"");
  EXPECT_EQ(errorOf("1 member write row 3: nextHopEntry -1 taken\n"),
            ":1: expected a row, found \"-1\"");
  EXPECT_EQ(errorOf("1 ecmp write row 3: destination 1 dvp 0 dvpL3Oif1 16384 taken\n"),
            ":1: expected a number up to 16383, found \"16384\"");
  EXPECT_EQ(errorOf("1 group remove row 3: numPaths 2 lbMode 0 ecmpBlockPtr 4 taken\n"),
            ":1: expected one of \"taken\", \"refused\", \"lost\", \"noSuchRow\", found "
            "\"numPaths\"");
}

TEST(CallJournal, HasNumbersThatRise) {
  EXPECT_EQ(errorOf("5 group remove row 3: taken\n9 group remove row 3: taken\n"), "no error");
  EXPECT_EQ(errorOf("5 group remove row 3: taken\n5 group remove row 3: taken\n"),
            ":2: expected a number above 5, found 5");
}

TEST(JournalComparison, FindsTheSameCalls) {
  Journal const journal = journalOf(everyCall);
  Comparison const comparison = compare(journal, journalOf(everyCall));
  EXPECT_TRUE(comparison.sameCalls);
  EXPECT_TRUE(comparison.sameRows);
  EXPECT_EQ(comparison.text,
            "calls in their order: all 9 the same\n"
            "calls                        A         B\n"
            "  ingress write              1         1\n"
            "  ingress removeAll          1         1\n"
            "  ecmp write                 1         1\n"
            "  member write               2         2\n"
            "  group write                2         2\n"
            "  group remove               2         2\n"
            "rows in force at the end: all 1 the same\n");
}

TEST(JournalComparison, DoesNotMindWhereTheNumbersBegan) {
  Comparison const comparison =
      compare(journalOf("1 group remove row 3: taken\n2 group remove row 4: taken\n"),
              journalOf("7 group remove row 3: taken\n9 group remove row 4: taken\n"));
  EXPECT_TRUE(comparison.sameCalls);
}

TEST(JournalComparison, ShowsTheFirstCallThatDiffers) {
  std::string const start = "1 member write row 1: nextHopEntry 5 taken\n";
  Comparison const comparison =
      compare(journalOf(start + "2 member write row 2: nextHopEntry 6 taken\n"),
              journalOf(start + "2 member write row 2: nextHopEntry 7 taken\n"), "before", "now");
  EXPECT_FALSE(comparison.sameCalls);
  EXPECT_FALSE(comparison.sameRows);
  EXPECT_EQ(comparison.text,
            "calls in their order: 1 the same, then\n"
            "  before: 2 member write row 2: nextHopEntry 6 taken\n"
            "  now:    2 member write row 2: nextHopEntry 7 taken\n"
            "calls                   before       now\n"
            "  member write               2         2\n"
            "rows in force at the end: 1 of 2 differ:\n"
            "member row 2\n"
            "  before: nextHopEntry 6\n"
            "  now:    nextHopEntry 7\n");
}

TEST(JournalComparison, TakesEveryPartOfACallIntoAccount) {
  std::string const call =
      "1 ingress write row 7: destination 10 dvp 0 dvpL3Oif1 0 "
      "dvpMtuProfilePtr 0 forwardingType 0 l2McL3McL2OifSysDstValid 0 l3OifType 0 "
      "strengthProfileIdx 0 systemOpcode 0 viewType 0 l3Oif1 1 mtuProfilePtr 0 taken\n";
  Journal const journal = journalOf(call);
  ASSERT_TRUE(compare(journal, journalOf(call)).sameCalls);
  auto const changed = [&](std::string const& from, std::string const& to) {
    std::string other = call;
    other.replace(other.find(from), from.size(), to);
    return compare(journal, journalOf(other)).sameCalls;
  };
  EXPECT_FALSE(changed("ingress", "ecmp"));
  EXPECT_FALSE(changed("row 7", "row 8"));
  EXPECT_FALSE(changed("taken", "refused"));
  EXPECT_FALSE(changed("viewType 0", "viewType 1"));
  EXPECT_FALSE(changed("l3Oif1 1", "l3Oif1 2"));
  EXPECT_FALSE(changed("mtuProfilePtr 0", "mtuProfilePtr 1"));
  EXPECT_FALSE(compare(journalOf("1 group remove row 3: taken\n"),
                       journalOf("1 group removeAll row 3: taken\n"))
                   .sameCalls);
}

TEST(JournalComparison, ShowsWhichSideEnded) {
  std::string const start = "1 member write row 1: nextHopEntry 5 taken\n";
  std::string const more = "2 member remove row 1: taken\n";
  Comparison const comparison = compare(journalOf(start), journalOf(start + more));
  EXPECT_FALSE(comparison.sameCalls);
  EXPECT_EQ(comparison.text,
            "calls in their order: 1 the same, then\n"
            "  A: nothing more\n"
            "  B: 2 member remove row 1: taken\n"
            "calls                        A         B\n"
            "  member write               1         1\n"
            "  member remove              0         1\n"
            "rows in force at the end: 1 of 1 differ:\n"
            "member row 1\n"
            "  A: nextHopEntry 5\n"
            "  B: nothing\n");
  EXPECT_FALSE(compare(journalOf(start + more), journalOf(start)).sameCalls);
  EXPECT_FALSE(compare(Journal(), journalOf(start)).sameCalls);
  EXPECT_TRUE(compare(Journal(), Journal()).sameCalls);
}

TEST(JournalComparison, FindsTheSameRowsWhateverLedThere) {
  std::string const one =
      "1 group write row 3: numPaths 1 lbMode 0 ecmpBlockPtr 0 taken\n"
      "2 group write row 4: numPaths 2 lbMode 0 ecmpBlockPtr 0 taken\n";
  std::string const other =
      "1 member write row 1: nextHopEntry 5 taken\n"
      "2 group write row 4: numPaths 1 lbMode 0 ecmpBlockPtr 0 taken\n"
      "3 group removeAll row 0: taken\n"
      "4 group write row 4: numPaths 2 lbMode 0 ecmpBlockPtr 0 taken\n"
      "5 group write row 4: numPaths 3 lbMode 0 ecmpBlockPtr 0 refused\n"
      "6 group write row 4: numPaths 3 lbMode 0 ecmpBlockPtr 0 lost\n"
      "7 group write row 9: numPaths 3 lbMode 0 ecmpBlockPtr 0 noSuchRow\n"
      "8 group write row 3: numPaths 1 lbMode 0 ecmpBlockPtr 0 taken\n"
      "9 member remove row 1: taken\n"
      "10 member remove row 99: noSuchRow\n";
  Comparison const comparison = compare(journalOf(one), journalOf(other));
  EXPECT_FALSE(comparison.sameCalls);
  EXPECT_TRUE(comparison.sameRows);
  EXPECT_NE(comparison.text.find("rows in force at the end: all 2 the same\n"), std::string::npos);
}

// The two views of the next-hop rows are emptied one at a time.
TEST(JournalComparison, EmptiesOneTableOnly) {
  std::string const writes =
      "1 member write row 0: nextHopEntry 5 taken\n"
      "2 group write row 0: numPaths 1 lbMode 0 ecmpBlockPtr 0 taken\n"
      "3 group write row 4294967294: numPaths 1 lbMode 0 ecmpBlockPtr 0 taken\n";
  Comparison const comparison = compare(journalOf(writes + "4 group removeAll row 0: taken\n"),
                                        journalOf("1 member write row 0: nextHopEntry 5 taken\n"));
  EXPECT_TRUE(comparison.sameRows);
  EXPECT_FALSE(
      compare(journalOf(writes + "4 member removeAll row 0: taken\n"), journalOf(writes)).sameRows);
}

TEST(JournalComparison, ShowsNoMoreRowsThanItIsAskedFor) {
  std::string lines;
  for (int i = 1; i <= 5; ++i) {
    lines +=
        std::to_string(i) + " member write row " + std::to_string(i) + ": nextHopEntry 5 taken\n";
  }
  std::string const text = compare(Journal(), journalOf(lines), "A", "B", 2).text;
  EXPECT_NE(text.find("rows in force at the end: 5 of 5 differ; the first 2:\nmember row 1\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("member row 2\n"), std::string::npos);
  EXPECT_EQ(text.find("member row 3\n"), std::string::npos);
}

TEST(JournalComparison, FindsTwoRunsOfTheSameCallsAlike) {
  FaultProfile const profile{.order = FaultProfile::Order::random, .refuseEvery = 3};
  auto const run = [&](Recorded& recorded) {
    HardwarePort const port(recorded.tables, TableId::groups);
    for (std::uint16_t i = 0; i < 100; ++i) port.write(i % 8U, i);
    port.erase(3);
  };
  Recorded first(onlyOf(TableId::groups, profile));
  Recorded second(onlyOf(TableId::groups, profile));
  Recorded third;
  run(first);
  run(second);
  run(third);
  EXPECT_TRUE(compare(first.journal, second.journal).sameCalls);
  EXPECT_FALSE(compare(first.journal, third.journal).sameCalls);
  EXPECT_FALSE(compare(first.journal, third.journal).sameRows);
}

}  // namespace
}  // namespace SoftAsicTests
