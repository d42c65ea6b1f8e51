// The summary and the tables, word for word.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "agent/Report.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using namespace std::chrono_literals;

class ReportTest : public ReplayFixture {
 protected:
  ReportTest() {
    options.rows = 8;  // ECMP rows 1 to 3, and 4 to 7 for next hops of routes
    options.ecmpRows.reset();
    options.refusedRows = {5};
  }
  // Some of everything: the row of next hop 2 refuses, 6 comes over an onlink gateway, 8 finds no
  // row, 9 goes again before it was written, nothing uses 10, and two names of the first next hop.
  Report someReport() {
    Bytes const stream =
        announceRouted(1, 2) + announceRouted(2, 3, "10.0.2.2") + announceRouted(5, 4, "fe80::5") +
        announce(5, 4, "fe80::5") + announceRouted(9, 4, "10.9.9.9", RTNH_F_ONLINK) + withdraw(9) +
        withdrawRouteTo(9) + announce(10, 4) + announce(11, 2) +
        announceGroup(20, {{1, 0}, {2, 1}}) + announceBlackhole(21) + routeTo(20) + routeTo(21) +
        announceGroup(22, {{1, 0}, {2, 0}, {5, 0}, {10, 0}}) +
        announceGroup(23, {{77, 255}, {1, 0}}) + announceGroup(24, {{21, 0}, {1, 0}}) +
        announceGroup(25, {{21, 0}}) + announceGroup(26, {{20, 0}}) +
        announceRouted(6, 7, "10.0.6.2", RTNH_F_ONLINK) + announceRouted(8, 7) + routeTo(30) +
        announceRoute("10.1.0.0", 16, "", {.type = RTN_UNREACHABLE}) +
        announceRoute("10.2.0.0", 16, Bytes()) + withdraw(99) + withdrawRouteTo(99);
    Report report = run(stream);
    report.file = "stream.fpm";
    // Times that do not depend on the machine.
    report.commit = {};
    for (auto const time : {100ns, 200ns, 300ns, 400ns, 501ns}) report.commit.add(time);
    report.remove = {};
    return report;
  }
};

TEST_F(ReportTest, SummaryIsReadable) {
  EXPECT_EQ(text(someReport()),
            R"(Replayed stream.fpm: 1604 bytes, 31 frames, 31 messages, 5 turns of the event loop
Messages      9 next hops, 6 groups, 1 blackhole, 2 withdrawals of ids; 11 routes, 2 route withdrawals; 0 skipped

Next-hop ids  8 announced, 1 announced again unchanged, 0 changed, 1 withdrawn
  at the end  7 live, which name 6 identities; 1 that nothing uses
Group ids     6 announced, 0 announced again unchanged, 0 changed, 0 withdrawn
  at the end  6 live: 2 with a group, 1 waiting for members, 1 that drop, 1 that drop in part, 1 not possible; 1 came before their members
Blackholes    1 announced, 0 withdrawn, 1 live
Withdrawn     1 while in use, 0 still waiting for the last user; 1 id not known
Routes        11 announced, 0 announced again unchanged, 0 changed, 1 withdrawn, 1 withdrawal not known
  at the end  10: 4 forwarded, 0 over the way before, 2 that drop, 1 waiting for an id, 2 whose way is not in hardware, 1 not possible; 1 came before their id

Next hops of routes
  at the end  5: 3 programmed, 0 parked, 1 refused, 0 unanswered, 1 not placed
  on the way  6 made, 1 ended, at most 5 at once; 5 had to wait, at most 4 parked; 2 times not placed; 0 writes tried again
Next hops of groups
  at the end  2: 2 programmed, 0 parked, 0 refused, 0 unanswered, 0 not placed
  on the way  4 made, 2 ended, at most 4 at once; 4 had to wait, at most 4 parked; 0 times not placed; 0 writes tried again
Groups        2 made, 0 ended, at most 2 at once
  at the end  2: 1 programmed, 0 parked, 0 refused, 0 unanswered, 1 not placed
  on the way  0 swaps to another block (0 by local repair, 0 back from it); 1 time not placed; 0 writes tried again
  blocks      1 in force, 0 waiting; 3 member rows
  weights     1 group announced with unknown weights (255)

Hardware
  ingress     4 writes, 0 deletes, 3 rows in force; answers: 3 accepted, 1 refused, 0 overtaken
  ecmp        3 writes, 2 deletes, 2 rows in force; answers: 2 accepted, 0 refused, 1 overtaken; 1 delete of what had no row; 2 rows in use, 1 free, longest run 1
  member      3 writes, 0 deletes, 3 rows in force; answers: 3 accepted, 0 refused, 0 overtaken; 3 rows in use, 65533 free, longest run 65533
  group       1 write, 0 deletes, 1 row in force; answers: 1 accepted, 0 refused, 0 overtaken; 1 row in use, 16382 free, longest run 16382
Interfaces    4 in use, at most 4
Time          of next hops of routes: commit 5 x, mean 300 ns, max 501 ns; remove none
Skipped       nothing
Next hops of routes that are not programmed
  row 5, 10.0.2.2 on interface 3: refused
  connected on interface 7: no free row
Group ids without a group of their contents
  id 23: waits for members 77
  id 24: not programmed, drops over members 21
  id 26: member 20 is a group
Groups that are not in hardware as asked
  group 2 (id 22): no room in the ECMP next-hop table: 1 needed, 0 of 3 rows free, longest run 0
Routes that are not forwarded as asked
  10.0.2.0/24 metric 20 -> id 2, row 5, 10.0.2.2 on interface 3: refused
  10.0.8.0/24 metric 20 -> id 8, connected on interface 7: no free row
  10.0.30.0/24 metric 20 -> id 30 is not announced
  10.2.0.0/16 metric 20 -> neither a next-hop id nor a path
)");
}

