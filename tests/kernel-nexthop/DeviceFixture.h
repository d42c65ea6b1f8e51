// A kernel device over a namespace of the test's own, whose rows are written without tables.
//
// A row's record says its next hop by its destination: `hop(n)` is 10.0.<n / 200>.<n % 200 + 2> on
// d<n / 200>. Answers are written down as "next hop 7: 1".
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <map>
#include <string>
#include <vector>

#include "Plane.h"
#include "plugins/kernel-nexthop/KernelDevice.h"

namespace KernelNextHopTests {

using namespace KernelNextHop;  // NOLINT(google-build-using-namespace)
using nlohmann::json;

inline Target nextHopRow(std::uint32_t row) { return {Target::Kind::nextHop, row}; }
inline Target groupRow(std::uint32_t row) { return {Target::Kind::group, row}; }

class DeviceFixture : public testing::Test {
 protected:
  static constexpr std::uint32_t kFirst = 5000;
  static constexpr std::uint32_t kIngress = 600;  // the first row of the ingress table

  void SetUp() override {
    if (!plane.obstacle().empty()) GTEST_SKIP() << plane.obstacle();
    d0 = plane.index("d0");
    d1 = plane.index("d1");
    options.netns = plane.path();
    options.sizes = {.nextHops = 1000, .ecmpNextHops = kIngress, .members = 2000, .groups = 100};
    options.firstId = kFirst;
    start();
  }

  // A process begins anew on the same kernel.
  void start() {
    device = nullptr;
    device = new KernelDevice(options);
    device->identitiesIs([this](Record const& record) { return identity(record); });
    device->routeAnswersIs([this](Route const& route, RouteAnswer const& answer) {
      routeAnswers.push_back({route, answer});
    });
  }

  // 0 to 199 are on d0, 200 to 399 on d1, those above nowhere.
  virtual std::optional<NextHop> identity(Record const& record) {
    unsigned const n = record.fields.destination;
    if (n >= 400) return std::nullopt;
    NextHop nextHop;
    nextHop.family = AF_INET;
    nextHop.interface = n < 200 ? d0 : d1;
    nextHop.hasGateway = true;
    nextHop.gateway = {10, 0, static_cast<std::uint8_t>(n / 200),
                       static_cast<std::uint8_t>(n % 200 + 2)};
    return nextHop;
  }
  static Record hop(unsigned n) {
    Record record;
    record.fields.destination = static_cast<std::uint16_t>(n);
    return record;
  }
  static std::string gateway(unsigned n) {
    return "10.0." + std::to_string(n / 200) + "." + std::to_string(n % 200 + 2);
  }

  KernelDevice::Tell tell(std::string const& what, std::uint32_t row) {
    return [this, what, row](Asic::HwTable::EntryState state) {
      answers.push_back(what + " " + std::to_string(row) + ": " + std::to_string(state));
      if (onAnswer) onAnswer();
    };
  }
  void writeHop(std::uint32_t row, unsigned n) {
    device->nextHopIs(row, hop(n), tell("next hop", row));
  }
  // Member rows from `first` on name these next-hop rows; the group is over them.
  void writeMembers(std::uint32_t first, std::vector<std::uint32_t> const& rows) {
    for (std::uint32_t const row : rows) device->memberIs(first++, row);
  }
  void writeGroup(std::uint32_t row, std::uint32_t first, std::size_t members) {
    device->groupIs(row, first, static_cast<std::uint32_t>(members), tell("group", row));
  }
  void writeGroupOf(std::uint32_t row, std::uint32_t first,
                    std::vector<std::uint32_t> const& rows) {
    writeMembers(first, rows);
    writeGroup(row, first, rows.size());
  }
  // Until there is nothing to do; fails when that takes too long.
  void settle() {
    auto const end = KernelDevice::Clock::now() + std::chrono::seconds(30);
    while (device->busy()) {
      device->runSlice(KernelDevice::Clock::now() + std::chrono::milliseconds(1));
      ASSERT_LT(KernelDevice::Clock::now(), end) << "never settles";
    }
  }

  [[nodiscard]] std::uint32_t id(Target const& target) const { return device->ids().id(target); }
  // "10.0.0.2@d0", or for a group its members, "5001 5002x3", or "none".
  [[nodiscard]] std::string inKernel(Target const& target) const {
    return text(plane.objects(), id(target));
  }
  static std::string text(std::map<std::uint32_t, json> const& objects, std::uint32_t number) {
    auto const found = objects.find(number);
    if (found == objects.end()) return "none";
    json const& object = found->second;
    if (!object.contains("group")) {
      std::string const dev = object.value("dev", "?");
      return object.contains("gateway") ? object["gateway"].get<std::string>() + "@" + dev : dev;
    }
    std::string members;
    for (json const& member : object["group"]) {
      unsigned const weight = member.value("weight", 1U);
      if (!members.empty()) members += " ";
      members += std::to_string(member["id"].get<std::uint32_t>());
      if (weight != 1) members += "x" + std::to_string(weight);
    }
    return members;
  }
  [[nodiscard]] std::string ids(std::vector<std::uint32_t> const& rows) const {
    std::string joined;
    for (std::uint32_t const row : rows) {
      joined += (joined.empty() ? "" : " ") + std::to_string(id(nextHopRow(row)));
    }
    return joined;
  }

  static Route route(unsigned n, std::uint32_t priority = 20) {
    Route route;
    route.family = AF_INET;
    route.length = 24;
    route.priority = priority;
    route.prefix = {192, static_cast<std::uint8_t>(n / 256), static_cast<std::uint8_t>(n % 256)};
    return route;
  }
  static Route route6(unsigned n) {
    Route route;
    route.family = AF_INET6;
    route.length = 64;
    route.prefix = {0x20, 0x01, 0x0d, 0xb8, 0xff, static_cast<std::uint8_t>(n)};
    return route;
  }
  // "nhid 5001", "blackhole", "none"; of the device's protocol.
  [[nodiscard]] std::string routeInKernel(std::string const& prefix) const {
    json const found = plane.json("route show proto 200 exact " + prefix);
    if (found.empty()) return "none";
    json const& first = found.at(0);
    if (first.value("type", "unicast") == "blackhole") return "blackhole";
    return "nhid " + std::to_string(first.value("nhid", 0U));
  }

  Plane plane;
  std::uint32_t d0 = 0, d1 = 0;
  KernelOptions options;
  Vek::Ptr<KernelDevice> device;
  std::vector<std::string> answers;
  std::vector<std::pair<Route, RouteAnswer>> routeAnswers;
  std::function<void()> onAnswer;
};

}  // namespace KernelNextHopTests
