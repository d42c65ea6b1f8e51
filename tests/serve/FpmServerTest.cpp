// The connection itself: who gets it, how it ends, what is made of its bytes, and what is told.
#include <gtest/gtest.h>

#include <string>

#include "tests/serve/LiveAgent.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

TEST(FpmServer, TellsWhereItListensAndWhoIsConnected) {
  LiveAgent live(checkedOptions());
  EXPECT_TRUE(
      live.logged("listening for a routing daemon at 127.0.0.1:" + std::to_string(live.port())));
  EXPECT_FALSE(live.status().peer);
  Daemon daemon(live.port());
  live.turnUntil([&] { return live.status().peer.has_value(); });
  EXPECT_EQ(live.status().peer->substr(0, 10), "127.0.0.1:");
  EXPECT_TRUE(live.logged("connection from " + *live.status().peer));
  EXPECT_EQ(live.status().connections, 1U);
}

TEST(FpmServer, RefusesASecondConnectionAndKeepsTheFirst) {
  LiveAgent live(checkedOptions());
  Daemon first(live.port());
  live.say(first, announceRouted(1, 2, "10.0.0.1"));
  std::string const peer = live.status().peer.value();
  Daemon second(live.port());
  live.turnUntil([&] { return second.wasHungUp(); });
  EXPECT_EQ(live.status().refused, 1U);
  EXPECT_TRUE(live.logged("refused a second connection, from 127.0.0.1:")) << live.log();
  live.say(first, announceRouted(2, 2, "10.0.0.2"));
  EXPECT_EQ(live.status().peer, peer);
  EXPECT_EQ(live.mapping().routes().routes().size(), 2U);
  EXPECT_FALSE(first.wasHungUp());
}

TEST(FpmServer, TakesTheNextConnectionWhenThePeerOfTheFirstHasGoneAndIsNotReadToItsEnd) {
  ServeOptions options = checkedOptions();
  options.slice = 1;
  LiveAgent live(options);
  Daemon first(live.port());
  live.turnUntil([&] { return live.status().peer.has_value(); });
  Bytes const stream = filler(200) + announceRouted(1, 2, "10.0.0.1");
  ASSERT_EQ(first.sendSome(stream), stream.size());
  first.close();
  Daemon second(live.port());
  live.turnUntil([&] { return live.logged(", read when the one of before is"); });
  EXPECT_EQ(live.mapping().routes().routes().size(), 0U);
  // A third one is one too many.
  Daemon third(live.port());
  live.turnUntil([&] { return third.wasHungUp(); });
  live.turnUntil([&] { return live.status().connections == 2; });
  EXPECT_EQ(live.mapping().routes().routes().size(), 1U);
  live.say(second, announceRouted(1, 2, "10.0.0.1"));
  live.sweep();
  EXPECT_EQ(live.status().swept, 0U);
  EXPECT_EQ(live.wrong(), "");
}

TEST(FpmServer, EndsAConnectionAtAFaultAndKeepsWhatCameBefore) {
  LiveAgent live(checkedOptions());
  Daemon daemon(live.port());
  Bytes const good = announceRouted(1, 2, "10.0.0.1");
  live.turnUntil([&] { return live.status().peer.has_value(); });
  live.send(daemon, good + "nonsense" + good);
  live.turnUntil([&] { return daemon.wasHungUp(); });
  EXPECT_EQ(live.status().faults, 1U);
  EXPECT_TRUE(live.logged("offset " + std::to_string(good.size()) +
                          ": not a frame header: version 110, expected 1"))
      << live.log();
  EXPECT_FALSE(live.status().peer);
  live.rest();
  EXPECT_EQ(live.state("10.0.1.1"), Routes::State::forwarded);
  Daemon next(live.port());
  live.say(next, good);
  EXPECT_EQ(live.status().stale, 0U);
}

TEST(FpmServer, EndsTheFrameInWhichAFaultIs) {
  LiveAgent live(checkedOptions());
  Daemon daemon(live.port());
  live.say(daemon, announceRouted(1, 2, "10.0.0.1"));
  live.send(daemon,
            frame(routeMessage(RTM_DELROUTE, "10.0.1.0", 24, {}) + message(RTM_NEWROUTE, "", 4)));
  live.turnUntil([&] { return daemon.wasHungUp(); });
  EXPECT_EQ(live.mapping().routes().routes().size(), 0U) << "a withdrawal waits for ever";
  EXPECT_EQ(live.wrong(), "");
}

