#include "agent/serve/Metrics.h"

#include <asio/post.hpp>
#include <optional>

#include "agent/serve/AgentMetrics.h"
#include "agent/serve/EntryCounts.h"
#include "agent/serve/MeasuredTimes.h"
#include "agent/serve/MetricsPage.h"

namespace OrviaL3Agent {

class Metrics::Impl {
 public:
  // A scrape wakes the loop by something to do, be it nothing: the turn that follows sees that a
  // page is wanted.
  Impl(Io& io, Agent& agent, FpmServer const& stream, Endpoint const& endpoint)
      : agent_(agent),
        stream_(stream),
        times_(agent, stream),
        page_(endpoint, [&io] { asio::post(io.context(), [] {}); }) {}

  [[nodiscard]] std::uint16_t port() const { return page_.port(); }

  void runSlice() {
    times_.turnEnds();
    if (!counts_ && page_.isWanted()) {
      page_.begins();
      counts_.emplace(agent_);
    }
    if (!counts_ || !counts_->runSlice()) return;
    page_.familiesAre(agentMetrics(agent_, stream_, counts_->result(), times_));
    counts_.reset();
  }
  [[nodiscard]] bool busy() const { return counts_ || times_.wantsTurn() || page_.isWanted(); }

 private:
  Agent& agent_;
  FpmServer const& stream_;
  MeasuredTimes times_;
  std::optional<EntryCounts> counts_;  // while a page is being made
  MetricsPage page_;                   // ends first: its threads wake the loop
};

Metrics::Metrics(Io& io, Agent& agent, FpmServer const& stream, Endpoint const& endpoint)
    : agent_(agent), impl_(std::make_unique<Impl>(io, agent, stream, endpoint)) {
  agent_.loop().sourceIs(this);
}

Metrics::~Metrics() { agent_.loop().sourceDel(this); }

std::uint16_t Metrics::port() const { return impl_->port(); }

void Metrics::runSlice() { impl_->runSlice(); }

bool Metrics::busy() const { return impl_->busy(); }

}  // namespace OrviaL3Agent
