// Why something is not in the hardware, who holds a row, and all of it as a graph.
#include <fmt/format.h>

#include <chrono>
#include <utility>

#include "agent/Agent.h"
#include "agent/control/Job.h"
#include "agent/insight/CauseScan.h"
#include "agent/insight/Graph.h"
#include "agent/insight/Search.h"
#include "agent/insight/Who.h"
#include "agent/insight/Why.h"

namespace OrviaL3Agent::Control {
namespace {

using Insight::CauseCount;

// Without `all`, so many root causes.
constexpr std::size_t kMostCauses = 50;

// Null when nobody knows.
Json secondsSince(std::optional<Since> since) {
  if (!since) return nullptr;
  return std::chrono::duration_cast<std::chrono::seconds>(sinceNow() - *since).count();
}

Json textOrNull(std::string const& text) { return text.empty() ? Json() : Json(text); }

// Takes the word off the end.
bool takeAll(Arguments& arguments) {
  if (arguments.empty() || arguments.back() != "all") return false;
  arguments.pop_back();
  return true;
}

// The root causes, the one that blocks most routes first.
class CausesJob final : public Job {
 public:
  CausesJob(Agent const& agent, bool all) : agent_(agent), scan_(agent), all_(all) {}

  bool runSlice(Answer& answer) override {
    if (!isScanned_) {
      isScanned_ = scan_.runSlice();
      if (!isScanned_) return false;
      answer.tableIs("causes", {"cause", "entry", "detail", "seconds", "routes", "kept", "groupIds",
                                "groups", "blocks", "nextHops"});
      return false;
    }
    Insight::Slice slice;
    for (; !slice.isOver(); slice.spend(4)) {
      if (!all_ && listed_ == kMostCauses && scan_.size() > listed_) {
        answer.line(fmt::format("and {} more: \"why all\" lists them", scan_.size() - listed_));
        return true;
      }
      CauseCount const* const count = scan_.next();
      if (count == nullptr) return true;
      ++listed_;
      answer.row({Insight::textOf(count->cause.kind), Insight::nameOf(count->cause.entry),
                  textOrNull(Insight::detailOf(agent_, count->cause)), secondsSince(count->since),
                  count->routes, count->kept, count->groupIds, count->groups, count->blocks,
                  count->nextHops});
    }
    return false;
  }

 private:
  Agent const& agent_;
  Insight::CauseScan scan_;
  bool all_;
  bool isScanned_ = false;
  std::size_t listed_ = 0;
};

// From an entry down to its root causes.
class WhyJob final : public Job {
 public:
  WhyJob(Agent const& agent, Arguments const& arguments)
      : search_(agent, arguments), scan_(agent), why_(agent, scan_) {}

  bool runSlice(Answer& answer) override {
    switch (phase_) {
      case Phase::search:
        // A name that nothing has is found out before the work is done.
        if (search()) phase_ = Phase::scan;
        return false;
      case Phase::scan:
        if (!scan_.runSlice()) return false;
        answer.tableIs("why", {"level", "entry", "state", "cause", "seconds", "routes", "kept",
                               "groupIds", "groups", "blocks", "nextHops"});
        for (std::size_t i = search_.found().size(); i-- > 0;) why_.ask(search_.found()[i]);
        phase_ = Phase::tell;
        return false;
      case Phase::tell:
        break;
    }
    Insight::Slice slice;
    for (; !slice.isOver(); slice.spend(8)) {
      std::optional<Insight::Step> const step = why_.next();
      if (!step) return true;
      answer.row(rowOf(*step));
    }
    return false;
  }

 private:
  enum class Phase : std::uint8_t { search, scan, tell };

  bool search() {
    try {
      return search_.runSlice();
    } catch (Insight::SearchError const& error) {
      throw RequestError(error.what());
    }
  }

  static Json rowOf(Insight::Step const& step) {
    Json row = {step.level, step.entry, step.state};
    row.push_back(step.cause ? Json(Insight::textOf(step.cause->kind)) : Json());
    row.push_back(secondsSince(step.since));
    if (CauseCount const* const count = step.count) {
      for (std::uint64_t const number : {count->routes, count->kept, count->groupIds, count->groups,
                                         count->blocks, count->nextHops}) {
        row.push_back(number);
      }
    } else {
      for (int i = 0; i < 6; ++i) row.push_back(nullptr);
    }
    return row;
  }

