#include "View.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace Interleaving {

std::vector<Text> split(Text text, char at) {
  std::vector<Text> parts;
  parts.reserve(12);  // the words of the longest lines: one allocation
  for (;;) {
    std::size_t const end = text.find(at);
    parts.push_back(text.substr(0, end));
    if (end == Text::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

unsigned numberOf(Text text) {
  unsigned number = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    throw std::invalid_argument("not a number: " + std::string(text));
  }
  return number;
}

Row rowOf(Text text) { return text == "none" ? Row() : Row(numberOf(text)); }

std::optional<Table> tableOf(Text name) {
  auto const found = std::find(tableNames.begin(), tableNames.end(), name);
  if (found == tableNames.end()) return {};
  return static_cast<Table>(found - tableNames.begin());
}

std::vector<std::pair<unsigned, Text>> needs(Table table, Text record) {
  std::vector<std::pair<unsigned, Text>> result;
  auto const add = [&](unsigned slot, Text handle) {
    if (handle != "none" && handle != "-" && !handle.empty()) result.emplace_back(slot, handle);
  };
  if (table == member) {
    unsigned position = 0;
    for (Text const handle : split(record.substr(1, record.size() - 2), ',')) {
      add(position++, handle);
    }
    return result;
  }
  std::vector<Text> const fields = split(record, '/');
  if (table == group) {
    add(3, fields[0]);
  } else {
    add(9, fields[0]);
    add(12, fields[1]);
  }
  return result;
}

View::View(Model::Lines lines) : lines_(std::move(lines)) {
  for (std::string const& line : lines_) read(split(line, ' '));
}

bool View::programmed(Text handle) const {
  auto const found = handles_.find(handle);
  return found != handles_.end() && found->second.programmed();
}

void View::read(std::vector<Text> const& words) {
  if (words[0] == "live") {
    tables_[tableOf(words[1]).value()].live[words[2]] = std::stol(std::string(words[3]));
  } else if (words[0] == "slot") {
    slots_[numberOf(words[1])] = words[2];
  } else if (words[0] == "waits") {
    waiting_.push_back({numberOf(words[1]), tableOf(words[2]).value(), words[3]});
  } else if (auto const table = tableOf(words[0])) {
    readOfTable(tables_[*table], words);
  } else {
    // "<handle> row <row> state <state>", and of a table's handle " mode <mode> handler <handler>"
    handles_[words[0]] = {rowOf(words[2]), numberOf(words[4]),
                          words.size() > 8 ? numberOf(words[8]) : 0};
  }
}

void View::readOfTable(TableView& table, std::vector<Text> const& words) {
  Text const what = words[1];
  if (what == "record") {
    table.records[words[2]] = words[3];
  } else if (what == "committed") {
    table.records[words[2]] = words[2];
  } else if (what == "parked") {
    bool const block = words[0] == tableNames[member];
    std::size_t const counts = block ? 4 : 5;
    Parked parked{
        words[2], words[block ? 2 : 3], numberOf(words[counts]), numberOf(words[counts + 2]), {}};
    if (words[counts + 4] != "-") {
      for (Text const slot : split(words[counts + 4], ',')) {
        parked.watching.push_back(numberOf(slot));
      }
    }
    table.parked.push_back(std::move(parked));
  } else if (what == "pending") {
    table.pending[words[2]] = {words[3], words[4] == "on"};
  } else if (what == "owns") {
    table.owned[words[2]] = words[3];
  } else if (what == "registered") {
    table.registered[words[2]] = words[3];
  } else if (what == "row" || what == "run") {
    table.rows.emplace_back(words[2], numberOf(words[3]));
  } else if (what == "lost") {
    table.lostRows = numberOf(words[2]);
  } else if (what == "hardware") {
    table.hardware[numberOf(words[2])] = words[3];
  } else {
    throw std::invalid_argument("a snapshot's line about " + std::string(what));
  }
}

}  // namespace Interleaving
