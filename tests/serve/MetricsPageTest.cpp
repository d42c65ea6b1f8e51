#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <asio/connect.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "agent/serve/MetricFamilies.h"
#include "agent/serve/MetricsPage.h"

namespace OrviaL3Agent {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::Not;

// What an HTTP client gets, header included.
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

MetricsPage::Families numbered(int number) {
  MetricFamilies families;
  families.gauge("number", "A number.", number);
  return families.take();
}

class MetricsPageTest : public ::testing::Test {
 protected:
  // Stands for the loop: makes pages until it is told to end.
  void serve(MetricsPage& page, int const pages) {
    for (int made = 0; made < pages;) {
      if (!page.isWanted()) {
        std::this_thread::sleep_for(1ms);
        continue;
      }
      page.begins();
      page.familiesAre(numbered(++made));
    }
  }

  std::atomic<int> wakes = 0;
};

TEST_F(MetricsPageTest, AScrapeWakesTheLoopAndGetsThePageThatItMakes) {
  MetricsPage page({"127.0.0.1", 0}, [&] { ++wakes; });
  ASSERT_NE(page.port(), 0);
  auto scrape = std::async(std::launch::async, [&] { return scraped(page.port()); });
  serve(page, 1);
  std::string const answer = scrape.get();
  EXPECT_EQ(wakes, 1);
  EXPECT_THAT(answer, HasSubstr("200 OK"));
  EXPECT_THAT(answer, HasSubstr("# HELP number A number.\n# TYPE number gauge\nnumber 1"));
  EXPECT_THAT(answer, HasSubstr("\norvia_l3_metrics_fresh 1"));
}

TEST_F(MetricsPageTest, EveryScrapeGetsAPageThatWasBegunAfterIt) {
  MetricsPage page({"127.0.0.1", 0}, [&] { ++wakes; });
  auto scrapes = std::async(std::launch::async, [&] {
    std::string const first = scraped(page.port());
    return first + scraped(page.port());
  });
  serve(page, 2);
  std::string const answers = scrapes.get();
  EXPECT_THAT(answers, HasSubstr("\nnumber 1"));
  EXPECT_THAT(answers, HasSubstr("\nnumber 2"));
}

TEST_F(MetricsPageTest, WhenTheLoopDoesNotAnswerThePageBeforeIsServedAndSaysSo) {
  MetricsPage page(
      {"127.0.0.1", 0}, [&] { ++wakes; }, 50ms);
  auto first = std::async(std::launch::async, [&] { return scraped(page.port()); });
  while (!page.isWanted()) std::this_thread::sleep_for(1ms);
  page.begins();
  page.familiesAre(numbered(1));
  first.get();
  std::string const answer = scraped(page.port());
  EXPECT_THAT(answer, HasSubstr("\nnumber 1"));
  EXPECT_THAT(answer, HasSubstr("\norvia_l3_metrics_fresh 0"));
  EXPECT_THAT(answer, HasSubstr("\norvia_l3_metrics_age_seconds 0.0"));
}

TEST_F(MetricsPageTest, BeforeTheFirstPageThereIsNoneToFallBackTo) {
  MetricsPage const page(
      {"127.0.0.1", 0}, [&] { ++wakes; }, 50ms);
  std::string const answer = scraped(page.port());
  EXPECT_THAT(answer, HasSubstr("200 OK"));
  EXPECT_THAT(answer, HasSubstr("\norvia_l3_metrics_fresh 0"));
  EXPECT_THAT(answer, Not(HasSubstr("orvia_l3_metrics_age_seconds")));
}

TEST_F(MetricsPageTest, AScrapeThatWaitsDoesNotHoldUpTheEnd) {
  std::future<std::string> scrape;
  auto const begin = std::chrono::steady_clock::now();
  {
    MetricsPage const page({"127.0.0.1", 0}, [&] { ++wakes; });
    scrape = std::async(std::launch::async, [port = page.port()] { return scraped(port); });
    while (!page.isWanted()) std::this_thread::sleep_for(1ms);
  }
  EXPECT_THAT(scrape.get(), HasSubstr("\norvia_l3_metrics_fresh 0"));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, MetricsPage::kLimit);
}

// The server's threads look up every second or two only.
TEST_F(MetricsPageTest, EndsAtOnceWhoeverIsConnectedAndSaysNothing) {
  asio::io_context context;
  asio::ip::tcp::socket silent(context);
  asio::ip::tcp::socket half(context);
  std::chrono::steady_clock::time_point begin;
  {
    MetricsPage const page({"127.0.0.1", 0}, [&] { ++wakes; });
    silent.connect({asio::ip::make_address("127.0.0.1"), page.port()});
    half.connect({asio::ip::make_address("127.0.0.1"), page.port()});
    asio::write(half, asio::buffer(std::string("GET /met")));
    std::this_thread::sleep_for(100ms);
    begin = std::chrono::steady_clock::now();
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 450ms);
}

TEST_F(MetricsPageTest, AnAddressThatCannotBeListenedAtIsNamedWithTheReason) {
  MetricsPage const page({"127.0.0.1", 0}, [&] { ++wakes; });
  auto const complaint = [&](Endpoint const& endpoint) -> std::string {
    try {
      MetricsPage const other(endpoint, [&] { ++wakes; });
    } catch (std::runtime_error const& error) {
      return error.what();
    }
    return "no complaint";
  };
  EXPECT_EQ(complaint({"127.0.0.1", page.port()}),
            "cannot serve metrics at 127.0.0.1:" + std::to_string(page.port()) +
                ": Address already in use");
  // Of a network that is for documentation.
  EXPECT_EQ(complaint({"192.0.2.1", 9}),
            "cannot serve metrics at 192.0.2.1:9: Cannot assign requested address");
}

TEST_F(MetricsPageTest, AnAddressOfVersion6IsRefusedWithTheReason) {
  asio::io_context context;
  asio::ip::tcp::acceptor acceptor(context);
  asio::error_code none;
  acceptor.open(asio::ip::tcp::v6(), none);
  if (!none) acceptor.bind({asio::ip::make_address("::1"), 0}, none);
  if (none) GTEST_SKIP() << "no loopback address of version 6 here: " << none.message();
  acceptor.close();
  try {
    MetricsPage const page({"::1", 0}, [&] { ++wakes; });
    FAIL() << "listens at port " << page.port();
  } catch (std::runtime_error const& error) {
    EXPECT_STREQ(error.what(),
                 "cannot serve metrics at [::1]:0: the HTTP server knows addresses of IP version 4 "
                 "only");
  }
}

}  // namespace
}  // namespace OrviaL3Agent
