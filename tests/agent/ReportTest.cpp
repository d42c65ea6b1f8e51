// The summary and the table, word for word.
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
    options.refusedRows = {2};
    options.rows = 5;
  }
  // Some of everything: the row of next hop 2 refuses, 6 comes over an onlink gateway, 8 finds no
  // row, 9 goes again before it was written.
  Report someReport() {
    Bytes const stream = announce(1, 2) + announce(2, 3, "10.0.2.2") + announce(5, 4, "fe80::5") +
                         announce(5, 4, "fe80::5") + announce(9, 4, "10.9.9.9", 4) + withdraw(9) +
                         announceGroup(20, {{1, 0}, {2, 0}}) + announceBlackhole(21) +
                         announceRoute("10.1.0.0", 16, 20) + announce(6, 7, "10.0.6.2", 4) +
                         announce(8, 7) + withdraw(99);
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
            R"(Replayed stream.fpm: 596 bytes, 12 frames, 12 messages, 4 turns of the event loop
Messages      7 next hops, 1 group, 1 blackhole, 2 withdrawals of ids; 1 route, 0 route withdrawals; 0 skipped

Next hops     6 announced, 1 announced again unchanged, 0 changed, 1 withdrawn
  at the end  5 live: 3 programmed, 0 parked, 1 refused, 0 unanswered, 1 not placed
  on the way  at most 5 live, 4 parked; 5 of 5 commits had to wait
Hardware      4 writes, 0 deletes, 3 rows in force
  answers     4: 3 accepted, 1 refused, 0 overtaken by a later write or delete
Interfaces    4 in use, at most 4
Time          commit 5 x, mean 300 ns, max 501 ns; remove none

Groups        1 announced, 0 announced again unchanged, 0 changed, 0 withdrawn
  at the end  1 live: 0 programmed, 0 waiting for members, 0 parked, 0 refused, 0 unanswered, 1 not placed, 0 with members that drop
  on the way  at most 1 live; 0 came before their members, 0 changed their block, 1 times not placed
  blocks      0 in force, 0 waiting; 0 member rows; 0 next hops
Tables of groups
  next hops   0 writes, 1 deletes (1 of what had no row), 0 rows in force; 0 accepted, 0 refused, 0 overtaken; 0 rows in use, 0 free, longest run 0
  members     0 writes, 0 deletes (0 of what had no row), 0 rows in force; 0 accepted, 0 refused, 0 overtaken; 0 rows in use, 65536 free, longest run 65536
  groups      0 writes, 0 deletes (0 of what had no row), 0 rows in force; 0 accepted, 0 refused, 0 overtaken; 0 rows in use, 16383 free, longest run 16383

Not handled yet
  routes      1 announced, 0 withdrawn; 1 by next-hop id, 0 with paths of their own, 0 that drop
Need no row
  blackholes  1 announced, 0 withdrawn, 1 live
Unknown ids   1 withdrawn without having been announced
Skipped       nothing
Refused by the hardware
  id 2, row 2, 10.0.2.2 on interface 3: refused
Not placed
  id 8, connected on interface 7: no free row
Groups that are not programmed
  group 20: no room in the ECMP next-hop table: 1 needed, 0 of 1 rows free, longest run 0
)");
}

TEST_F(ReportTest, TableIsAligned) {
  EXPECT_EQ(tableText(someReport()),
            "id  row  family  gateway          interface  state        destination  l3Oif1  "
            "mtuProfilePtr  forwardingType  valid\n"
            "1   1    IPv4    connected        2          programmed   1            1       1      "
            "        0               1\n"
            "2   2    IPv4    10.0.2.2         3          refused      2            2       1      "
            "        1               1\n"
            "5   3    IPv6    fe80::5          4          programmed   3            3       1      "
            "        2               1\n"
            "6   4    IPv4    10.0.6.2 onlink  7          programmed   4            4       1      "
            "        1               1\n"
            "8   -    IPv4    connected        7          no free row  -            -       -      "
            "        -               -\n");
}

TEST_F(ReportTest, TableSaysWhatIsStillUnknownOfAParkedNextHop) {
  options.interfaceDelay.reset();
  EXPECT_EQ(tableText(run(announce(1, 2))),
            "id  row  family  gateway    interface  state   destination  l3Oif1  mtuProfilePtr  "
            "forwardingType  valid\n"
            "1   1    IPv4    connected  2          parked  1            -       1              0  "
            "             1\n");
}

TEST_F(ReportTest, SaysWhatParkedNextHopsWaitFor) {
  Bytes const stream = announce(1, 2, "10.0.1.2");
  auto const list = [&] {
    std::string const summary = text(run(stream));
    return summary.substr(std::min(summary.find("Parked\n"), summary.size()));
  };
  options.interfaceDelay.reset();
  EXPECT_EQ(list(),
            "Parked\n  id 1, row 1, 10.0.1.2 on interface 2: parked, waits for its interface\n");
  options.mtuDelay.reset();
  EXPECT_EQ(
      list(),
      "Parked\n  id 1, row 1, 10.0.1.2 on interface 2: parked, waits for its interface and its "
      "MTU profile\n");
  options.interfaceDelay = 0;
  EXPECT_EQ(list(),
            "Parked\n  id 1, row 1, 10.0.1.2 on interface 2: parked, waits for its MTU profile\n");
  options.mtuDelay = 0;
  EXPECT_EQ(list(), "");
}

TEST_F(ReportTest, CountsOneThingInTheSingular) {
  std::string const summary = text(run(announce(1, 2)));
  EXPECT_NE(summary.find(": 44 bytes, 1 frame, 1 message, 3 turns of"), std::string::npos)
      << summary;
  EXPECT_NE(summary.find("Hardware      1 write, 0 deletes, 1 row in force\n"), std::string::npos)
      << summary;
}

TEST_F(ReportTest, ListsEndAfterTwentyNextHops) {
  options.rows = 2;
  options.refusedRows = {};
  Bytes stream;
  for (std::uint32_t id = 1; id <= 30; ++id) stream += announce(id, 2);
  std::string const summary = text(run(stream));
  EXPECT_NE(
      summary.find("  id 21, connected on interface 2: no free row\n  and 9 more (see --show)\n"),
      std::string::npos)
      << summary;
  EXPECT_EQ(summary.find("  id 22,"), std::string::npos);
}

}  // namespace
}  // namespace OrviaL3Agent
