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
// What was written, or taken out, while hardware could not be called is left as it was there.
inline constexpr char const* hardware = "hardware holds what the software holds, in its row";
inline constexpr char const* blockFirst = "a block's rows are written before its group's";
inline constexpr char const* hopFirst = "a next hop is accepted before a member row names it";
inline constexpr char const* pointers = "what a hardware row points at is in hardware";
inline constexpr char const* answered = "only an answer for its row changes a handle's state";
inline constexpr char const* reset = "a handle shows 0 while its row is written";
// Records that hardware was not asked for wait for nothing.
inline constexpr char const* awaited = "a written record is answered or waits for an answer";
// One that an exception ended in the middle of its write stays parked as well.
inline constexpr char const* forgotten = "a record whose needs are programmed is written";
inline constexpr char const* counted = "a block counts each member once";
inline constexpr char const* held = "a key holds what was written last";
inline constexpr char const* objects = "live objects are those that can be seen";
inline constexpr char const* journal = "the calls add up to what hardware holds";
inline constexpr char const* leftovers = "nothing is left when all is let go";
inline constexpr char const* late = "an answer that comes too late meets nobody";
inline constexpr char const* ready = "hardware is called while it is ready, and only then";
inline constexpr char const* room = "only a full table refuses a row";
inline constexpr char const* restart = "a restart asks hardware for one thing, by its toggle";
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
  std::optional<AtOnce> atOnce{};  // how the writes of this event are answered
};

// What became of the rows of one table, by the row: they may outlive their records, or never come
// to be, while hardware cannot be called.
struct RowCourse {
  bool ready = true;
  bool attached = true;
  std::map<unsigned, std::string> owned;    // the records that have rows
  std::map<unsigned, std::string> written;  // what hardware must hold
  std::set<unsigned> unasked;               // where the record was never handed to hardware
  std::set<unsigned> orphans;               // where hardware still holds a record that is gone

  [[nodiscard]] bool callable() const { return ready && attached; }
};

// "hop parked k0", "group pending g1"
std::string reactorName(Text table, Text kind, Text key);

class Course {
 public:
  Course(Scenario const& scenario, Model::Lines snapshot);

  // Goes on by an event that has just happened. An event changes records or what hardware can do,
  // not both.
  Violations follow(Event const& event, Model::Lines const& log, Model::Lines snapshot);

  [[nodiscard]] View const& view() const { return *view_; }
  // Tables that are gone.
  [[nodiscard]] bool gone(Table table) const { return gone_[table]; }
  [[nodiscard]] unsigned handlerCalls() const { return handlerCalls_; }
  [[nodiscard]] RowCourse const& rows(Table table) const { return rows_[table]; }
  // "group parked g1": a record that is still parked although it is in the table, since an
  // exception ended the operation in between.
  [[nodiscard]] bool endedByException(std::string const& reactor) const {
    return ended_.contains(reactor);
  }
  // Whether the last event wrote what is answered in this way.
  [[nodiscard]] bool hasWritten(AtOnce const& how) const;
  // What was learned beyond the snapshot, as far as rules look at it.
  [[nodiscard]] Model::Lines memory() const;
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
  // Whether the handle is the one that its key has now.
  [[nodiscard]] bool isKeys(Table table, Text handle) const;
  // Whether no run of that width is free.
  [[nodiscard]] bool isFull(View const& view, Table table, unsigned width) const;
  void checkPointers(Text after);
  // Whether hardware holds the run of the block handle at the row, whole.
  [[nodiscard]] bool runIsWhole(std::string const& blockHandle, unsigned base) const;
  void checkHeld(Event const& event, View const& before, Model::Lines const& log);
  void checkHeard(View const& before, Model::Lines const& log);
  // The handler that hears an answer for the handle; 0 when nobody does.
  [[nodiscard]] unsigned handlerOf(View const& before, Text handle) const;
  void checkRestart(Event const& event, Model::Lines const& log);
  void checkReactions(Event const& event, View const& before, Model::Lines const& log);
  void learnBlocks();
  void learnReactors(View const& before);
  void learnRows();
  void learnExceptions(View const& before, Model::Lines const& log);
  void startReaction(unsigned handler);

  Scenario const* scenario_;
  std::set<unsigned> ingressHandlers_;  // that are given with ingress keys
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
  std::array<RowCourse, 4> rows_{};
  std::array<unsigned, 4> rowCounts_{0, 6, 8, 6};
  std::map<std::string, std::string> ended_;    // reactors, with their records
  std::map<std::string, std::string> rowless_;  // "hop k0", with the record that got no row
  std::set<std::string> runs_;                  // registered blocks
  unsigned blockHandles_ = 0;                   // that were ever named
  // Of the last event.
  bool reacted_ = false;                                             // a handler did something
  unsigned reactions_ = 0;                                           // how many did
  std::vector<Model::Step> reactionSteps_;                           // what they did
  std::map<std::pair<Table, std::string>, unsigned> answersAtOnce_;  // to its writes so far
  std::array<bool, 4> wrote_{};
  Violations found_;
};

// What must hold between two events.
Violations atRest(Course const& course);
// What must hold when callers have let go of everything and the tables are still there.
Violations whenLetGo(Course const& course);

}  // namespace Interleaving
