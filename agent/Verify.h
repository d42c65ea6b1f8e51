// Holds the rows of the hardware against what a stream asks for.
//
//   Differences differences = verify(model.wanted(down, 512), device, decode);
//   std::cout << text(differences);
//
// The rows are followed as the hardware would follow them: from each group row in force over its
// member rows to next-hop rows of the ECMP view, and from those to identities. What is found so is
// compared with what is wanted, and so is each next-hop row of both views. A member row that no
// group leads to is one too many.
//
// Threading: the device's thread; nothing may write meanwhile. Ownership: all arguments are only
// read, the result refers to none of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/StreamModel.h"
#include "plugins/soft-asic/SoftDevice.h"

namespace OrviaL3Agent {

// The identity that a next-hop row stands for; nothing when its contents make no sense.
using Decode = std::function<std::optional<Identity>(SoftAsic::NextHopContents const&)>;

struct Differences {
  // Each tells both sides, in two lines: "asked for: ...\nin hardware: ...".
  std::vector<std::string> lines;

  // Of these, by what they are about.
  std::size_t groups = 0;
  std::size_t ecmpNextHops = 0;
  std::size_t ingressNextHops = 0;
  std::size_t members = 0;  // rows that no group leads to, a difference for each run of them

  // What is in the hardware as asked for.
  std::size_t verifiedGroups = 0;
  std::size_t verifiedEcmpNextHops = 0;
  std::size_t verifiedIngressNextHops = 0;
  Wanted::Counts notAsked;  // what can have no row
  std::size_t kept = 0;     // groups and ingress next hops that only wait to be replaced
  // Rows from before a restart that nobody asks for, and that are left out of the comparison: for
  // groups, which nobody has written since, and of next hops that are held.
  std::size_t fromBefore = 0;

  [[nodiscard]] bool empty() const { return lines.empty(); }
};

[[nodiscard]] Differences verify(Wanted const& wanted, SoftAsic::SoftDevice const& device,
                                 Decode const& decode);

// For people: the first differences, and a summary line; lines end in newlines.
[[nodiscard]] std::string text(Differences const& differences);

}  // namespace OrviaL3Agent
