// Metric families as the metrics page shows them, built one after another.
//
//   MetricFamilies families;
//   families.gauge("orvia_l3_stream_connected", "Whether ...", 1);
//   families.begin(MetricType::Counter, "orvia_l3_hardware_calls_total", "Calls ...");
//   families.add({{"table", "ingress"}, {"call", "write"}}, 17);
//
// Threading: one thread. Ownership: owns what it has built.
#pragma once

#include <prometheus/metric_family.h>

#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "agent/LoopTimes.h"
#include "agent/serve/TimeHistogram.h"

namespace OrviaL3Agent {

class MetricFamilies {
 public:
  using Type = prometheus::MetricType;
  using Labels = std::vector<prometheus::ClientMetric::Label>;

  void begin(Type type, std::string name, std::string help) {
    families_.push_back({std::move(name), std::move(help), type, {}});
  }
  // A sample of the family that was begun last.
  template <class Number>
  requires std::integral<Number> || std::floating_point<Number>
  void add(Labels labels, Number number) {
    prometheus::ClientMetric& metric = added(std::move(labels));
    auto const value = static_cast<double>(number);
    if (families_.back().type == Type::Counter) {
      metric.counter.value = value;
    } else {
      metric.gauge.value = value;
    }
  }
  void add(Labels labels, TimeHistogram const& times) {
    prometheus::ClientMetric::Histogram& histogram = added(std::move(labels)).histogram;
    std::uint64_t cumulative = 0;
    for (std::size_t i = 0; i < TimeHistogram::kBounds.size(); ++i) {
      cumulative += times.inBucket(i);
      histogram.bucket.push_back({cumulative, TimeHistogram::kBounds[i]});
    }
    histogram.sample_count = times.count();
    histogram.sample_sum = times.sumSeconds();
  }

  void add(Labels labels, LoopTimes const& times) {
    prometheus::ClientMetric::Histogram& histogram = added(std::move(labels)).histogram;
    std::uint64_t cumulative = 0;
    for (std::size_t i = 0; i < LoopTimes::kBounds.size(); ++i) {
      cumulative += times.counts()[i];
      histogram.bucket.push_back({cumulative, seconds(LoopTimes::kBounds[i])});
    }
    histogram.sample_count = times.turns();
    histogram.sample_sum = seconds(times.total());
  }

  template <class Number>
  void gauge(char const* name, char const* help, Number number) {
    begin(Type::Gauge, name, help);
    add({}, number);
  }
  template <class Number>
  void counter(char const* name, char const* help, Number number) {
    begin(Type::Counter, name, help);
    add({}, number);
  }

  [[nodiscard]] std::vector<prometheus::MetricFamily> take() { return std::move(families_); }

 private:
  [[nodiscard]] static double seconds(LoopTimes::Duration time) {
    return std::chrono::duration<double>(time).count();
  }
  prometheus::ClientMetric& added(Labels labels) {
    prometheus::ClientMetric& metric = families_.back().metric.emplace_back();
    metric.label = std::move(labels);
    return metric;
  }

  std::vector<prometheus::MetricFamily> families_;
};

}  // namespace OrviaL3Agent