TEST(FpmServer, LeavesOutAFrameThatIsCutOff) {
  LiveAgent live(checkedOptions());
  Daemon daemon(live.port());
  Bytes stream = announceRouted(1, 2, "10.0.0.1") + announceRouted(2, 2, "10.0.0.2");
  stream.pop_back();
  live.say(daemon, stream);
  EXPECT_GT(live.status().queued, 0U);
  live.hangUp(daemon);
  EXPECT_EQ(live.mapping().routes().routes().size(), 1U);
  EXPECT_EQ(live.status().faults, 0U);
  EXPECT_TRUE(live.logged("dropped ")) << live.log();
  EXPECT_TRUE(live.logged(" bytes of a frame that was not complete are left out")) << live.log();
}

TEST(FpmServer, TellsWhatItLeftOut) {
  LiveAgent live(checkedOptions());
  Daemon daemon(live.port());
  live.say(daemon, frame("payload", 2) + filler(3));
  live.hangUp(daemon);
  EXPECT_TRUE(
      live.logged("1 frames and 3 messages of unknown types and 0 routes of other families "
                  "were left out"))
      << live.log();
}

TEST(FpmServer, EndsTheConnectionToBeToldEverythingAgain) {
  LiveAgent live(checkedOptions());
  Daemon daemon(live.port());
  live.say(daemon, announceRouted(1, 2, "10.0.0.1"));
  live.server().resync();
  EXPECT_TRUE(daemon.wasHungUp());
  EXPECT_FALSE(live.status().peer);
  live.server().resync();
  Daemon next(live.port());
  live.say(next, announceRouted(1, 2, "10.0.0.1"));
  EXPECT_EQ(live.status().stale, 0U);
  EXPECT_EQ(live.wrong(), "");
}

TEST(FpmServer, ReadsNoMoreThanItsQueueHolds) {
  ServeOptions options = checkedOptions();
  options.slice = 1;
  LiveAgent live(options);
  Daemon daemon(live.port());
  Bytes const stream = filler(1000);
  std::size_t sent = 0;
  std::size_t most = 0;
  for (int i = 0; i < 2000; ++i) {
    while (std::size_t const taken = daemon.sendSome(stream)) sent += taken;
    live.agent().turn();
    most = std::max(most, live.status().queued);
  }
  EXPECT_GT(sent, 2 * FpmConnection::kQueue);
  EXPECT_GT(most, FpmConnection::kQueue / 2);
  // The last piece that was begun while there was room.
  EXPECT_LE(most, FpmConnection::kQueue + 64 * 1024);
  EXPECT_GT(live.status().lag.count(), 0);
}

TEST(FpmServer, SaysWhatCannotBeListenedAt) {
  LiveAgent live(checkedOptions());
  ServeOptions options = checkedOptions();
  options.listen.port = live.port();
  try {
    LiveAgent const second(options);
    FAIL() << "two agents listen at one port";
  } catch (std::runtime_error const& error) {
    EXPECT_EQ(
        std::string(error.what()),
        "cannot listen at 127.0.0.1:" + std::to_string(live.port()) + ": Address already in use");
  }
}

TEST(FpmServer, MayEndInTheMiddleOfAnything) {
  Io io;
  ServeOptions const options = checkedOptions();
  Log const log([](Log::Level, std::string const&) {});
  Agent agent(options, linkedTables());
  agent.loop().sourceIs(&io);
  std::uint16_t port = 0;
  {
    TcpFpmServer server(io, agent, options, log);
    port = server.status().port;
    Daemon daemon(port);
    while (!server.status().peer) io.runSlice();
    std::string const stream = filler(10);
    ASSERT_GT(daemon.sendSome(stream), 0U);
    // Handlers of the accepting and the reading are still to come.
  }
  for (int i = 0; i < 100; ++i) io.runSlice();
  EXPECT_THROW(Daemon{port}, std::system_error);
  agent.loop().sourceDel(&io);
}

}  // namespace
}  // namespace OrviaL3Agent
