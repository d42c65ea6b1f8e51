// What must hold between two events, and when everything was let go.

#include <algorithm>
#include <set>

#include "Course.h"

namespace Interleaving {
namespace {

std::string number(unsigned long n) { return std::to_string(n); }

// What a hardware row was given, without the rows of what it points at.
std::string withoutRows(Text written) {
  std::string result;
  bool skips = false;
  for (char const c : written) {
    if (c == '@') skips = true;
    if (c == '/' || c == ',') skips = false;
    if (!skips) result += c;
  }
  return result;
}

class Rest {
 public:
  explicit Rest(Course const& course) : course_(course), view_(course.view()) {}

  Violations check() {
    for (unsigned table = 0; table < tableNames.size(); ++table) {
      table_ = static_cast<Table>(table);
      now_ = &view_.table(table);
      checkObjects();
      checkParked();
      if (course_.gone(table_)) continue;
      if (table_ == ingress) {
        checkKeyRows();
        continue;
      }
      checkOwners();
      checkHardware();
      if (table_ != member) checkAnswers();
    }
    return std::move(found_);
  }

 private:
  void tell(char const* rule, std::string const& what) {
    found_.push_back({rule, std::string(tableNames[table_]) + ": " + what});
  }

  static unsigned width(Text block) {
    return static_cast<unsigned>(std::count(block.begin(), block.end(), ',') + 1);
  }

  // Every row that the allocator gave away is one key's, and that key has a record.
  void checkOwners() {
    std::set<unsigned> taken;
    std::set<Text> keys;
    for (auto const& [key, first] : now_->rows) {
      if (!keys.insert(key).second) tell(rule::rowOwner, std::string(key) + " has two rows");
      for (unsigned row = first; row < first + (table_ == member ? width(key) : 1); ++row) {
        if (!taken.insert(row).second) tell(rule::rowOwner, "row " + number(row));
      }
      if (!now_->records.contains(key)) {
        tell(rule::rowLeak, std::string(key) + " has row " + number(first));
      }
    }
    if (now_->lostRows != 0) tell(rule::rowLeak, number(now_->lostRows) + " rows of nobody");
  }

  // Hardware holds each row as its record was when hardware was last asked for it, and what was
  // left behind.
  void checkHardware() { compareHardware(course_.rows(table_).written); }
  void checkKeyRows() {
    std::set<unsigned> taken;
    for (auto const& [key, record] : now_->records) {
      Row const row = view_.handles().at(key).row;
      if (!row) {
        tell(rule::hardware, std::string(key) + " has no row");
      } else if (!taken.insert(*row).second) {
        tell(rule::rowOwner, "row " + number(*row));
      }
    }
    checkHardware();
  }
  void compareHardware(std::map<unsigned, std::string> const& expected) {
    for (auto const& [row, written] : now_->hardware) {
      auto const found = expected.find(row);
      if (found != expected.end() && found->second == withoutRows(written)) continue;
      tell(rule::hardware, "row " + number(row) + " holds " + std::string(written));
    }
    for (auto const& [row, record] : expected) {
      if (!now_->hardware.contains(row))
        tell(rule::hardware, record + " is not in row " + number(row));
    }
  }

  // A record that was written keeps its handle at 0 only while an answer for its row is to come.
  void checkAnswers() {
    for (auto const& [key, row] : now_->rows) {
      if (course_.rows(table_).unasked.contains(row)) continue;
      auto const handle = now_->registered.find(key);
      if (handle == now_->registered.end()) continue;
      if (view_.handles().at(handle->second).state != 0) continue;
      bool const waits = std::any_of(view_.waiting().begin(), view_.waiting().end(),
                                     [&, row = row](Waiting const& waiting) {
                                       return waiting.table == table_ && rowOf(waiting.what) == row;
                                     });
      if (!waits) tell(rule::awaited, std::string(key) + " in row " + number(row));
    }
  }

  // What is parked waits for a handle that is not programmed, or has counted past its number, which
  // blocks cannot, or is written and was kept by an exception.
  void checkParked() {
    for (Parked const& parked : now_->parked) {
      auto const handles = needs(table_, parked.record);
      bool const complete =
          !handles.empty() && std::all_of(handles.begin(), handles.end(), [&](auto const& need) {
            return view_.programmed(need.second);
          });
      bool const passed = parked.seen > parked.needed;
      std::string const what = std::string(parked.key) + " has seen " + number(parked.seen) +
                               " of " + number(parked.needed);
      bool const ended =
          course_.endedByException(reactorName(tableNames[table_], "parked", parked.key));
      if (complete && !passed && !ended) tell(rule::forgotten, what);
      if (table_ == member && passed) tell(rule::counted, what);
    }
  }

  void checkObjects() {
    std::size_t watchers = 0;
    for (Parked const& parked : now_->parked) watchers += parked.watching.size();
    std::string const prefix = std::string(tableNames[table_]) + "#";
    auto const handles =
        std::count_if(view_.handles().begin(), view_.handles().end(),
                      [&](auto const& handle) { return handle.first.starts_with(prefix); });
    expectLive("EntryHandle", static_cast<std::size_t>(handles));
    expectLive(table_ == member ? "UnresolvedEntryBlock" : "UnresolvedEntry", now_->parked.size());
    expectLive("NeededEntryHandleSm", watchers);
    if (table_ != member) expectLive("PendingEntrySm", now_->pending.size());
  }
  void expectLive(Text type, std::size_t expected) {
    auto const live = now_->live.find(type);
    if (live != now_->live.end() && live->second == static_cast<long>(expected)) return;
    tell(rule::objects, std::string(type) + ", " + number(expected) + " to be seen, " +
                            (live == now_->live.end() ? "none" : std::to_string(live->second)) +
                            " live");
  }

  Course const& course_;
  View const& view_;
  Table table_ = ingress;
  TableView const* now_ = nullptr;
  Violations found_;
};

}  // namespace

Violations atRest(Course const& course) { return Rest(course).check(); }

Violations whenLetGo(Course const& course) {
  Violations found;
  auto const tell = [&](Text what) { found.push_back({rule::leftovers, std::string(what)}); };
  View const& view = course.view();
  for (unsigned table = 0; table < tableNames.size(); ++table) {
    if (course.gone(static_cast<Table>(table))) continue;
    TableView const& now = view.table(table);
    if (!now.records.empty()) tell(now.records.begin()->first);
    if (!now.parked.empty()) tell(now.parked.front().key);
    if (!now.owned.empty()) tell(now.owned.begin()->second);
    if (!now.registered.empty()) tell(now.registered.begin()->second);
    if (!now.rows.empty() || now.lostRows != 0) tell("a row of a table's allocator");
    for (auto const& [row, written] : now.hardware) {
      // Hardware could not be called when its record went.
      if (!course.rows(static_cast<Table>(table)).orphans.contains(row)) tell("a hardware row");
    }
    // The reactor of a handle that ended stays with the table, for the next record of its key.
    for (auto const& [key, pending] : now.pending) {
      if (pending.handle != "none") tell(pending.handle);
    }
  }
  for (auto const& [handle, state] : view.handles()) {
    if (handle.find('#') != Text::npos) tell(handle);
  }
  return found;
}

}  // namespace Interleaving
