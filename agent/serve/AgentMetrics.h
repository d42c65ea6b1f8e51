// What the metrics page shows of an agent. docs/metrics.md lists it.
//
//   page.familiesAre(agentMetrics(agent, stream, counts.result(), times));
//
// Threading: the loop's thread. Ownership: the result refers to nothing.
#pragma once

#include <prometheus/metric_family.h>

#include <vector>

#include "agent/Agent.h"
#include "agent/serve/EntryCounts.h"
#include "agent/serve/FpmServer.h"
#include "agent/serve/MeasuredTimes.h"

namespace OrviaL3Agent {

[[nodiscard]] std::vector<prometheus::MetricFamily> agentMetrics(Agent const& agent,
                                                                 FpmServer const& stream,
                                                                 EntryCounts::Result const& counts,
                                                                 MeasuredTimes const& times);

}  // namespace OrviaL3Agent
