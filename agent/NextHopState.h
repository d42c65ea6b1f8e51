// How far a next hop has come on its way into the hardware, and what it needed for that.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <cstddef>
#include <cstdint>

namespace OrviaL3Agent {

enum class NextHopState : std::uint8_t {
  programmed,  // the hardware holds the record
  unanswered,  // written, and not yet answered
  parked,      // waits for its interface or MTU profile
  refused,     // the hardware refused the record
  notPlaced,   // met an obstacle: there is no row for it, say
};

// What one table's next hops have been through.
struct NextHopCounts {
  std::uint64_t made = 0;       // identities that came into use
  std::uint64_t ended = 0;      // whose last user went
  std::uint64_t waited = 0;     // whose record was still parked when its write returned
  std::uint64_t notPlaced = 0;  // attempts that met an obstacle
  std::uint64_t retried = 0;    // records that were written once more after a refusal or silence
  std::size_t peak = 0;         // most in use at once
  std::size_t peakParked = 0;   // most parked records at once
};

}  // namespace OrviaL3Agent
