#include <fmt/format.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "agent/CommandLine.h"
#include "agent/control/Output.h"
#include "agent/control/Svg.h"

namespace OrviaL3Agent::Control {
namespace {

std::string dumped(Json const& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// One object. Rows are printed as they come; lines wait, since they may come between other things
// and are one array.
class Document final : public Output {
 public:
  void messageIs(Json const& message) override {
    if (auto const row = message.find("row"); row != message.end()) {
      rowIs(*row);
    } else if (auto const line = message.find("line"); line != message.end()) {
      hasLines_ = true;
      lines_ += (lines_.empty() ? "\n" : ",\n") + dumped(*line);
    } else if (auto const table = message.find("table"); table != message.end()) {
      columns_ = table->at("columns").get<std::vector<std::string>>();
      member(table->at("name"));
      fmt::print("[");
      inTable_ = true;
      isFirstRow_ = true;
    } else {
      Json const& object = message.at("object");
      member(object.at("name"));
      fmt::print("{}", dumped(object.at("value")));
    }
  }
  int end() override {
    if (hasLines_) {
      member("lines");
      fmt::print("[{}\n]", lines_);
    }
    endTable();
    fmt::print("{}}}\n", isFirst_ ? "{" : "");
    return kExitOk;
  }

 private:
  void rowIs(Json const& values) {
    if (!inTable_) throw std::runtime_error("a row without a table");
    Json row = Json::object();
    for (std::size_t i = 0; i < columns_.size(); ++i) row[columns_[i]] = values.at(i);
    fmt::print("{}\n{}", isFirstRow_ ? "" : ",", dumped(row));
    isFirstRow_ = false;
  }
  void member(Json const& name) {
    endTable();
    fmt::print("{}{}:", isFirst_ ? "{" : ",\n", dumped(name));
    isFirst_ = false;
  }
  void endTable() {
    if (inTable_) fmt::print("\n]");
    inTable_ = false;
  }

  std::vector<std::string> columns_;
  std::string lines_;
  bool hasLines_ = false;
  bool isFirst_ = true;
  bool inTable_ = false;
  bool isFirstRow_ = true;
};

class Lines final : public Output {
 public:
  void messageIs(Json const& message) override { fmt::print("{}\n", dumped(message)); }
  int end() override { return kExitOk; }
};

class Svg final : public Output {
 public:
  void messageIs(Json const& message) override {
    graph_ += message.at("line").get<std::string>() + "\n";
  }
  int end() override { return printSvg(graph_); }

 private:
  std::string graph_;
};

}  // namespace

std::unique_ptr<Output> jsonOutput() { return std::make_unique<Document>(); }
std::unique_ptr<Output> jsonLinesOutput() { return std::make_unique<Lines>(); }
std::unique_ptr<Output> svgOutput() { return std::make_unique<Svg>(); }

}  // namespace OrviaL3Agent::Control
