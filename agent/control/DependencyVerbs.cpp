// Why something is not in the hardware, who holds a row, and all of it as a graph.
#include <fmt/format.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/Agent.h"
#include "agent/ShortText.h"
#include "agent/control/Job.h"
#include "agent/insight/CauseScan.h"
#include "agent/insight/Graph.h"
#include "agent/insight/RowText.h"
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
      : agent_(agent), rows_(rows), who_(agent, std::move(rows), listed) {}

  bool runSlice(Answer& answer) override {
    if (!isBegun_) answer.tableIs("who", {"level", "entry", "by", "detail", "more"});
    isBegun_ = true;
    return who_.runSlice([this, &answer](Insight::Who::Holder const& holder) {
      std::string const detail = holder.level == 0 ? nextRowText(holder) : holder.detail;
      answer.row({holder.level, holder.entry, textOrNull(holder.over), textOrNull(detail),
                  holder.more == 0 ? Json() : Json(holder.more)});
    });
  }

 private:
  // The rows that were asked for are told one after the other, each at level 0. A kernel has no
  // member rows: nobody answers for one, so that there is nothing to be said of an answer.
  std::string nextRowText(Insight::Who::Holder const& holder) {
    Insight::Who::Row const& row = rows_.at(told_++);
    if (agent_.kernel() == nullptr || row.table != Insight::Who::Table::members) {
      return holder.detail;
    }
    auto member = agent_.hardware().device().members().row(row.row);
    member.answer = SoftAsic::Answer::none;
    return Insight::rowText(member);
  }

  Agent const& agent_;
  std::vector<Insight::Who::Row> rows_;
  std::size_t told_ = 0;  // of these
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

std::optional<Insight::Who::Table> tableOf(std::string const& name) {
  using Insight::Who;
  if (name == "next-hop" || name == "ingress" || name == "ecmp") return Who::Table::nextHops;
  if (name == "member") return Who::Table::members;
  if (name == "group") return Who::Table::groups;
  return std::nullopt;
}

std::vector<Insight::Who::Row> rowsOf(Agent const& agent, Arguments const& arguments) {
  using Insight::Who;
  constexpr char const* kExpected =
      "expected ROW, or next-hop, ingress, ecmp, member or group and ROW";
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
  std::optional<Who::Table> const table = tableOf(name);
  if (!table) {
    throw RequestError(
        fmt::format("who: there is no table \"{}\"; {}", shortened(name), kExpected));
  }
  Who::Row const asked{*table, row};
  // These two are parts of the next-hop table.
  SoftAsic::SoftDevice const& device = agent.hardware().device();
  bool const isElsewhere = (name == "ingress" && !device.ingressNextHops().hasRow(row)) ||
                           (name == "ecmp" && !device.ecmpNextHops().hasRow(row));
  if (isElsewhere || !Who::hasRow(agent, asked)) {
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
      {"who", "[TABLE] ROW [all]", "who holds a row: next-hop, ingress, ecmp, member, group", who},
      {"dot", "", "what depends on what, as a graph for Graphviz", dot},
  };
}

}  // namespace OrviaL3Agent::Control
