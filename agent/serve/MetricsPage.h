// Where scrapes meet the loop: an HTTP server whose threads ask for a page and wait for it.
//
//   MetricsPage page(endpoint, [&] { asio::post(io.context(), [&] { ... }); });
//   if (page.isWanted()) page.familiesAre(...);         // on the loop's thread
//
// A scrape gets a page that was begun after it asked, so that it never sees a state from before.
// One that waits for longer than the limit gets the latest page there is, with
// `orvia_l3_metrics_fresh` 0 instead of 1.
//
// Threading: everything but the wake-up is called on the loop's thread; the wake-up is called on
// threads of the server and must not wait for the loop. Ownership: owns the server and its threads,
// which end with it; scrapes that wait then end at once.
#pragma once

#include <prometheus/exposer.h>
#include <prometheus/metric_family.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "agent/serve/ServeOptions.h"

namespace OrviaL3Agent {

class MetricsPage {
 public:
  using Families = std::vector<prometheus::MetricFamily>;
  static constexpr std::chrono::milliseconds kLimit{5000};

  // Throws std::runtime_error that names the address when it cannot be listened at.
  MetricsPage(Endpoint const& endpoint, std::function<void()> wake,
              std::chrono::milliseconds limit = kLimit);
  ~MetricsPage();
  MetricsPage(MetricsPage const&) = delete;
  MetricsPage& operator=(MetricsPage const&) = delete;

  [[nodiscard]] std::uint16_t port() const;

  // Whether a scrape waits for a page that is not begun.
  [[nodiscard]] bool isWanted() const;
  // A page for all that wait now is begun.
  void begins();
  // It is finished.
  void familiesAre(Families families);

 private:
  class Collector;

  std::string address_;
  std::shared_ptr<Collector> collector_;
  std::unique_ptr<prometheus::Exposer> exposer_;
};

}  // namespace OrviaL3Agent
