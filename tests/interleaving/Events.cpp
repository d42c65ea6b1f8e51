#include "Events.h"

#include <algorithm>

namespace Interleaving {
namespace {

using Model::Kind;
using Model::Step;

// Whether the same move fills the slot ahead of the step.
bool isFilled(std::vector<Step> const& steps, Step const& reads, std::uint32_t slot) {
  for (Step const& step : steps) {
    if (&step == &reads) return false;
    bool const writes = step.kind >= Kind::ingressCommit && step.kind <= Kind::memberWrite;
    if (writes && step.n[4] == slot) return true;
  }
  return false;
}

bool canMove(Scenario const& scenario, Situation const& now, bool inOrder, std::size_t actor) {
  auto const& moves = scenario.actors[actor].moves;
  std::size_t const position = now.positions[actor];
  if (position == moves.size()) return false;
  for (std::size_t first = 0; inOrder && first < actor; ++first) {
    if (scenario.actors[first].moves == moves && now.positions[first] <= position) return false;
  }
  View const& view = now.course.view();
  auto const& steps = moves[position].steps;
  return std::all_of(steps.begin(), steps.end(), [&](Step const& step) {
    if (step.kind == Kind::ingressCommit && !view.programmed("e" + std::to_string(step.n[0]))) {
      return false;
    }
    // Otherwise the process would end.
    if (step.kind == Kind::syncEntries && !view.table(step.n[0] % 4).records.empty()) return false;
    auto const slots = slotsRead(step);
    return std::all_of(slots.begin(), slots.end(), [&](std::uint32_t slot) {
      return view.slots().contains(slot) || isFilled(steps, step, slot);
    });
  });
}

}  // namespace

Event answeredAtOnce(Event const& event, AtOnce const& how) {
  Event result = event;
  result.name += ", " + how.name;
  result.atOnce = how;
  result.steps.clear();
  for (std::uint32_t table = 0; table < how.tables.size(); ++table) {
    if (how.tables[table] == AtOnce::later) continue;
    result.steps.push_back({Kind::answerMode, {table, how.tables[table]}});
  }
  result.steps.insert(result.steps.end(), event.steps.begin(), event.steps.end());
  for (std::uint32_t table = 0; table < how.tables.size(); ++table) {
    if (how.tables[table] == AtOnce::later) continue;
    result.steps.push_back({Kind::answerMode, {table, AtOnce::later}});
  }
  return result;
}

Event answerTo(Waiting const& waiting, unsigned state, bool stays) {
  std::string name = std::string("hardware ") + (state == 1 ? "accepts " : "refuses ") +
                     std::string(tableNames[waiting.table]) + " " + std::string(waiting.what);
  if (stays) name += ", which comes again";
  return {std::move(name),
          {{Kind::answer, {waiting.index, state - 1, stays ? 1U : 0U}}},
          {},
          Answer{waiting.table, std::string(waiting.what), state, stays}};
}

std::vector<Event> eventsFrom(Scenario const& scenario, Situation const& now, bool inOrder) {
  std::vector<Event> events;
  for (std::size_t actor = 0; actor < scenario.actors.size(); ++actor) {
    if (!canMove(scenario, now, inOrder, actor)) continue;
    Actor const& who = scenario.actors[actor];
    Move const& move = who.moves[now.positions[actor]];
    events.push_back({who.name + " " + move.name, move.steps, actor, {}});
  }
  auto const& waiting = now.course.view().waiting();
  for (auto at = waiting.begin(); at != waiting.end(); ++at) {
    // Answers to the same row are one.
    bool const again = std::any_of(waiting.begin(), at, [&](Waiting const& earlier) {
      return earlier.table == at->table && earlier.what == at->what;
    });
    if (again) continue;
    for (bool const stays : {false, true}) {
      if (stays && now.answersTwice >= scenario.answersTwice) continue;
      if (scenario.accepts) events.push_back(answerTo(*at, 1, stays));
      if (scenario.refuses) events.push_back(answerTo(*at, 2, stays));
    }
  }
  return events;
}

}  // namespace Interleaving
