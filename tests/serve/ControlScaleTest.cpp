// Answers at the size that the agent is made for, and what the loop does meanwhile.

#include <fmt/format.h>

#include "tests/serve/ControlFixture.h"

namespace OrviaL3Agent::Testing {
namespace {

class ControlScaleTest : public ControlFixture {
 protected:
  // As many of routes as of groups; a neighbour has one number in both, of 16 bits.
  static constexpr std::uint32_t kHops = kIsSlow ? 5000 : 50000;
  static constexpr std::uint32_t kGroups = kHops / 5;

  void startLarge() {
    options.rows = 131072;
    options.ecmpRows = 65536;
    options.memberRows = 65536;
    options.groupRows = 16384;
    start();
    Bytes bytes;
    for (std::uint32_t id = 1; id <= kHops; ++id) {
      std::string const gateway =
          "172.16." + std::to_string(id >> 8U) + "." + std::to_string(id & 0xFFU);
      bytes += announceRouted(id, 1 + id % 64, gateway.c_str());
    }
    for (std::uint32_t group = 0; group < kGroups; ++group) {
      std::vector<std::pair<std::uint32_t, std::uint8_t>> members;
      for (std::uint32_t i = 1; i <= 5; ++i) members.emplace_back(group * 5 + i, 0);
      std::string const destination =
          "11." + std::to_string(group >> 8U) + "." + std::to_string(group & 0xFFU) + ".0";
      bytes += announceGroup(100000 + group, members) +
               announceRoute(destination.c_str(), 24, 100000 + group);
    }
    feed(bytes);
  }

  // Returns the answer and prints how long it took.
  Answered timed(std::vector<std::string> const& words) {
    TestClient client(path);
    longestTurn = {};
    auto const begin = Clock::now();
    client.ask(words);
    // As a client in a process of its own does it: bytes are taken as they come, and looked at
    // later.
    EXPECT_TRUE(turnsUntil([&] {
      client.receive();
      return client.hasEnd();
    }));
    Clock::duration const took = Clock::now() - begin;
    Answered answered;
    while (auto const message = client.next()) answered.add(*message);
    auto const milliseconds = [](Clock::duration time) {
      return std::chrono::duration<double, std::milli>(time).count();
    };
    std::string request;
    for (std::string const& word : words) request += (request.empty() ? "" : " ") + word;
    fmt::print("{:<28} {:7.1f} ms, {:8} bytes, longest turn {:.2f} ms\n", request,
               milliseconds(took), client.bytes(), milliseconds(longestTurn));
    EXPECT_EQ(answered.exitCode, 0) << answered.error;
    if (isTimed()) {
      EXPECT_LT(milliseconds(took), 1000) << request;
      EXPECT_LT(milliseconds(longestTurn), 50) << request;
    }
    return answered;
  }
};

TEST_F(ControlScaleTest, ShowsEverythingWithinASecondAndTheLoopGoesOn) {
  startLarge();
  EXPECT_EQ(timed({"show", "nexthops"}).rows("nexthops").size(), 2 * kHops);
  EXPECT_EQ(timed({"show", "groups"}).rows("groups").size(), kGroups);
  EXPECT_EQ(timed({"show", "routes"}).rows("routes").size(), kHops + kGroups);
  EXPECT_EQ(timed({"show", "routes", "11.0.0.0/8"}).rows("routes").size(), kGroups);
  Answered const tables = timed({"show", "tables"});
  EXPECT_EQ(tables.row("tables", "ingress")["programmed"], kHops);
  EXPECT_EQ(tables.row("tables", "ecmp")["programmed"], kHops);
  EXPECT_EQ(tables.row("tables", "group")["programmed"], kGroups);
  EXPECT_EQ(timed({"show", "hardware"}).row("hardware", "ingress")["inForce"], kHops);
  EXPECT_EQ(timed({"show", "group", std::to_string(kGroups)}).object("group")["width"], 5);
  EXPECT_EQ(timed({"show", "block", std::to_string(kHops - 1)}).rows("members").size(), 5U);
  EXPECT_EQ(timed({"show", "interfaces"}).rows("interfaces").size(), 64U);
  timed({"show", "allocators"});
  timed({"show", "memory"});
  EXPECT_EQ(timed({"ls"}).rows("names").size(), 4U);
  timed({"ls", "ingress"});
  timed({"ls", "member"});
  EXPECT_EQ(timed({"ls", "ingress.entry"}).rows("names").size(), 100U);
  EXPECT_EQ(timed({"ls", "member.entryBlock", fmt::format("{}-{}", kGroups - 9, kGroups)})
                .rows("names")
                .size(),
            10U);
  timed({"get", fmt::format("ingress.entry[#{}].l3Oif1", kHops)});
  timed({"interface", "7", "down"});
  timed({"interface", "7", "up"});
  timed({"retry"});
}

}  // namespace
}  // namespace OrviaL3Agent::Testing
