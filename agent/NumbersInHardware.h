// Which numbers of the agent's the rows of the next-hop table name: slots of interfaces and MTU
// profiles, and numbers of neighbours.
//
//   NumbersInHardware numbers(device);
//   numbers.isNamed(NumbersInHardware::Kind::interface, 3)
//
// A number that a row names must not come to mean something else. Whoever used it may have gone all
// the same: the row is from before a restart, or it refused to be written with what came after.
// Whoever gives numbers out asks here before one is free, and is told when the last row is gone.
//
// Threading: the device's thread. Ownership: refers to the device, which must outlive it. A
// listener runs within a hardware call and must not write.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "plugins/soft-asic/SoftDevice.h"

namespace OrviaL3Agent {

class NumbersInHardware final : public SoftAsic::CallObserver {
 public:
  enum class Kind : std::uint8_t { interface, mtuProfile, neighbour };
  static constexpr std::size_t kKinds = 3;
  using Listener = std::function<void(std::uint16_t number)>;

  // Knows what the rows hold now, and follows every call from here on.
  explicit NumbersInHardware(SoftAsic::SoftDevice& device);
  ~NumbersInHardware() override;
  NumbersInHardware(NumbersInHardware const&) = delete;
  NumbersInHardware& operator=(NumbersInHardware const&) = delete;

  [[nodiscard]] bool isNamed(Kind kind, std::uint32_t number) const {
    return number < kNumbers && of(kind).rows[number] > 0;
  }
  // Told of each number that no row names any longer; none: nobody is.
  void listenerIs(Kind kind, Listener listener) { of(kind).listener = std::move(listener); }

  void callIs(SoftAsic::Call const& call) override;

 private:
  static constexpr std::size_t kNumbers = 0x10000;
  using Named = std::array<std::uint16_t, kKinds>;
  struct OfKind {
    std::vector<std::uint32_t> rows = std::vector<std::uint32_t>(kNumbers);  // by number
    Listener listener;
  };

  [[nodiscard]] OfKind& of(Kind kind) { return kinds_[static_cast<std::size_t>(kind)]; }
  [[nodiscard]] OfKind const& of(Kind kind) const { return kinds_[static_cast<std::size_t>(kind)]; }
  void rowIs(std::uint32_t row, std::optional<Named> named);

  SoftAsic::SoftDevice& device_;
  std::uint32_t firstIngress_;  // the rows below are the ECMP view's
  std::vector<std::optional<Named>> rows_;
  std::array<OfKind, kKinds> kinds_;
};

}  // namespace OrviaL3Agent
