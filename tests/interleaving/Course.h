// How a path got to its present state: what the log told so far, as far as rules and the comparison
// of states need it, and the rules themselves, checked event by event.
//
//   Course course(scenario, world.snapshot());
//   Violations found = course.follow(event, world.takeLog(), world.snapshot());
//
// A course is a value: the other branches of a path go on from a copy. One thread.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Scenario.h"
#include "View.h"

namespace Interleaving {

// The names of the rules, by what must hold.
namespace rule {
inline constexpr char const* handlers = "a handler hears 1 or 2";
inline constexpr char const* heard = "a handler hears each answer that changes its handle, once";
inline constexpr char const* rowOwner = "a row has one owner";
inline constexpr char const* rowLeak = "a taken row belongs to a committed record or block";
inline constexpr char const* hardware = "hardware holds what the software holds, in its row";
inline constexpr char const* blockFirst = "a block's rows are written before its group's";
inline constexpr char const* hopFirst = "a next hop is accepted before a member row names it";
inline constexpr char const* pointers = "what a hardware row points at is in hardware";
inline constexpr char const* answered = "only an answer for its row changes a handle's state";
inline constexpr char const* reset = "a handle shows 0 while its row is written";
inline constexpr char const* awaited = "a written record is answered or waits for an answer";
inline constexpr char const* forgotten = "a record whose needs are programmed is written";
inline constexpr char const* counted = "a block counts each member once";
inline constexpr char const* held = "a key holds what was written last";
inline constexpr char const* objects = "live objects are those that can be seen";
inline constexpr char const* journal = "the calls add up to what hardware holds";
inline constexpr char const* leftovers = "nothing is left when all is let go";
inline constexpr char const* late = "an answer that comes too late meets nobody";
inline constexpr char const* progress = "a state is not reached from itself";
}  // namespace rule

struct Violation {
  std::string rule;
  std::string what;
};
using Violations = std::vector<Violation>;

struct Answer {
  Table table;
  std::string what;  // the row, or the key of an ingress write
  unsigned state;
  bool stays = false;
};

struct Event {
  std::string name;
  std::vector<Model::Step> steps;
  std::optional<std::size_t> actor{};  // whose move it is
  std::optional<Answer> answer{};
};

class Course {
 public:
  Course(Scenario const& scenario, Model::Lines snapshot);

  // Goes on by an event that has just happened.
  Violations follow(Event const& event, Model::Lines const& log, Model::Lines snapshot);

  [[nodiscard]] View const& view() const { return *view_; }
  // Tables that are gone.
  [[nodiscard]] bool gone(Table table) const { return gone_[table]; }
  [[nodiscard]] unsigned handlerCalls() const { return handlerCalls_; }
  // When the reactors of a parked record or of a response began to watch, for their order:
  // "hop parked k0", "group pending g1".
  [[nodiscard]] unsigned born(std::string const& reactor) const;
  // The positions that a parked block has counted.
  [[nodiscard]] std::set<unsigned> const& positionsCounted(std::string const& block) const;

 private:
  void tell(char const* rule, std::string what);
  void read(Event const& event, Text line);
  void written(Table table, unsigned row, Text record);
  void stateOf(Event const& event, Text handle, unsigned state);
  void checkPointers(Text after);
  // Whether hardware holds the run of the block handle at the row, whole.
  [[nodiscard]] bool runIsWhole(std::string const& blockHandle, unsigned base) const;
  void checkHeld(Event const& event, View const& before);
  void checkHeard(Event const& event, View const& before, Model::Lines const& log);
  void learnBlocks();
  void learnReactors(View const& before);

  Scenario const* scenario_;
  std::shared_ptr<View const> view_;
  std::array<std::map<unsigned, std::string>, 4> image_;  // hardware, from the calls
  std::map<std::string, std::string> blocks_;             // of the handles of blocks
  std::map<std::string, Row> rowsTold_;                   // of the handles that are there
  std::map<std::string, unsigned> statesTold_;
  std::set<std::string> accepted_;  // "hop#1@2"
  std::array<bool, 4> gone_{};
  std::map<std::string, unsigned> births_;
  std::map<std::string, std::set<unsigned>> counted_;
  unsigned clock_ = 0;
  unsigned handlerCalls_ = 0;
  bool reacted_ = false;  // whether a handler did something in the last event
  Violations found_;
};

// What must hold between two events.
Violations atRest(Course const& course);
// What must hold when callers have let go of everything and the tables are still there.
Violations whenLetGo(Course const& course);

}  // namespace Interleaving