TEST_F(ReportTest, ShowIsAligned) {
  EXPECT_EQ(showText(someReport()),
            R"(Next hops of routes
row  family  gateway          interface  ids  state        destination  l3Oif1  mtuProfilePtr  forwardingType  valid
4    IPv4    connected        2          2    programmed   1            1       1              0               1
5    IPv4    10.0.2.2         3          1    refused      2            2       1              1               1
6    IPv6    fe80::5          4          1    programmed   3            3       1              2               1
-    IPv4    connected        7          1    no free row  -            -       -              -               -
7    IPv4    10.0.6.2 onlink  7          1    programmed   5            4       1              1               1

Next hops of groups
row  family  gateway    interface  ids  state       destination  l3Oif1  mtuProfilePtr  forwardingType  valid
1    IPv4    connected  2          2    programmed  1            1       1              0               1
2    IPv4    10.0.2.2   3          1    programmed  2            2       1              1               1

Groups
id 23: waits for members 77
id 24: not programmed, drops over members 21
id 25: drops
id 26: member 20 is a group
group 1 (id 20), row 1: programmed; 3 paths from member row 0
  member row 0 -> next-hop row 1 -> connected on interface 2, l3Oif1 1
  member rows 1 to 2 -> next-hop row 2 -> 10.0.2.2 on interface 3, l3Oif1 2
group 2 (id 22): no room in the ECMP next-hop table: 1 needed, 0 of 3 rows free, longest run 0
)");
}

TEST_F(ReportTest, TableSaysWhatIsStillUnknownOfAParkedNextHop) {
  options.interfaceDelay.reset();
  EXPECT_EQ(
      tableText(run(announceRouted(1, 2)).ingress),
      "row  family  gateway    interface  ids  state   destination  l3Oif1  mtuProfilePtr  "
      "forwardingType  valid\n"
      "4    IPv4    connected  2          1    parked  1            -       1              0  "
      "             1\n");
}

TEST_F(ReportTest, ShowSaysWhenThereIsNothingToShow) {
  EXPECT_EQ(showText(run(announce(1, 2) + announceBlackhole(2) + routeTo(2))),
            "Nothing is announced that needs a row.\n");
}

TEST_F(ReportTest, ShowsOnlyTheTablesThatAreNotEmpty) {
  options.refusedRows.clear();
  Bytes const two = announce(1, 2) + announce(2, 3);
  std::string const ofRoutes = showText(run(two + routeTo(1)));
  EXPECT_TRUE(ofRoutes.starts_with("Next hops of routes\n")) << ofRoutes;
  EXPECT_EQ(ofRoutes.find("Next hops of groups"), std::string::npos);
  EXPECT_EQ(ofRoutes.find("Groups"), std::string::npos);
  std::string const ofGroups = showText(run(two + announceGroup(20, {{1, 0}, {2, 0}})));
  EXPECT_TRUE(ofGroups.starts_with("Next hops of groups\n")) << ofGroups;
  EXPECT_NE(ofGroups.find("\n\nGroups\ngroup 1 (id 20), row 1: programmed; 2 paths from member "
                          "row 0\n"),
            std::string::npos)
      << ofGroups;
}

TEST_F(ReportTest, SaysWhatParkedNextHopsWaitFor) {
  Bytes const stream = announceRouted(1, 2, "10.0.1.2");
  std::string const title = "Next hops of routes that are not programmed\n";
  auto const list = [&] {
    std::string const summary = text(run(stream));
    std::size_t const begin = std::min(summary.find(title), summary.size());
    return summary.substr(begin, summary.find("Routes that are not") - begin);
  };
  options.interfaceDelay.reset();
  EXPECT_EQ(list(), title + "  row 4, 10.0.1.2 on interface 2: parked, waits for its interface\n");
  options.mtuDelay.reset();
  EXPECT_EQ(list(), title +
                        "  row 4, 10.0.1.2 on interface 2: parked, waits for its interface and its "
                        "MTU profile\n");
  options.interfaceDelay = 0;
  EXPECT_EQ(list(),
            title + "  row 4, 10.0.1.2 on interface 2: parked, waits for its MTU profile\n");
  options.mtuDelay = 0;
  EXPECT_EQ(list(), "");
}

