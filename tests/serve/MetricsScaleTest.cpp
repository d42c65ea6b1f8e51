// A scrape at the size that the agent is made for, and what the loop does meanwhile.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <asio/ip/tcp.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <future>

#include "agent/serve/Metrics.h"
#include "tests/serve/LiveAgent.h"

namespace OrviaL3Agent::Testing {
namespace {

constexpr std::uint32_t kHops = kIsSlow ? 5000 : 50000;
constexpr std::uint32_t kGroups = kHops / 5;

// As many next hops of routes as of groups, groups of five, and a route for each of both.
Bytes largeStream() {
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
  return bytes;
}

std::string scraped(std::uint16_t port) {
  asio::io_context context;
  asio::ip::tcp::socket socket(context);
  socket.connect({asio::ip::make_address("127.0.0.1"), port});
  asio::write(socket, asio::buffer(std::string("GET /metrics HTTP/1.0\r\n\r\n")));
  std::string answer;
  asio::error_code ended;
  asio::read(socket, asio::dynamic_buffer(answer), ended);
  return answer;
}

TEST(MetricsScaleTest, AScrapeOfLargeTablesHoldsNothingUp) {
  ServeOptions options;
  options.listen.port = 0;
  options.rows = 131072;
  options.ecmpRows = 65536;
  options.hold = std::chrono::hours(1);
  // What waits, is refused and is not answered has causes to be found.
  options.faults.of(SoftAsic::TableId::ingressNextHops).refuseEvery = 3;
  options.faults.of(SoftAsic::TableId::ecmpNextHops).loseAnswerEvery = 11;
  LiveAgent live(options);
  Io io;
  Metrics const metrics(io, live.agent(), live.server(), {"127.0.0.1", 0});
  Daemon daemon(live.port());
  live.say(daemon, largeStream());
  auto const milliseconds = [](auto time) {
    return std::chrono::duration<double, std::milli>(time).count();
  };
  fmt::print("{} messages read; longest turn {:.2f} ms\n", live.agent().streamCounts().messages,
             milliseconds(live.agent().loopTimes().longest()));

  live.agent().loopTimes().longestDel();
  auto const begin = std::chrono::steady_clock::now();
  auto scrape = std::async(std::launch::async, [&] { return scraped(metrics.port()); });
  live.turnUntil(
      [&] { return scrape.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
  double const took = milliseconds(std::chrono::steady_clock::now() - begin);
  double const longest = milliseconds(live.agent().loopTimes().longest());
  fmt::print("scrape of {} routes {:.1f} ms, longest turn {:.2f} ms\n",
             live.mapping().routes().routes().size(), took, longest);

  std::string const page = scrape.get();
  EXPECT_THAT(page, ::testing::HasSubstr("\norvia_l3_metrics_fresh 1"));
  EXPECT_THAT(page,
              ::testing::HasSubstr(fmt::format(
                  "\norvia_l3_entries{{table=\"ingress\",state=\"refused\"}} {}\n", kHops / 3)));
  EXPECT_THAT(page, ::testing::Not(::testing::HasSubstr("state=\"forwarded\"} 0\n")));
  if (isTimed()) {
    EXPECT_LT(took, 1000);
    EXPECT_LT(longest, 50);
  }
}

}  // namespace
}  // namespace OrviaL3Agent::Testing
