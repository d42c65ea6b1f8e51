// The program, serving: its signals, its exit codes, its log, and a hardware that outlives it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "plugins/soft-asic/Journal.h"
#include "tests/agent/RestartFiles.h"
#include "tests/serve/ServedAgent.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

Bytes someRoutes() {
  Bytes stream;
  for (std::uint32_t id = 1; id <= 20; ++id) {
    stream += announceRouted(id, 1 + id % 4, ("10.9.0." + std::to_string(id)).c_str());
  }
  return stream + announceGroup(100, {{1, 0}, {2, 0}, {3, 1}}) + routeTo(100);
}

TEST(ServedAgent, EndsCleanlyOnSigtermAndSigint) {
  for (int const signal : {SIGTERM, SIGINT}) {
    ServedAgent served("--verify --check-forwarding");
    Daemon daemon(served.port());
    sendAll(daemon, someRoutes());
    served.waitForLog("connection from 127.0.0.1:");
    served.waitForLog("control socket " + served.control());
    EXPECT_EQ(served.end(signal), 0) << served.log();
    EXPECT_TRUE(contains(served.log(), signal == SIGTERM ? "info: ending on SIGTERM\n"
                                                         : "info: ending on SIGINT\n"));
    EXPECT_TRUE(contains(served.log(), "info: ended after "));
    EXPECT_TRUE(contains(served.output(), ": no difference\n"));
    EXPECT_FALSE(std::filesystem::exists(served.control()));
    EXPECT_THROW(Daemon{served.port()}, std::exception);
  }
}

TEST(ServedAgent, WritesItsLogForAJournalWhereItIsOne) {
  ServedAgent served("", {.asJournal = true});
  Daemon daemon(served.port());
  served.waitForLog("connection from");
  ASSERT_EQ(served.end(SIGTERM), 0);
  std::string const log = served.log();
  EXPECT_EQ(log.substr(0, 3), "<6>") << log;
  EXPECT_TRUE(contains(log, "\n<6>connection from 127.0.0.1:"));
}

TEST(ServedAgent, SaysThatItsPortIsTaken) {
  ServedAgent first;
  std::uint16_t const port = first.port();
  ServedAgent second("", {.port = port});
  EXPECT_EQ(second.wait(), 1);
  EXPECT_EQ(second.log(), "orvia-l3-agent: cannot listen at 127.0.0.1:" + std::to_string(port) +
                              ": Address already in use\n");
  EXPECT_EQ(first.end(SIGTERM), 0);
}

// Nothing comes after that which would wake the loop.
TEST(ServedAgent, BeginsAtOnceWithAConnectionThatWaitedAndSaysNothing) {
  ServedAgent served("--hold 0.1");
  std::uint16_t const port = served.port();
  Daemon first(port);
  sendAll(first, someRoutes());
  // Until there is no hold time left that could end.
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  // It finds the end of one and the beginning of the other together.
  served.signalIs(SIGSTOP);
  first.close();
  Daemon const second(port);
  served.signalIs(SIGCONT);
  served.waitForLog("read when the one of before is");
  served.waitForLog("resynchronising: 21 routes");
  EXPECT_EQ(served.end(SIGTERM), 0) << served.log();
}

TEST(ServedAgent, EndsInTheMiddleOfAStreamAndTheNextOneGoesOn) {
  RestartFiles const files;
  files.clearOnRestartIs(false);
  std::string const options = " --toggles " +
                              std::filesystem::path(files.toggles()).parent_path().string() +
                              " --hardware-file " + files.hardware() + " --verify";
  Bytes const stream = contentOf(streamPath("bgp-1k-distinct16-reconn.0.fpm"));
  Bytes const half = stream.substr(0, stream.size() / 2);
  {
    ServedAgent served(options);
    Daemon daemon(served.port());
    served.waitForLog("connection from");
    sendAll(daemon, half);
    EXPECT_EQ(served.end(SIGTERM), 0) << served.log() << served.output();
  }
  ServedAgent served(options + " --hold 0.2");
  Daemon daemon(served.port());
  sendAll(daemon, half);
  daemon.close();
  served.waitForLog("dropped");
  EXPECT_EQ(served.end(SIGTERM), 0) << served.log() << served.output();
  EXPECT_TRUE(contains(served.output(), ": no difference\n"));
}