TEST_F(ReportTest, SaysTheSameOfNextHopsOfGroups) {
  options.interfaceDelay.reset();
  std::string const summary = text(run(announce(1, 2) + announceGroup(20, {{1, 0}})));
  EXPECT_NE(summary.find("Next hops of groups that are not programmed\n"
                         "  connected on interface 2: parked, waits for its interface\n"
                         "Groups that are not in hardware as asked\n"
                         "  group 1 (id 20): parked, waits for its next hops\n"),
            std::string::npos)
      << summary;
}

TEST_F(ReportTest, SaysThatAnOlderRecordIsInARow) {
  options.refusedRows.clear();
  options.faults.of(SoftAsic::TableId::ingressNextHops).loseAnswerEvery = 1;
  start(announceRouted(1, 2));
  finish();
  replay().hardware().device().nextHops().rowRefusesIs(4, true);
  replay().hardware().device().faultIs(SoftAsic::TableId::ingressNextHops, {});
  replay().happen(eventOf("at end retry"));
  finish();
  std::string const summary = text(replay().report());
  EXPECT_NE(summary.find("Next hops of routes that are not programmed\n"
                         "  row 4, connected on interface 2: refused (an older record is in the "
                         "row)\n"),
            std::string::npos)
      << summary;
}

TEST_F(ReportTest, CountsOneThingInTheSingular) {
  std::string const summary = text(run(announce(1, 2)));
  EXPECT_NE(summary.find(": 44 bytes, 1 frame, 1 message, 1 turn of"), std::string::npos)
      << summary;
  EXPECT_NE(summary.find("1 live, which name 1 identity; 1 that nothing uses\n"), std::string::npos)
      << summary;
  options.refusedRows.clear();
  std::string const routed = text(run(announceRouted(1, 2)));
  EXPECT_NE(routed.find("  ingress     1 write, 0 deletes, 1 row in force; answers: 1 accepted, 0 "
                        "refused, 0 overtaken\n"),
            std::string::npos)
      << routed;
}

TEST_F(ReportTest, NamesWhatTheHardwareDidWrong) {
  options.refusedRows.clear();
  auto const line = [this](char const* fault) {
    options.faults = {};
    SoftAsic::faultIs(options.faults, fault);
    std::string const summary = text(run(announceRouted(1, 2) + announceRouted(2, 3)));
    std::size_t const begin = summary.find("  ingress ");
    return summary.substr(begin, summary.find('\n', begin) - begin);
  };
  std::string const writes = "  ingress     2 writes, 0 deletes, ";
  EXPECT_EQ(line("ingress:answer-twice-every=2"),
            writes + "2 rows in force; answers: 2 accepted, 0 refused, 0 overtaken, 1 repeated");
  EXPECT_EQ(line("ingress:late-every=2,late-by=3"),
            writes + "2 rows in force; answers: 2 accepted, 0 refused, 0 overtaken, 1 late");
  EXPECT_EQ(line("ingress:lose-answer-every=2"),
            writes + "2 rows in force; answers: 1 accepted, 0 refused, 0 overtaken, 1 lost");
  EXPECT_EQ(line("ingress:lose-write-every=2"),
            writes + "1 row in force; answers: 1 accepted, 0 refused, 0 overtaken; 1 write lost");
  EXPECT_EQ(line("ingress:refuse-every=2"),
            writes + "1 row in force; answers: 1 accepted, 1 refused, 0 overtaken");
}

TEST_F(ReportTest, ListsEndAfterTwenty) {
  options.refusedRows.clear();
  options.ecmpRows = 7;
  Bytes stream;
  for (std::uint32_t id = 1; id <= 31; ++id) stream += announceRouted(id, id);
  std::string const summary = text(run(stream));
  EXPECT_NE(
      summary.find(
          "  connected on interface 21: no free row\n  and 10 more (see --show)\nRoutes that"),
      std::string::npos)
      << summary;
  EXPECT_NE(summary.find("  10.0.21.0/24 metric 20 -> id 21, connected on interface 21: no free row"
                         "\n  and 10 more (see --show)\n"),
            std::string::npos)
      << summary;
  EXPECT_EQ(summary.find("on interface 22"), std::string::npos);
}

}  // namespace
}  // namespace OrviaL3Agent
