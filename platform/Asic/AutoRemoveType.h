// The caller's choice of who keeps a written entry.
#pragma once

#include <cstdint>

namespace Asic {

enum AutoRemoveType : std::uint8_t {
  autoRemoveWithHandle = 0,  // the entry lives while callers hold its handle
  noAutoRemove = 1,          // the table keeps the handle until entryRemove
};

constexpr AutoRemoveType needsAutoRemove() { return autoRemoveWithHandle; }

}  // namespace Asic
