// How many rows each table of a simulated device has.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <cstdint>

namespace SoftAsic {

struct DeviceSizes {
  std::uint32_t nextHops = 32768;      // of both views
  std::uint32_t ecmpNextHops = 16384;  // of these, the ECMP view's
  std::uint32_t members = 65536;
  std::uint32_t groups = 16384;

  friend bool operator==(DeviceSizes const&, DeviceSizes const&) = default;
};

}  // namespace SoftAsic
