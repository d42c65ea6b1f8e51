#include "agent/serve/MetricsPage.h"

#include <fmt/format.h>
#include <prometheus/collectable.h>

#include <asio/ip/tcp.hpp>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "agent/serve/ServerEnd.h"

namespace OrviaL3Agent {
namespace {

// An address of IP version 6 has colons of its own.
std::string textOf(Endpoint const& endpoint) {
  bool const isIpv6 = endpoint.address.find(':') != std::string::npos;
  return isIpv6 ? fmt::format("[{}]:{}", endpoint.address, endpoint.port)
                : fmt::format("{}:{}", endpoint.address, endpoint.port);
}

// Why nobody can listen there; the HTTP server does not say it.
std::string reasonOf(Endpoint const& endpoint) {
  asio::error_code error;
  asio::ip::address const address = asio::ip::make_address(endpoint.address, error);
  if (error) return error.message();
  asio::io_context context;
  asio::ip::tcp::endpoint const where(address, endpoint.port);
  asio::ip::tcp::acceptor acceptor(context);
  acceptor.open(where.protocol(), error);
  if (!error) acceptor.set_option(asio::socket_base::reuse_address(true), error);
  if (!error) acceptor.bind(where, error);
  if (!error) acceptor.listen(1, error);
  if (error) return error.message();
  // It is built without.
  if (address.is_v6()) return "the HTTP server knows addresses of IP version 4 only";
  return "the HTTP server does not start";
}

prometheus::MetricFamily gauge(char const* name, char const* help, double value) {
  prometheus::ClientMetric metric;
  metric.gauge.value = value;
  return {name, help, prometheus::MetricType::Gauge, {metric}};
}

}  // namespace

// What the server's threads and the loop share.
class MetricsPage::Collector final : public prometheus::Collectable {
 public:
  using Clock = std::chrono::steady_clock;

  Collector(std::function<void()> wake, std::chrono::milliseconds limit)
      : wake_(std::move(wake)), limit_(limit) {}

  // On a thread of the server, several at once perhaps.
  [[nodiscard]] Families Collect() const override {
    std::unique_lock lock(mutex_);
    std::uint64_t const mine = ++asked_;
    lock.unlock();
    wake_();
    lock.lock();
    bool const isFresh =
        changed_.wait_for(lock, limit_, [&] { return ended_ || made_ >= mine; }) && made_ >= mine;
    Families families = families_;
    auto const age = std::chrono::duration<double>(Clock::now() - madeAt_);
    bool const hasSome = !families.empty();
    lock.unlock();
    families.push_back(gauge("orvia_l3_metrics_fresh",
                             "Whether this page was made for this scrape: 0 when the event loop "
                             "did not answer in time and the page is an older one.",
                             isFresh ? 1 : 0));
    if (hasSome) {
      families.push_back(gauge("orvia_l3_metrics_age_seconds",
                               "Time since the event loop finished this page.", age.count()));
    }
    return families;
  }

  [[nodiscard]] bool isWanted() const {
    std::lock_guard const lock(mutex_);
    return asked_ > begun_;
  }
  void begins() {
    std::lock_guard const lock(mutex_);
    begun_ = asked_;
  }
  void familiesAre(Families families) {
    {
      std::lock_guard const lock(mutex_);
      families_ = std::move(families);
      made_ = begun_;
      madeAt_ = Clock::now();
    }
    changed_.notify_all();
  }
  // Nothing more comes from the loop.
  void ends() {
    {
      std::lock_guard const lock(mutex_);
      ended_ = true;
    }
    changed_.notify_all();
  }

 private:
  std::function<void()> wake_;
  std::chrono::milliseconds limit_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  mutable std::uint64_t asked_ = 0;  // scrapes so far
  std::uint64_t begun_ = 0;          // of these, those that the latest page was begun after
  std::uint64_t made_ = 0;           // and the latest finished page
  Families families_;
  Clock::time_point madeAt_{};
  bool ended_ = false;
};

MetricsPage::MetricsPage(Endpoint const& endpoint, std::function<void()> wake,
                         std::chrono::milliseconds limit)
    : address_(endpoint.address), collector_(std::make_shared<Collector>(std::move(wake), limit)) {
  try {
    // Two threads: a scraper that is slow to read does not keep a second one waiting.
    exposer_ = std::make_unique<prometheus::Exposer>(std::vector<std::string>{
        "listening_ports", textOf(endpoint), "num_threads", "2", "request_timeout_ms", "10000"});
  } catch (std::exception const&) {
    throw std::runtime_error(
        fmt::format("cannot serve metrics at {}: {}", textOf(endpoint), reasonOf(endpoint)));
  }
  exposer_->RegisterCollectable(collector_);
}

MetricsPage::~MetricsPage() {
  // First those that wait, since the server's end waits for them.
  collector_->ends();
  std::uint16_t const at = port();
  endAtOnce(std::move(exposer_), address_, at);
}

std::uint16_t MetricsPage::port() const {
  std::vector<int> const ports = exposer_->GetListeningPorts();
  return ports.empty() ? std::uint16_t{0} : static_cast<std::uint16_t>(ports.front());
}

bool MetricsPage::isWanted() const { return collector_->isWanted(); }

void MetricsPage::begins() { collector_->begins(); }

void MetricsPage::familiesAre(Families families) { collector_->familiesAre(std::move(families)); }

}  // namespace OrviaL3Agent
