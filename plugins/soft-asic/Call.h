// One call of the hardware, as whoever watches the simulated device sees it.
//
//   class Count : public SoftAsic::CallObserver {
//     void callIs(SoftAsic::Call const& call) override { ++calls; }
//   };
//   device.observerIs(&count);      // not owned
//
// An observer is called when the call has taken effect in the device's rows and before the answer
// to it is delivered or queued. Rows take effect in the order of the calls.
//
// Threading: the device's thread. Ownership: a call is a plain value, valid while the observer
// runs; copy it to keep it.
#pragma once

#include <cstdint>
#include <variant>
#include <vector>

#include "plugins/soft-asic/Contents.h"

namespace SoftAsic {

// The four software tables; the first two are windows of one device table.
enum class TableId : std::uint8_t { ingressNextHops, ecmpNextHops, members, groups };
inline constexpr std::size_t kTables = 4;
// "ingress", "ecmp", "member", "group".
[[nodiscard]] constexpr char const* name(TableId table) {
  constexpr char const* names[kTables] = {"ingress", "ecmp", "member", "group"};
  return names[static_cast<std::size_t>(table)];
}

inline constexpr TableId allTables[kTables] = {TableId::ingressNextHops, TableId::ecmpNextHops,
                                               TableId::members, TableId::groups};

// What becomes of a write: the row takes it; the row refuses it and keeps what it had; it is lost
// on the way, which nobody is told; the window has no such row. Deletes are always taken.
enum class Fate : std::uint8_t { taken, refused, lost, noSuchRow };

struct Call {
  enum class Kind : std::uint8_t { write, remove, removeAll };

  std::uint64_t serial = 0;  // 1, 2, ... over all tables of the device
  TableId table{};
  Kind kind{};
  std::uint32_t row = 0;  // of a removeAll: the window's first row
  Fate fate = Fate::taken;
  // What a write asked for, with the derived values as they were at that moment.
  std::variant<std::monostate, NextHopContents, MemberContents, GroupContents> contents;

  // Of writes: how many entries of other tables the record names that were not programmed then.
  std::uint32_t unprogrammedHandles = 0;
  // Of group writes: the next-hop rows of the members of the block that the record names, by
  // position, as their handles had them then.
  std::vector<std::uint32_t> nextHopRows;
};

class CallObserver {
 public:
  virtual ~CallObserver() = default;
  virtual void callIs(Call const& call) = 0;
};

}  // namespace SoftAsic
