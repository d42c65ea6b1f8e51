// Clients of the control socket that do not read, or go in the middle of an answer.

#include <set>

#include "agent/control/ControlClient.h"
#include "tests/serve/ControlFixture.h"

namespace OrviaL3Agent::Testing {
namespace {

class SlowReaderTest : public ControlFixture {
 protected:
  // Enough for several megabytes of rows.
  void startLarge() {
    options.rows = 65536;
    options.ecmpRows = 1;
    start();
    Bytes bytes;
    for (std::uint32_t id = 1; id <= kHops; ++id) {
      bytes += announceRouted(id, 1 + id % 8, gatewayOf(id).c_str());
    }
    feed(bytes);
  }
  static std::string gatewayOf(std::uint32_t id) {
    return "172.16." + std::to_string(id >> 8U) + "." + std::to_string(id & 0xFFU);
  }

  static constexpr std::uint32_t kHops = 20000;
};

TEST_F(SlowReaderTest, IsQueuedForNoMoreThanItsShareAndGetsAllOfItLater) {
  startLarge();
  TestClient slow(path);
  slow.ask({"show", "nexthops"});
  // It reads nothing: after a while there is nothing to do.
  bool wasBusy = false;
  ASSERT_TRUE(turnsUntil([&] {
    wasBusy |= server->busy();
    return wasBusy && !server->busy();
  }));
  for (int i = 0; i < 100; ++i) ASSERT_FALSE(turn()) << "its job goes on";
  // Another one is served meanwhile.
  EXPECT_EQ(ask({"show", "tables"}).row("tables", "ingress")["entries"], kHops);
  std::size_t const before = slow.bytes();
  slow.receive();
  // What the system keeps on the way is not ours to count.
  EXPECT_LT(slow.bytes() - before, 4 * Control::ControlClient::kMostQueued);
  Answered const answered = answer(slow);
  EXPECT_EQ(answered.exitCode, 0);
  EXPECT_EQ(answered.rows("nexthops").size(), kHops);
}

TEST_F(SlowReaderTest, TwoClientsAreServedTurnAndTurnAbout) {
  startLarge();
  TestClient first(path);
  TestClient second(path);
  first.ask({"show", "nexthops"});
  second.ask({"show", "nexthops"});
  std::size_t most = 0;
  bool firstIsThere = true;
  // While both are under way none is far ahead of the other.
  ASSERT_TRUE(turnsUntil([&] {
    firstIsThere = first.receive();
    second.receive();
    std::size_t const ahead = std::max(first.bytes(), second.bytes());
    std::size_t const behind = std::min(first.bytes(), second.bytes());
    most = std::max(most, ahead - behind);
    return ahead > 1000000;
  }));
  EXPECT_LT(most, 500000U);
  EXPECT_EQ(answer(first).rows("nexthops").size(), kHops);
  EXPECT_EQ(answer(second).rows("nexthops").size(), kHops);
}

TEST_F(SlowReaderTest, ThatGoesInTheMiddleLeavesNothingBehind) {
  startLarge();
  TestClient client(path);
  client.ask({"show", "nexthops"});
  ASSERT_TRUE(turnsUntil([&] {
    client.receive();
    return client.bytes() > 0;
  }));
  client.close();
  EXPECT_TRUE(turnsUntil([&] { return server->clients() == 0; }));
  EXPECT_EQ(ask({"show", "tables"}).exitCode, 0);
}

// Entries that come and go between two slices are there or not; the rest is there once.
TEST_F(SlowReaderTest, AListGoesOnWhileItsEntriesGo) {
  startLarge();
  TestClient client(path);
  client.ask({"show", "nexthops"});
  turns(6);
  Bytes bytes;
  for (std::uint32_t id = 1; id <= kHops; id += 2) bytes += withdrawRouteTo(id) + withdraw(id);
  feed(bytes);
  Answered const answered = answer(client);
  EXPECT_EQ(answered.exitCode, 0);
  std::set<std::string> gateways;
  for (Json const& row : answered.rows("nexthops")) {
    EXPECT_TRUE(gateways.insert(row["gateway"]).second) << row;
  }
  for (std::uint32_t id = 2; id <= kHops; id += 2) {
    ASSERT_TRUE(gateways.contains(gatewayOf(id))) << id;
  }
}

}  // namespace
}  // namespace OrviaL3Agent::Testing
