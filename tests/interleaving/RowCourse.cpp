// What becomes of rows while hardware cannot be called, and of records whose write was ended by an
// exception.

#include <algorithm>
#include <utility>

#include "Course.h"

namespace Interleaving {
namespace {

constexpr std::array<Table, 4> tables{ingress, hop, member, group};
constexpr Text noRow = "raises no free run of width ";

// The records that have rows, by the row.
std::map<unsigned, std::string> ownedRows(View const& view, Table table) {
  std::map<unsigned, std::string> owned;
  TableView const& now = view.table(table);
  if (table == ingress) {
    for (auto const& [key, record] : now.records) {
      if (Row const row = view.handles().at(key).row) owned[*row] = record;
    }
    return owned;
  }
  for (auto const& [key, first] : now.rows) {
    auto const record = now.records.find(key);
    if (record == now.records.end()) continue;
    if (table != member) {
      owned[first] = record->second;
      continue;
    }
    for (auto const& [position, handle] : needs(member, key)) owned[first + position] = handle;
  }
  return owned;
}

unsigned widthOf(Table table, Text key) {
  if (table != member) return 1;
  return static_cast<unsigned>(std::count(key.begin(), key.end(), ',') + 1);
}

}  // namespace

void Course::learnRows() {
  for (Table const table : tables) {
    if (gone_[table]) continue;
    RowCourse& rows = rows_[table];
    std::map<unsigned, std::string> now = ownedRows(*view_, table);
    for (auto const& [row, record] : rows.owned) {
      if (now.contains(row)) continue;
      rows.unasked.erase(row);
      if (rows.callable()) {
        rows.written.erase(row);
        rows.orphans.erase(row);
      } else if (rows.written.contains(row)) {
        rows.orphans.insert(row);
      }
    }
    for (auto const& [row, record] : now) {
      auto const old = rows.owned.find(row);
      if (old != rows.owned.end() && old->second == record) continue;
      if (rows.callable()) {
        rows.written[row] = record;
        rows.unasked.erase(row);
        rows.orphans.erase(row);
      } else {
        rows.unasked.insert(row);
      }
    }
    rows.owned = std::move(now);
  }
}

bool Course::isFull(View const& view, Table table, unsigned width) const {
  unsigned const size = rowCounts_.at(table);
  // Row 0 is reserved, but not in a table of few rows.
  unsigned next = table != member && size > 1 ? 1 : 0;
  std::map<unsigned, unsigned> taken;
  for (auto const& [key, first] : view.table(table).rows) taken[first] = widthOf(table, key);
  for (auto const& [first, rows] : taken) {
    if (first >= next + width) return false;
    next = std::max(next, first + rows);
  }
  return size < next + width;
}

void Course::learnExceptions(View const& before, Model::Lines const& log) {
  // Of several exceptions in one event, only the first is told.
  bool raised = false;
  for (std::string const& line : log) {
    if (!line.starts_with("raises ")) continue;
    raised = true;
    if (!line.starts_with(noRow)) continue;
    unsigned const width = numberOf(split(Text(line).substr(noRow.size()), ':')[0]);
    bool const isTrue = std::any_of(tables.begin(), tables.end(), [&](Table table) {
      // Full ahead of the event or, when it gave rows back, behind it.
      return table != ingress && (isFull(before, table, width) || isFull(*view_, table, width));
    });
    if (!isTrue) tell(rule::room, line);
  }

  std::map<std::string, std::string> ended;
  std::map<std::string, std::string> rowless;
  for (Table const table : tables) {
    TableView const& now = view_->table(table);
    for (Parked const& parked : now.parked) {
      auto const record = now.records.find(parked.key);
      if (record == now.records.end() || record->second != parked.record) continue;
      std::string const name = reactorName(tableNames[table], "parked", parked.key);
      auto const known = ended_.find(name);
      if (raised || (known != ended_.end() && known->second == parked.record)) {
        ended.emplace(name, parked.record);
      }
    }
    if (table == ingress || gone_[table]) continue;
    std::set<Text> withRow;
    for (auto const& [key, row] : now.rows) withRow.insert(key);
    for (auto const& [key, record] : now.records) {
      if (withRow.contains(key)) continue;
      std::string const name = std::string(tableNames[table]) + " " + std::string(key);
      unsigned const width = widthOf(table, key);
      auto const known = rowless_.find(name);
      bool const wasRefused =
          raised && (isFull(before, table, width) || isFull(*view_, table, width));
      if (!wasRefused && (known == rowless_.end() || known->second != record)) {
        tell(rule::room, name + " has no row");
      }
      rowless.emplace(name, record);
    }
  }
  ended_ = std::move(ended);
  rowless_ = std::move(rowless);
}

void Course::checkRestart(Event const& event, Model::Lines const& log) {
  Model::Lines expected;
  bool restarts = false;
  for (Model::Step const& step : event.steps) {
    Table const table = static_cast<Table>(step.n[0] % 4);
    if (step.kind != Model::Kind::syncEntries || gone_[table]) continue;
    restarts = true;
    if (table == ingress) {
      expected.push_back("ingress sync");
    } else if (scenario_->clearsOnRestart) {
      expected.push_back(std::string(tableNames[table]) + " delete all");
    }
  }
  if (!restarts || log == expected) return;
  tell(rule::restart, event.name + ": " + (log.empty() ? "nothing" : log.front()));
}

bool Course::hasWritten(AtOnce const& how) const {
  for (Table const table : tables) {
    if (wrote_[table] && how.tables[table] != AtOnce::later) return true;
  }
  return false;
}

Model::Lines Course::memory() const {
  Model::Lines lines;
  for (Table const table : tables) {
    RowCourse const& rows = rows_[table];
    std::string const name(tableNames[table]);
    if (gone_[table]) lines.push_back("gone " + name);
    if (!rows.ready) lines.push_back("not ready " + name);
    if (!rows.attached) lines.push_back("detached " + name);
    for (unsigned const row : rows.unasked) {
      lines.push_back("unasked " + name + " " + std::to_string(row));
    }
    for (unsigned const row : rows.orphans) {
      lines.push_back("orphan " + name + " " + std::to_string(row));
    }
  }
  for (auto const& [name, record] : ended_) lines.push_back("ended " + name + " " + record);
  for (auto const& [name, record] : rowless_) lines.push_back("rowless " + name + " " + record);
  return lines;
}

}  // namespace Interleaving
