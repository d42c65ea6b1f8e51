// What a hardware file, or a kernel, holds when the agent starts, for the log.
//
//   std::optional<FoundRows> const found = foundRows(options);   // before the agent is made
//   Agent agent(options, source);
//   logRestart(log, *found, agent);
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <cstdint>
#include <optional>

#include "agent/Agent.h"
#include "agent/serve/Log.h"

namespace OrviaL3Agent {

// Rows that hold something, by table.
struct FoundRows {
  std::uint64_t ingress = 0, ecmp = 0, members = 0, groups = 0;
};

// Nothing without a hardware file, or when there is none yet. Throws what the making of an agent
// would.
[[nodiscard]] std::optional<FoundRows> foundRows(AgentOptions const& options);

// What was found and what has become of it.
void logRestart(Log const& log, FoundRows const& found, Agent const& agent);

// The same for an agent that programs a kernel, and which one that is. Requires agent.kernel().
void logKernel(Log const& log, Agent const& agent);

}  // namespace OrviaL3Agent
