#include "Explorer.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <unordered_map>
#include <utility>

#include "Events.h"
#include "StateKey.h"
#include "UnderWay.h"
#include "Vek/TraceHandle.h"
#include "tests/model/EngineWorld.h"

namespace Interleaving {
namespace {

using Model::Kind;
using Model::Step;

std::unique_ptr<Model::World> theTables(Scenario const& scenario) {
  auto world = std::make_unique<Model::Engine::EngineWorld>(scenario.reactions);
  // Nothing here looks at traces, and they cost more than all the rest.
  Vek::traceLevelDelAll();
  return world;
}

class Exploration {
 public:
  Exploration(Scenario const& scenario, Options options)
      : scenario_(scenario), options_(std::move(options)) {
    if (!options_.world) options_.world = theTables;
    report_.scenario = scenario.name;
  }

  Report run() {
    UnderWay const underWay(scenario_.name, path_);
    std::unique_ptr<Model::World> world = options_.world(scenario_);
    static_cast<void>(world->takeLog());
    Node start{Course(scenario_, world->snapshot()), std::vector<std::size_t>(actors()), 0};
    if (!begin(start, *world)) return std::move(report_);
    Rest const all = below(start, std::move(world));
    report_.paths = all.paths;
    report_.longest = all.longest;
    return std::move(report_);
  }

 private:
  struct Node {
    Course course;
    std::vector<std::size_t> positions;
    unsigned answersTwice;
  };
  // What goes on from a state: how many paths, and the events of the longest one.
  struct Rest {
    std::uint64_t paths;
    std::size_t longest;
  };
  struct Known {
    Rest rest;
    std::size_t eventsLeft;
    bool underWay;
  };

  [[nodiscard]] std::size_t actors() const { return scenario_.actors.size(); }
  [[nodiscard]] bool stops() const { return stops_; }

  // What happens before the path.
  bool begin(Node& start, Model::World& world) {
    std::vector<Move> moves;
    // Member rows are written and never looked at again.
    if (!scenario_.memberAnswers) {
      moves.push_back({"hides the answers of member rows", {{Kind::answerMode, {member, 3}}}});
    }
    moves.insert(moves.end(), scenario_.before.begin(), scenario_.before.end());
    auto const passes = [&](Event const& event) {
      before_.insert(before_.end(), event.steps.begin(), event.steps.end());
      return happen(event, start, world);
    };
    for (Move const& move : moves) {
      if (!passes({"before: " + move.name, move.steps, {}, {}})) return false;
      while (scenario_.beforeIsAnswered && !start.course.view().waiting().empty()) {
        if (!passes(answerTo(start.course.view().waiting().front(), 1, false))) return false;
      }
    }
    return true;
  }

  // A new world in which the path has happened.
  std::unique_ptr<Model::World> repeated() {
    std::unique_ptr<Model::World> world = options_.world(scenario_);
    for (Step const& step : before_) world->stepIs(step);
    for (Event const& event : path_) {
      for (Step const& step : event.steps) world->stepIs(step);
    }
    static_cast<void>(world->takeLog());
    return world;
  }

  // False when a rule is broken.
  bool happen(Event const& event, Node& node, Model::World& world) {
    for (Step const& step : event.steps) world.stepIs(step);
    Model::Lines const log = world.takeLog();
    return keeps(node.course.follow(event, log, world.snapshot()));
  }
  bool keeps(Violations violations) {
    if (violations.empty()) return true;
    report_.findings.push_back({std::move(violations), path_});
    stops_ = report_.findings.size() >= options_.findings || report_.found(options_.until);
    return false;
  }

  Rest below(Node const& node, std::unique_ptr<Model::World> world) {
    // Without a limit, it does not matter how a state was come to.
    std::size_t const eventsLeft =
        options_.longestPath == Options().longestPath ? 0 : options_.longestPath - path_.size();
    auto const [at, isNew] = known_.try_emplace(
        stateKey(scenario_, node.course, node.positions, node.answersTwice), Known{});
    Known& known = at->second;  // stays where it is when others come
    if (isNew) ++report_.states;
    if (!isNew && options_.mergeStates) {
      if (known.underWay) {
        keeps({{rule::progress, "the state at the end of this path"}});
        return {};
      }
      if (known.eventsLeft >= eventsLeft) return known.rest;
    }
    known = {{}, eventsLeft, true};
    report_.handlerCalls = std::max(report_.handlerCalls, node.course.handlerCalls());

    std::vector<Event> const events =
        eventsFrom(scenario_, {node.course, node.positions, node.answersTwice}, options_.symmetry);
    Rest rest{events.empty() ? 1U : 0U, 0};
    if (events.empty() && isNew) ++report_.ends;
    bool const looksForLeftovers = events.empty() || scenario_.letGoAnywhere;
    if (!events.empty() && path_.size() < options_.longestPath) {
      for (Event const& event : events) {
        std::vector<AtOnce> atOnce;
        goOnBy(event, node, world, rest, &atOnce);
        for (AtOnce const& how : atOnce) {
          goOnBy(answeredAtOnce(event, how), node, world, rest, nullptr);
        }
      }
    }
    if (looksForLeftovers && !stops()) letGo(node, world ? std::move(world) : repeated());
    known = {rest, eventsLeft, false};
    return rest;
  }

