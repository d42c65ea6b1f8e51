// What is enumerated: actors, each with a list of moves in its own order, and a hardware that
// answers whenever it likes.
//
//   Scenario scenario{"two hops"};
//   scenario.actors = {{"hops", {refHop(0, ext(1), 0), drop(0)}}, {"interface", {program(1)}}};
//
// A move is one event: its steps follow each other without anything in between. A move waits until
// the slots that it reads are filled and, where it commits an ingress key, the key is programmed;
// an actor whose move waits for ever ends there. A restart waits until its table holds no record.
// Actors with equal lists of moves are interchangeable: only the order in which the first is ahead
// of the second is taken.
//
// Values; any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/model/Step.h"

namespace Interleaving {

struct Move {
  std::string name;
  std::vector<Model::Step> steps;

  friend bool operator==(Move const&, Move const&) = default;
};

struct Actor {
  std::string name;
  std::vector<Move> moves;
};

// Two names that can be exchanged, throughout the scenario, without changing it: two actors, and
// what they use ("g0" and "g1", "slot 2" and "slot 3").
struct Mirror {
  std::size_t actor = 0;
  std::size_t other = 0;
  std::vector<std::pair<std::string, std::string>> names;
};

// Hardware that answers from within the writes of one event: what it does in each table.
struct AtOnce {
  enum Answer : std::uint32_t { later, accepted, refused };  // as Kind::answerMode has them

  std::string name;
  std::array<Answer, 4> tables;
};

struct Scenario {
  std::string name;
  // Done before anything else, without alternatives; the hardware accepts what they write at once
  // if `beforeIsAnswered`.
  std::vector<Move> before{};
  bool beforeIsAnswered = true;
  std::vector<Actor> actors{};
  std::array<std::vector<Model::Step>, 4> reactions{};
  bool accepts = true;
  bool refuses = false;
  // Whether hardware is quicker than the writer: an event that writes comes also with each of
  // these, beside the one whose writes are answered by later events.
  std::vector<AtOnce> atOnce{};
  // How many answers of a path may stay and so come again.
  unsigned answersTwice = 0;
  // In every state, and not only where a path ends, let go of everything and look what is left.
  bool letGoAnywhere = false;
  // What the toggle says that restarts go by.
  bool clearsOnRestart = true;
  // The answers of member rows, which change nothing, are events as well.
  bool memberAnswers = false;
  std::vector<Mirror> mirrors{};
  // Done before everything is let go: what callers must do so that nothing holds itself.
  std::vector<Model::Step> untangle{};
};

// --- What steps refer to.

// A handle: one of the externs, what is in a slot, or nothing.
struct Ref {
  std::uint32_t number = 0;
};
constexpr Ref nothing() { return {0}; }
constexpr Ref ext(std::uint32_t n) { return {1 + n}; }
constexpr Ref slot(std::uint32_t n) { return {7 + n}; }

// The slot for handles that nobody keeps.
inline constexpr std::uint32_t spareSlot = 5;

// --- Moves.

// A row and success for an extern; its end as something programmed.
Move program(std::uint32_t externNumber);
Move giveRow(std::uint32_t externNumber);
Move giveState(std::uint32_t externNumber, std::uint32_t state);

struct HopRecord {
  Ref l3Oif1;
  Ref mtuProfile = nothing();
  std::uint32_t destination = 0;
};
// Commits let go of the returned handle at once unless `keep` says a slot.
Move commitHop(std::uint32_t key, HopRecord record, std::uint32_t handler = 0,
               std::uint32_t keep = spareSlot);
Move refHop(std::uint32_t key, HopRecord record, std::uint32_t keep, std::uint32_t handler = 0);
Move commitIngress(std::uint32_t externNumber, HopRecord record, std::uint32_t handler = 0,
                   std::uint32_t keep = spareSlot);
Move refBlock(std::vector<Ref> const& members, std::uint32_t keep);
Move commitGroup(std::uint32_t key, Ref block, std::uint32_t handler = 0,
                 std::uint32_t numPaths = 0, std::uint32_t keep = spareSlot);
Move refGroup(std::uint32_t key, Ref block, std::uint32_t keep, std::uint32_t handler = 0);
Move removeIngress(std::uint32_t externNumber);
Move removeHop(std::uint32_t key);
Move removeGroup(std::uint32_t key);
Move drop(std::uint32_t slotNumber);
// Tables by their numbers: 0 ingress, 1 hop, 2 member, 3 group.
Move destroy(std::uint32_t table);
// Hardware cannot be called any more, or again; it is taken away, or put back.
Move notReady(std::uint32_t table);
Move ready(std::uint32_t table);
Move takeHwTable(std::uint32_t table);
Move giveHwTable(std::uint32_t table);
// The table meets what its hardware holds from before.
Move restart(std::uint32_t table);
// The table has so few rows: one for a next hop or a group, three for members. Before its first row
// is taken.
Move fewRows(std::uint32_t table);
// Only in a reaction, which ends there.
Move raise();
// One event for all of them.
Move together(std::vector<Move> const& moves);

// All writes of an event answered from within: accepted, refused; only those of next hops accepted,
// and groups refused as well.
AtOnce allAccepted();
AtOnce allRefused();
AtOnce hopsAccepted();
AtOnce hopsAcceptedGroupsRefused();

// The slots that a step reads, by number.
std::vector<std::uint32_t> slotsRead(Model::Step const& step);

}  // namespace Interleaving
