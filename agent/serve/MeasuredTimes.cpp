#include "agent/serve/MeasuredTimes.h"

#include "agent/kernel/Kernel.h"

namespace OrviaL3Agent {

using SoftAsic::TableId;

MeasuredTimes::MeasuredTimes(Agent& agent, FpmServer const& stream)
    : agent_(agent),
      stream_(stream),
      answers_(agent.hardware().device()),
      convergence_(agent.streamCounts().messages),
      countedNextHops_(agent.options().rows),
      countedGroups_(agent.options().groupRows) {}

void MeasuredTimes::turnEnds() {
  Clock::time_point const now = Clock::now();
  answers_.turnEnds(now, [&](TableId table, std::uint32_t row) { accepted(now, table, row); });
  convergence_.turnEnds({now, agent_.streamCounts().messages, arrival_.value_or(now), isAtRest(),
                         agent_.hardware().calls()});
  // What the next turn reads has arrived by now, or arrives after this.
  FpmServer::Status const status = stream_.status();
  if (status.queued > 0) {
    arrival_ = now - status.lag;
  } else if (agent_.loop().busy()) {
    arrival_ = now;
  } else {
    arrival_.reset();  // the loop sleeps until it does
  }
}

// What only the control socket or a scrape keeps busy is at rest.
bool MeasuredTimes::isAtRest() const {
  bool const isKernelBusy = agent_.kernel() != nullptr && agent_.kernel()->busy();
  return !stream_.busy() && !agent_.hardware().busy() && !isKernelBusy && !agent_.loop().hasTasks();
}

void MeasuredTimes::accepted(Clock::time_point now, TableId table, std::uint32_t row) {
  std::optional<Since> const commit = commitOf(table, row);
  if (!commit) return;
  Since& counted = (table == TableId::groups ? countedGroups_ : countedNextHops_).at(row);
  if (counted == *commit) return;
  counted = *commit;
  latencies_[static_cast<std::size_t>(table)].add(now - *commit);
}

std::optional<Since> MeasuredTimes::commitOf(TableId table, std::uint32_t row) const {
  Mapping const& mapping = agent_.mapping();
  if (table == TableId::ingressNextHops) {
    auto const& contents = agent_.hardware().row(row).contents;
    auto const identity = contents ? agent_.parts().identityOf(*contents) : std::nullopt;
    if (!identity) return std::nullopt;
    auto const found = mapping.ingress().hops().find(*identity);
    if (found == mapping.ingress().hops().end()) return std::nullopt;
    IngressNextHops::Hop const& hop = *found->second;
    return mapping.ingress().inForce(hop) ? std::optional(hop.since) : std::nullopt;
  }
  if (table == TableId::ecmpNextHops) {
    void const* const key =
        mapping.tables().ecmp->firstFreeIndexAllocator()->keyOfIndex(Asic::Index(row));
    if (key == nullptr) return std::nullopt;
    auto const found = mapping.ecmp().hops().find(*static_cast<Identity const*>(key));
    if (found == mapping.ecmp().hops().end()) return std::nullopt;
    EcmpNextHops::Hop const& hop = *found->second;
    bool const isInForce = mapping.ecmp().state(hop) == NextHopState::programmed;
    return isInForce ? std::optional(hop.since) : std::nullopt;
  }
  if (table != TableId::groups) return std::nullopt;
  void const* const key =
      mapping.tables().groups->firstFreeIndexAllocator()->keyOfIndex(Asic::Index(row));
  if (key == nullptr) return std::nullopt;
  std::uint32_t const number = static_cast<Groups::Table::Index const*>(key)->value();
  auto const found = mapping.groups().groups().find(number);
  if (found == mapping.groups().groups().end()) return std::nullopt;
  Groups::Group const& group = *found->second;
  bool const isInForce = mapping.groups().state(group) == Groups::State::programmed;
  return isInForce ? std::optional(group.since) : std::nullopt;
}

}  // namespace OrviaL3Agent
