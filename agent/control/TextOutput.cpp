#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/CommandLine.h"
#include "agent/control/Output.h"

namespace OrviaL3Agent::Control {
namespace {

std::string cellOf(Json const& value) {
  switch (value.type()) {
    case Json::value_t::null:
      return "-";
    case Json::value_t::boolean:
      return value.get<bool>() ? "yes" : "no";
    case Json::value_t::string:
      return value.get<std::string>().empty() ? "-" : value.get<std::string>();
    case Json::value_t::array: {
      std::string text;
      for (Json const& one : value) text += (text.empty() ? "" : ", ") + cellOf(one);
      return text.empty() ? "-" : text;
    }
    default:
      return value.dump(-1, ' ', false, Json::error_handler_t::replace);
  }
}

// Names are in one word for programs, "groupIds", and people get "GROUP-IDS".
std::string headingOf(std::string const& name) {
  std::string heading;
  for (char const one : name) {
    auto const c = static_cast<unsigned char>(one);
    if (std::isupper(c) != 0 && !heading.empty()) heading += '-';
    heading += static_cast<char>(std::toupper(c));
  }
  return heading;
}

// Characters, as far as a terminal shows one for each: what UTF-8 continues is none of its own.
std::size_t widthOf(std::string const& text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](unsigned char c) { return (c & 0xC0U) != 0x80U; }));
}

// A table that is filled row by row and then printed.
class Aligned {
 public:
  explicit Aligned(std::vector<std::string> const& headings) {
    for (std::string const& heading : headings) {
      cells_.push_back(headingOf(heading));
      columns_.push_back({widthOf(cells_.back()), true});
    }
  }
  void add(Json const& values) {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      Json const& value = values.at(i);
      columns_[i].isNumeric &= value.is_number() || value.is_null();
      cells_.push_back(cellOf(value));
      columns_[i].width = std::max(columns_[i].width, widthOf(cells_.back()));
    }
  }
  void print(std::string const& indent) const {
    fmt::memory_buffer out;
    for (std::size_t at = 0; at < cells_.size();) {
      std::string line = indent;
      for (Column const& column : columns_) {
        std::string const& cell = cells_[at++];
        std::string const space(column.width - widthOf(cell), ' ');
        line += column.isNumeric ? space + cell : cell + space;
        line += "  ";
      }
      line.erase(line.find_last_not_of(' ') + 1);
      fmt::format_to(std::back_inserter(out), "{}\n", line);
    }
    fmt::print("{}", fmt::string_view(out.data(), out.size()));
  }

 private:
  struct Column {
    std::size_t width;
    bool isNumeric;
  };
  std::vector<Column> columns_;
  std::vector<std::string> cells_;  // row by row, the headings first
};

bool isTable(Json const& value) {
  return value.is_array() && !value.empty() && value.front().is_object();
}

void printObject(Json const& object, std::string const& indent);

// An array of objects with the members of the first.
void printTable(Json const& rows, std::string const& indent) {
  std::vector<std::string> columns;
  for (auto const& [name, value] : rows.front().items()) columns.push_back(name);
  Aligned table(columns);
  for (Json const& row : rows) {
    Json values = Json::array();
    for (std::string const& name : columns) values.push_back(row.value(name, Json()));
    table.add(values);
  }
  table.print(indent);
}

void printObject(Json const& object, std::string const& indent) {
  std::size_t width = 0;
  for (auto const& [name, value] : object.items()) {
    if (!value.is_object() && !isTable(value)) width = std::max(width, widthOf(name));
  }
  for (auto const& [name, value] : object.items()) {
    if (value.is_object() || isTable(value)) {
      fmt::print("{}{}\n", indent, name);
      value.is_object() ? printObject(value, indent + "  ") : printTable(value, indent + "  ");
    } else {
      fmt::print("{}{}{}  {}\n", indent, name, std::string(width - widthOf(name), ' '),
                 cellOf(value));
    }
  }
}

class Text final : public Output {
 public:
  void messageIs(Json const& message) override {
    if (auto const row = message.find("row"); row != message.end()) {
      table_.value().add(*row);
      return;
    }
    endTable();
    if (auto const line = message.find("line"); line != message.end()) {
      fmt::print("{}\n", line->get<std::string>());
      isFirst_ = false;
    } else if (auto const table = message.find("table"); table != message.end()) {
      separate();
      table_.emplace(table->at("columns").get<std::vector<std::string>>());
    } else {
      objectIs(message.at("object").at("value"));
    }
  }
  int end() override {
    endTable();
    return kExitOk;
  }

 private:
  void endTable() {
    if (table_) table_->print("");
    table_.reset();
  }
  // What is nothing but a value is printed bare, for scripts.
  void objectIs(Json const& value) {
    separate();
    if (value.is_object() && value.size() == 1 && value.begin().key() == "value") {
      fmt::print("{}\n", cellOf(*value.begin()));
    } else if (value.is_object()) {
      printObject(value, "");
    } else if (isTable(value)) {
      printTable(value, "");
    } else {
      fmt::print("{}\n", cellOf(value));
    }
  }
  void separate() {
    if (!isFirst_) fmt::print("\n");
    isFirst_ = false;
  }

  std::optional<Aligned> table_;
  bool isFirst_ = true;
};

}  // namespace

std::unique_ptr<Output> textOutput() { return std::make_unique<Text>(); }

}  // namespace OrviaL3Agent::Control