  Phase phase_ = Phase::search;
  Insight::Search search_;
  Insight::CauseScan scan_;
  Insight::Why why_;
};

class WhoJob final : public Job {
 public:
  WhoJob(Agent const& agent, std::vector<Insight::Who::Row> rows, std::size_t listed)
      : who_(agent, std::move(rows), listed) {}

  bool runSlice(Answer& answer) override {
    if (!isBegun_) answer.tableIs("who", {"level", "entry", "by", "detail", "more"});
    isBegun_ = true;
    return who_.runSlice([&answer](Insight::Who::Holder const& holder) {
      answer.row({holder.level, holder.entry, textOrNull(holder.over), textOrNull(holder.detail),
                  holder.more == 0 ? Json() : Json(holder.more)});
    });
  }

 private:
  Insight::Who who_;
  bool isBegun_ = false;
};

class GraphJob final : public Job {
 public:
  explicit GraphJob(Agent const& agent) : graph_(agent) {}

  bool runSlice(Answer& answer) override {
    return graph_.runSlice([&answer](std::string const& line) { answer.line(line); });
  }

 private:
  Insight::Graph graph_;
};

std::unique_ptr<Job> why(Context const& context, Arguments arguments) {
  bool const all = arguments.size() == 1 && takeAll(arguments);
  if (arguments.empty()) return std::make_unique<CausesJob>(context.agent, all);
  try {
    return std::make_unique<WhyJob>(context.agent, arguments);
  } catch (Insight::SearchError const& error) {
    throw RequestError(error.what());
  }
}

std::vector<Insight::Who::Row> rowsOf(Agent const& agent, Arguments const& arguments) {
  using Insight::Who;
  constexpr char const* kExpected = "expected ROW, or next-hop, member or group and ROW";
  if (arguments.empty() || arguments.size() > 2) {
    throw RequestError(fmt::format("who: {}", kExpected));
  }
  std::uint32_t row = 0;
  try {
    row = Insight::Search::number("who", arguments.back());
  } catch (Insight::SearchError const& error) {
    throw RequestError(fmt::format("{}; {}", error.what(), kExpected));
  }
  if (arguments.size() == 1) {
    std::vector<Who::Row> rows = Who::rowsOf(agent, row);
    if (rows.empty()) throw RequestError(fmt::format("who: no table has a row {}", row));
    return rows;
  }
  std::string const& name = arguments.front();
  Who::Row const asked{name == "member"  ? Who::Table::members
                       : name == "group" ? Who::Table::groups
                                         : Who::Table::nextHops,
                       row};
  if (name != "next-hop" && name != "member" && name != "group") {
    throw RequestError(fmt::format("who: there is no table \"{}\"; {}", name, kExpected));
  }
  if (!Who::hasRow(agent, asked)) {
    throw RequestError(
        fmt::format("who: the {} table has no row {}{}", name, row,
                    name == "group" ? " (`show group N` asks for a group by its number)" : ""));
  }
  return {asked};
}

std::unique_ptr<Job> who(Context const& context, Arguments arguments) {
  using Insight::Who;
  std::size_t const listed = takeAll(arguments) ? Who::kAll : Who::kListed;
  return std::make_unique<WhoJob>(context.agent, rowsOf(context.agent, arguments), listed);
}

std::unique_ptr<Job> dot(Context const& context, Arguments const& arguments) {
  if (!arguments.empty()) throw RequestError("dot: takes no arguments");
  return std::make_unique<GraphJob>(context.agent);
}

}  // namespace

std::vector<Verb> dependencyVerbs() {
  return {
      {"why", "[all | NAME]", "what NAME waits for, down to root causes; or all causes", why},
      {"who", "[TABLE] ROW [all]", "who holds that row of next-hop, member or group", who},
      {"dot", "", "what depends on what, as a graph for Graphviz", dot},
  };
}

}  // namespace OrviaL3Agent::Control