  // Goes on by an event, and says how else its writes could be answered. The world is used up.
  void goOnBy(Event const& event, Node const& node, std::unique_ptr<Model::World>& world,
              Rest& rest, std::vector<AtOnce>* atOnce) {
    if (stops()) return;
    if (!world) world = repeated();
    ++report_.transitions;
    Node child = node;
    path_.push_back(event);
    if (event.actor) ++child.positions[*event.actor];
    if (event.answer && event.answer->stays) ++child.answersTwice;
    bool const keepsRules = happen(event, child, *world);
    if (atOnce != nullptr) {
      // Where nothing is written that would be answered, it is the same event.
      std::copy_if(scenario_.atOnce.begin(), scenario_.atOnce.end(), std::back_inserter(*atOnce),
                   [&](AtOnce const& how) { return child.course.hasWritten(how); });
    }
    if (keepsRules) {
      Rest const after = below(child, std::move(world));
      rest.paths += after.paths;
      rest.longest = std::max(rest.longest, 1 + after.longest);
    }
    world = nullptr;
    path_.pop_back();
  }

  // Callers let go of everything; the answers that are under way come after that; then the tables
  // go.
  void letGo(Node const& node, std::unique_ptr<Model::World> world) {
    Node end = node;
    Event all{"everything is let go", scenario_.untangle};
    for (std::uint32_t n = 0; n < 6; ++n) all.steps.push_back({Kind::remove, {0, n}});
    for (std::uint32_t n = 0; n < 3; ++n) all.steps.push_back({Kind::remove, {2, n}});
    for (std::uint32_t n = 0; n < 3; ++n) all.steps.push_back({Kind::remove, {1, n}});
    for (std::uint32_t n = 0; n < 6; ++n) all.steps.push_back({Kind::drop, {n}});
    path_.push_back(all);
    if (happen(all, end, *world) && keeps(whenLetGo(end.course)) && answersAreLate(end, *world)) {
      Event tables{"the tables go", {}};
      for (std::uint32_t table = 4; table-- > 0;) {
        tables.steps.push_back({Kind::destroy, {table}});
      }
      path_.push_back(tables);
      // Rules about live objects hold for tables that are gone, and nothing can be seen of them.
      if (happen(tables, end, *world)) {
        for (unsigned table = 0; table < tableNames.size(); ++table) {
          for (auto const& [type, live] : end.course.view().table(table).live) {
            if (live != 0) keeps({{rule::leftovers, std::string(type)}});
          }
        }
      }
      path_.pop_back();
    }
    path_.pop_back();
  }
  bool answersAreLate(Node const& node, Model::World& world) {
    std::size_t const waiting = node.course.view().waiting().size();
    for (std::size_t n = 0; n < waiting; ++n) world.stepIs({Kind::answer, {0, 0, 0}});
    Model::Lines const log = world.takeLog();
    return log.empty() || keeps({{rule::late, log.front()}});
  }

  Scenario const& scenario_;
  Options options_;
  std::vector<Step> before_;
  Path path_;
  Report report_;
  bool stops_ = false;
  std::unordered_map<std::string, Known> known_;  // the states that were met
};

}  // namespace

Report explore(Scenario const& scenario, Options const& options) {
  return Exploration(scenario, options).run();
}

Finding shortestFinding(Scenario const& scenario, Options options) {
  options.findings = 1;
  for (options.longestPath = 0;; ++options.longestPath) {
    Report report = explore(scenario, options);
    if (!report.findings.empty()) return std::move(report.findings.front());
  }
}

bool Report::found(std::string const& rule) const {
  return std::any_of(findings.begin(), findings.end(), [&](Finding const& finding) {
    return std::any_of(finding.violations.begin(), finding.violations.end(),
                       [&](Violation const& violation) { return violation.rule == rule; });
  });
}

std::string Report::text() const {
  std::ostringstream out;
  out << scenario << ": " << states << " states, " << transitions << " transitions, " << paths
      << " complete paths to " << ends << " ends, up to " << longest << " events";
  for (Finding const& finding : findings) {
    for (Violation const& violation : finding.violations) {
      out << "\n  broken: " << violation.rule << " (" << violation.what << ")";
    }
    for (Event const& event : finding.path) out << "\n    " << event.name;
  }
  return out.str();
}

}  // namespace Interleaving
