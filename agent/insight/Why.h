// The chain from an entry down to every root cause.
//
//   Why why(agent, scan);                   // a scan that is done
//   why.ask(GroupName{3});
//   while (auto step = why.next()) print(step->level, step->entry, step->state);
//
// The entry comes first, and below it what it needs, one level further down. Of what a group or a
// block needs only what is in its way is listed; the rest is told by number.
//
// Threading: the loop's thread. Ownership: refers to the agent and the scan. Between two steps it
// keeps names only: what is gone by then is said to be.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/insight/CauseScan.h"

namespace OrviaL3Agent::Insight {

struct Step {
  unsigned level = 0;
  std::string entry;
  std::string state;
  // Of a root cause, what the scan knows of it; what came up since is not known.
  std::optional<Cause> cause;
  std::optional<Since> since;
  CauseCount const* count = nullptr;
};

class Why {
 public:
  Why(Agent const& agent, CauseScan const& scan) : agent_(agent), scan_(scan) {}

  void ask(Entry entry) { waiting_.push_back({0, std::move(entry), {}, {}}); }
  // Nothing when all is told.
  [[nodiscard]] std::optional<Step> next();

 private:
  struct Asked {
    unsigned level = 0;
    Entry entry;
    std::optional<Cause> cause;  // known already to be one
    std::optional<Since> since;
  };

  class Telling;

  Agent const& agent_;
  CauseScan const& scan_;
  std::vector<Asked> waiting_;  // the last one is next
};

}  // namespace OrviaL3Agent::Insight
