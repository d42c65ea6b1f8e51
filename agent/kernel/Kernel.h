// The Linux kernel behind the four tables: what the agent does besides for the plug-in that
// programs it.
//
//   Kernel kernel(setup, sizes);               // the plug-in's utilities find its device
//   ... attach the tables, then
//   kernel.mappingIs(parts, mapping, hardware, interfaces);
//   ... syncEntries, ready
//   loop.sourceIs(&kernel);
//   kernel.release();                          // the stream has said all
//
// It gives the plug-in's device its turns, says what a row means (which interface and gateway of
// the forwarding namespace), says whose the rows are that the kernel holds from before, keeps
// interfaces waiting that are not there or not up, asks again when one comes back, and keeps the
// kernel's routes (KernelRoutes.h).
//
// Threading: the loop's thread. Ownership: counts the device, as the utilities do; refers to the
// others, none of which it calls in its own end. Objects and routes stay in the kernel.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "agent/EventLoop.h"
#include "agent/Hardware.h"
#include "agent/Mapping.h"
#include "agent/StandInTable.h"
#include "agent/kernel/Interfaces.h"
#include "agent/kernel/KernelReport.h"
#include "agent/kernel/KernelRoutes.h"
#include "agent/kernel/KernelSetup.h"

namespace OrviaL3Agent {

class Kernel final : public EventLoop::Source {
 public:
  using Warning = std::function<void(std::string const& text)>;

  // Throws std::system_error when a namespace cannot be had.
  Kernel(KernelSetup const& setup, KernelNextHop::KernelSizes const& sizes);
  ~Kernel() override;
  Kernel(Kernel const&) = delete;
  Kernel& operator=(Kernel const&) = delete;

  void mappingIs(NextHopParts const& parts, Mapping& mapping, Hardware& hardware,
                 StandInTable& interfaces);
  // Is told what the operator may want to know. The first refusals of routes one by one, then ever
  // fewer of them.
  void warningIs(Warning warning) { warning_ = std::move(warning); }

  void runSlice() override;
  [[nodiscard]] bool busy() const override;
  // Whether routes wait in such a number that no more should come for now.
  [[nodiscard]] bool isBehind() const { return routes_ && routes_->changed() > kMostChanged; }
  // What there is to wake up for: news of interfaces.
  [[nodiscard]] std::array<int, 2> fileDescriptors() const { return interfaces_.fileDescriptors(); }

  // What is from before this process and was not asked for by now goes, as soon as all that is
  // asked for is in place.
  void release() { isReleasing_ = true; }

  // Why next hops over the interface wait: for people; empty when it is ready.
  [[nodiscard]] std::string trouble(std::uint32_t interface) const {
    return interfaces_.trouble(interface);
  }
  [[nodiscard]] bool isReady(std::uint32_t interface) const {
    return interfaces_.isReady(interface);
  }
  // Why the kernel refused what the row was to hold; empty when it did not.
  [[nodiscard]] std::string refusal(KernelNextHop::Target const& target) const {
    return device_->refusal(target);
  }
  [[nodiscard]] KernelNextHop::KernelDevice const& device() const { return *device_; }
  // Requires mappingIs().
  [[nodiscard]] KernelRoutes const& routes() const { return *routes_; }
  [[nodiscard]] KernelReport report() const;

  static constexpr std::size_t kMostChanged = 4096;

 private:
  [[nodiscard]] std::optional<KernelNextHop::NextHop> nextHopOf(
      KernelNextHop::Record const& record) const;
  [[nodiscard]] std::optional<KernelNextHop::RowOwner> ownerOf(
      Asic::Index row, KernelNextHop::NextHop const& nextHop) const;
  [[nodiscard]] std::optional<Identity> identityOf(KernelNextHop::NextHop const& nextHop) const;
  void interfaceChanged(std::uint32_t interface);
  void refused(RouteKey const& key, std::string const& why);

  Interfaces interfaces_;
  Vek::Ptr<KernelNextHop::KernelDevice> device_;
  NextHopParts const* parts_ = nullptr;
  Mapping* mapping_ = nullptr;
  Hardware* hardware_ = nullptr;
  StandInTable* standIns_ = nullptr;
  std::optional<KernelRoutes> routes_;
  std::set<std::uint32_t> used_;  // interfaces that somebody has asked for
  bool isRecheck_ = false;
  bool isReleasing_ = false;
  Warning warning_;
};

}  // namespace OrviaL3Agent
