// What requests do, what they say that they did, and what the log says of it.

#include <gmock/gmock.h>

#include "agent/serve/Log.h"
#include "tests/serve/SmallAgent.h"

namespace OrviaL3Agent::Testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class ControlActionsTest : public SmallAgentTest {
 protected:
  // How the log names this process.
  static std::string mine() {
    return ", by the control socket (uid " + std::to_string(::geteuid()) + ", pid " +
           std::to_string(::getpid()) + ")";
  }
};

TEST_F(ControlActionsTest, TakesInterfacesOutOfGroupsAndBackIn) {
  startSmall();
  right({"interface", "2", "down"});
  settle();
  EXPECT_EQ(right({"show", "groups"}).rows("groups")[0]["pathsDown"], 1);
  right({"interface", "2", "up"});
  settle();
  EXPECT_EQ(right({"show", "groups"}).rows("groups")[0]["pathsDown"], 0);
  EXPECT_THAT(wrong({"interface", "2", "sideways"}).error, HasSubstr("neither down nor up"));
  EXPECT_THAT(wrong({"interface", "eth0", "down"}).error, HasSubstr("an interface's number"));
}

TEST_F(ControlActionsTest, ShowsWhatTheHardwareWasToldAndDoesWrong) {
  startSmall();
  right({"fault", "group", "refuse-every=3,answer=2"});
  Answered const answered = right({"show", "hardware"});
  Json const group = answered.row("hardware", "group");
  EXPECT_EQ(group["writes"], 1);
  EXPECT_EQ(group["inForce"], 1);
  EXPECT_EQ(group["accepted"], 1);
  EXPECT_THAT(group["fault"].get<std::string>(), HasSubstr("refuses every 3rd write"));
  EXPECT_EQ(answered.row("hardware", "member")["inForce"], 2);
  EXPECT_EQ(answered.row("hardware", "member")["fault"], nullptr);
  EXPECT_EQ(answered.object("answers")["waiting"], 0);
}

TEST_F(ControlActionsTest, WhatTheHardwareDoesWrongCanBeChangedAndEnded) {
  startSmall();
  Json const now = right({"fault", "ingress", "refuse-every=1"}).object("fault");
  EXPECT_EQ(now["table"], "ingress");
  EXPECT_THAT(now["profile"].get<std::string>(), HasSubstr("refuses every write"));
  feed(announceRouted(4, 4, "10.0.0.4"));
  EXPECT_EQ(right({"show", "tables"}).row("tables", "ingress")["refused"], 1);
  // Another part of the profile leaves the first as it is.
  EXPECT_THAT(right({"fault", "ingress", "answer=2"}).object("fault")["profile"].get<std::string>(),
              HasSubstr("refuses every write"));
  right({"fault", "ingress", "off"});
  EXPECT_EQ(right({"show", "hardware"}).row("hardware", "ingress")["fault"], nullptr);
  right({"retry"});
  settle();
  EXPECT_EQ(right({"show", "tables"}).row("tables", "ingress")["refused"], 0);
  EXPECT_THAT(wrong({"fault", "cats", "off"}).error, HasSubstr("there is no table \"cats\""));
  EXPECT_THAT(wrong({"fault", "ecmp", "refuse-every"}).error, HasSubstr("refuse-every"));
  EXPECT_THAT(wrong({"fault", "ecmp", "bite=1"}).error, HasSubstr("bite"));
}

TEST_F(ControlActionsTest, AskingForAllAgainIsTheStreams) {
  start();
  stream.told.peer = "127.0.0.1:40312";
  EXPECT_THAT(right({"resync"}).lines,
              ElementsAre(StartsWith("dropped the connection of 127.0.0.1:40312: ")));
  EXPECT_EQ(stream.resyncs, 1);
  stream.told.peer.reset();
  EXPECT_THAT(right({"resync"}).lines,
              ElementsAre("no routing daemon is connected: there is nothing to drop"));
  EXPECT_THAT(logged, ElementsAre("resync" + mine(), "resync without a routing daemon" + mine()));
}

TEST_F(ControlActionsTest, SaysWhatAnInterfaceThatFailsOrReturnsMeans) {
  startSmall();
  EXPECT_EQ(right({"interface", "2", "down"}).object("interface"), (Json{{"interface", 2},
                                                                         {"state", "down"},
                                                                         {"changed", true},
                                                                         {"groups", 1},
                                                                         {"groupsWithout", 1},
                                                                         {"nextHops", 0}}));
  // The group has no other path: it keeps this one.
  Json const last = right({"interface", "1", "down"}).object("interface");
  EXPECT_EQ(last["groups"], 1);
  EXPECT_EQ(last["groupsWithout"], 0);
  EXPECT_EQ(right({"interface", "2", "down"}).object("interface")["changed"], false);
  Json const back = right({"interface", "2", "up"}).object("interface");
  EXPECT_EQ(back["state"], "up");
  EXPECT_EQ(back["changed"], true);
  EXPECT_EQ(back["groupsWithout"], 0);
  // Routes are led over it as before.
  Answered const ofRoutes = right({"interface", "3", "down"});
  EXPECT_EQ(ofRoutes.object("interface")["nextHops"], 1);
  EXPECT_THAT(ofRoutes.lines, ElementsAre());
  EXPECT_THAT(logged, ElementsAre("interface 2 down" + mine(), "interface 1 down" + mine(),
                                  "interface 2 down as before" + mine(), "interface 2 up" + mine(),
                                  "interface 3 down" + mine()));
}

TEST_F(ControlActionsTest, AnInterfaceThatNothingIsOnIsNotedForWhatComes) {
  startSmall();
  Answered const answered = right({"interface", "77", "down"});
  EXPECT_EQ(answered.object("interface")["groups"], 0);
  EXPECT_THAT(answered.lines, ElementsAre("no next hop is on interface 77; that it is down stays "
                                          "noted for those to come"));
  feed(announce(4, 77, "10.0.0.4") + announceGroup(20, {{1, 0}, {4, 0}}) +
       announceRoute("10.20.0.0", 16, 20));
  EXPECT_EQ(right({"show", "groups"}).row("groups", 2)["pathsDown"], 1);
  EXPECT_THAT(right({"interface", "78", "up"}).lines,
              ElementsAre("no next hop is on interface 78"));
}

TEST_F(ControlActionsTest, SaysWhatWasTriedAgain) {
  options.refusedRows = {32};
  startSmall();
  EXPECT_EQ(right({"retry"}).object("retry"),
            (Json{{"nextHopWrites", 1}, {"groupWrites", 0}, {"noRoom", 0}}));
  right({"fault", "ingress", "off"});
  right({"retry"});
  settle();
  EXPECT_EQ(right({"retry"}).object("retry"),
            (Json{{"nextHopWrites", 0}, {"groupWrites", 0}, {"noRoom", 0}}));
  EXPECT_THAT(logged,
              ElementsAre("retry" + mine(), "fault ingress: answers within the turn" + mine(),
                          "retry" + mine(), "retry" + mine()));
}

TEST_F(ControlActionsTest, WhatWasSetIsLoggedAndWhatOnlyReadsIsNot) {
  startSmall();
  right({"show", "groups"});
  right({"why"});
  right({"get", "group.numEntries"});
  wrong({"set", "group.entry[#7].lbMode", "1"});
  EXPECT_THAT(logged, ElementsAre());
  right({"set", "group.entry[#1].lbMode", "1"});
  EXPECT_THAT(logged, ElementsAre("set group.entry[#1].lbMode 1" + mine()));
}

}  // namespace
}  // namespace OrviaL3Agent::Testing
