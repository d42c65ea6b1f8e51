// Trace levels, those who follow the text trace, and the dump of the ring.

#include <gmock/gmock.h>

#include "Fendrel/RingReader.h"
#include "Fendrel/TraceHandle.h"
#include "Vek/TraceHandle.h"
#include "tests/serve/SmallAgent.h"

namespace OrviaL3Agent::Testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class TracesTest : public SmallAgentTest {
 protected:
  ~TracesTest() override { Vek::traceLevelDelAll(); }

  static void trace(std::string const& text) {
    Vek::TraceHelper helper(handle(), Vek::TraceFacility::level3, "Somewhere.cpp", 12, "doIt");
    helper.stream() << text;
  }
  static Vek::TraceHandle& handle() {
    static Vek::TraceHandle& handle = *new Vek::TraceHandle("TracesTestHandle", false);
    return handle;
  }
};

TEST_F(TracesTest, LevelsAreSwitchedByName) {
  start();
  (void)handle();
  Json const switched = right({"trace", "level", "TracesTest*", "3"}).object("trace");
  EXPECT_EQ(switched["handles"], 1);
  EXPECT_TRUE(handle().levelEnabled(Vek::TraceFacility::level3));
  EXPECT_FALSE(handle().levelEnabled(Vek::TraceFacility::level4));
  EXPECT_EQ(right({"show", "trace"}).row("handles", "TracesTestHandle")["levels"],
            Json({0, 1, 2, 3}));
  right({"trace", "level", "TracesTest*", "1"});
  EXPECT_FALSE(handle().levelEnabled(Vek::TraceFacility::level3));
  right({"trace", "level", "TracesTest*", "off"});
  EXPECT_EQ(right({"show", "trace"}).row("handles", "TracesTestHandle")["levels"], Json::array());
  EXPECT_THAT(wrong({"trace", "level", "*", "10"}).error, HasSubstr("no level from 0 to 9"));
}

TEST_F(TracesTest, WhoFollowsGetsLinesAsTheyComeAndTheSinkOfBeforeGetsThemToo) {
  std::vector<std::string> before;
  Vek::TraceSink const former =
      Vek::traceSinkIs([&](Vek::TraceLine const& line) { before.emplace_back(line.text); });
  start();
  trace("too early");
  TestClient first(path);
  TestClient second(path);
  first.ask({"trace", "follow"});
  second.ask({"trace", "follow"});
  turns(10);
  trace("heard");
  turns(10);
  first.receive();
  second.receive();
  // So that nobody gives up while there is nothing to say.
  EXPECT_EQ(*first.next(), (Json{{"follows", true}}));
  EXPECT_EQ(*second.next(), (Json{{"follows", true}}));
  EXPECT_EQ((*first.next())["line"], "TracesTestHandle 3 Somewhere.cpp:12 doIt] heard");
  EXPECT_TRUE(second.next().has_value());
  EXPECT_FALSE(first.next().has_value());
  first.close();
  ASSERT_TRUE(turnsUntil([&] { return server->clients() == 1; }));
  trace("by one");
  turns(10);
  second.receive();
  EXPECT_THAT((*second.next())["line"].get<std::string>(), HasSubstr("by one"));
  second.close();
  ASSERT_TRUE(turnsUntil([&] { return server->clients() == 0; }));
  trace("by nobody");
  EXPECT_THAT(before, ElementsAre("too early", "heard", "by one", "by nobody"));
  Vek::traceSinkIs(former);
}

TEST_F(TracesTest, WhoDoesNotReadIsToldHowManyLinesAreLost) {
  Vek::TraceSink const former = Vek::traceSinkIs([](Vek::TraceLine const&) {});
  start();
  TestClient client(path);
  client.ask({"trace", "follow"});
  turns(10);
  constexpr int kLines = 60000;
  std::string const text(100, 'x');
  for (int i = 0; i < kLines; ++i) {
    trace(text);
    if (i % 100 == 0) turn();
  }
  int lines = 0;
  int lost = 0;
  std::string seen;
  ASSERT_TRUE(turnsUntil([&] {
    client.receive();
    while (auto const message = client.next()) {
      if (message->contains("follows")) continue;
      std::string const line = (*message)["line"];
      if (line.starts_with("... ")) {
        lost += std::stoi(line.substr(4));
      } else {
        ++lines;
      }
    }
    return lines + lost == kLines;
  })) << lines
      << " + " << lost;
  EXPECT_GT(lost, 0);
  EXPECT_GT(lines, 10000);
  client.close();
  turns(10);
  Vek::traceSinkIs(former);
}

TEST_F(TracesTest, ARingIsNeededForItsDump) {
  start();
  EXPECT_THAT(wrong({"ring", "dump"}).error, HasSubstr("runs without --ring"));
  EXPECT_EQ(right({"show", "trace"}).object("trace")["ring"], nullptr);
}

TEST_F(TracesTest, DumpsTheRingAsText) {
  auto const ring = Fendrel::TraceHandle::singleFile(Fendrel::TraceFile::inMemory());
  Fendrel::defaultTraceHandleIs(ring.get());
  startSmall();
  Answered const answered = right({"ring", "dump"});
  Fendrel::defaultTraceHandleIs(nullptr);
  std::vector<std::string> expected;
  Fendrel::RingReader::readImage(ring->traceFile()->image(),
                                 [&](std::string_view line) { expected.emplace_back(line); });
  ASSERT_GT(answered.lines.size(), 10U);
  ASSERT_GE(expected.size(), answered.lines.size());
  expected.resize(answered.lines.size());
  EXPECT_EQ(answered.lines, expected);
}

TEST_F(TracesTest, AClientThatGoesEndsTheDump) {
  auto const ring = Fendrel::TraceHandle::singleFile(Fendrel::TraceFile::inMemory());
  Fendrel::defaultTraceHandleIs(ring.get());
  startSmall();
  for (int i = 0; i < 200; ++i)
    feed(withdrawRoute("10.3.0.0", 16) + announceRoute("10.3.0.0", 16, 3));
  TestClient client(path);
  client.ask({"ring", "dump"});
  turns(5);
  client.close();
  EXPECT_TRUE(turnsUntil([&] { return server->clients() == 0; }));
  Fendrel::defaultTraceHandleIs(nullptr);
}

}  // namespace
}  // namespace OrviaL3Agent::Testing