TEST(ServedAgent, SaysWhatItFoundInTheHardwareAndWhatBecameOfIt) {
  for (bool const isCleared : {true, false}) {
    RestartFiles const files;
    files.clearOnRestartIs(isCleared);
    std::string const options = " --toggles " +
                                std::filesystem::path(files.toggles()).parent_path().string() +
                                " --hardware-file " + files.hardware();
    {
      ServedAgent served(options);
      Daemon daemon(served.port());
      sendAll(daemon, announceRouted(1, 2, "10.0.0.1") + announce(2, 3, "10.0.0.2") +
                          announceGroup(10, {{1, 0}, {2, 1}}) + announceRoute("10.10.0.0", 16, 10));
      daemon.close();
      served.waitForLog("dropped");
      ASSERT_EQ(served.end(SIGTERM), 0) << served.log();
      // There was no file, and what is not there is not told.
      EXPECT_FALSE(contains(served.log(), "from before"));
    }
    ServedAgent served(options);
    served.waitForLog("listening");
    std::string const log = served.log();
    EXPECT_TRUE(contains(log, files.hardware() + " holds from before: ingress 1, ecmp 2, member 3, "
                                                 "group 1 rows"))
        << log;
    EXPECT_TRUE(contains(log, "the 1 rows of ingress, 0 of them of nobody known, go on forwarding"))
        << log;
    EXPECT_EQ(contains(log, "warning: the rows of ecmp, member and group were cleared"), isCleared)
        << log;
    EXPECT_EQ(contains(log, "warning: the rows of ecmp, member and group go on forwarding"),
              !isCleared)
        << log;
    EXPECT_EQ(served.end(SIGTERM), 0);
  }
}

TEST(ServedAgent, TakesOverTheHardwareOfTheOneBeforeAndRemovesWhatIsNotSaidAgain) {
  RestartFiles const files;
  files.clearOnRestartIs(false);
  TemporaryDirectory const directory;
  std::string const options = " --toggles " +
                              std::filesystem::path(files.toggles()).parent_path().string() +
                              " --hardware-file " + files.hardware() + " --verify --hold 0.3" +
                              // What is said is in the hardware when the next turn begins.
                              " --interface-delay 0 --mtu-delay 0 --answer now";
  Bytes const kept = announceRouted(1, 2, "10.0.0.1");
  {
    ServedAgent served(options);
    Daemon daemon(served.port());
    sendAll(daemon, kept + announceRouted(2, 2, "10.0.0.2"));
    daemon.close();
    served.waitForLog("dropped");
    ASSERT_EQ(served.end(SIGTERM), 0) << served.log() << served.output();
  }
  std::string const journalFile = directory / "calls";
  ServedAgent served(options + " --journal " + journalFile);
  Daemon daemon(served.port());
  sendAll(daemon, kept);
  served.waitForLog("of 2 next hops from before the restart 1 were asked for again and 1 removed");
  ASSERT_EQ(served.end(SIGTERM), 0) << served.log() << served.output();
  std::vector<std::string> ingress;
  SoftAsic::Journal const journal = SoftAsic::Journal::load(journalFile);
  for (auto const& call : journal.calls()) {
    if (call.table == SoftAsic::TableId::ingressNextHops) ingress.push_back(text(call));
  }
  ASSERT_EQ(ingress.size(), 1U);
  EXPECT_TRUE(contains(ingress[0], "ingress remove row")) << ingress[0];
}

}  // namespace
}  // namespace OrviaL3Agent
