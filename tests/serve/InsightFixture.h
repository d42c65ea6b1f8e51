// Asks an agent why something is not in its hardware, who holds a row, and for its graph, through
// the verbs and without a socket.
//
//   class SubjectTest : public InsightFixture {};
//   TEST_F(SubjectTest, DoesSomething) {
//     feed(announceRouted(1, 3, "10.0.0.1"));
//     EXPECT_EQ(ask({"why"}).rows("causes").size(), 0U);
//   }
//
// One slice of a job is one turn of the agent, as with a client.
#pragma once

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "agent/Agent.h"
#include "agent/control/Job.h"
#include "agent/serve/FpmServer.h"
#include "tests/agent/ParsedStream.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent::Testing {

// What a job has answered.
class Collected final : public Control::Answer {
 public:
  using Json = Control::Json;

  void tableIs(std::string const& name, std::vector<std::string> const& columns) override {
    columns_ = columns;
    table_ = name;
    tables[name] = Json::array();
  }
  void row(Json values) override {
    if (values.size() != columns_.size()) throw std::logic_error("a row of another length");
    Json object = Json::object();
    for (std::size_t i = 0; i < columns_.size(); ++i) object[columns_[i]] = values[i];
    tables.at(table_).push_back(std::move(object));
  }
  void object(std::string const& name, Json value) override { objects[name] = std::move(value); }
  void line(std::string const& text) override { lines.push_back(text); }

  [[nodiscard]] Json const& rows(std::string const& table) const { return tables.at(table); }
  // The row of that entry. Throws std::out_of_range.
  [[nodiscard]] Json const& row(std::string const& table, std::string const& entry) const {
    for (Json const& row : rows(table)) {
      if (row["entry"] == entry) return row;
    }
    throw std::out_of_range(entry + " is not in " + tables.at(table).dump(1));
  }
  // "0 group 1: parked", a line each, in the order of the rows.
  [[nodiscard]] std::vector<std::string> steps(std::string const& table, char const* text) const {
    std::vector<std::string> steps;
    for (Json const& row : rows(table)) {
      steps.push_back(row["level"].dump() + " " + row["entry"].get<std::string>() +
                      (row[text].is_null() ? "" : ": " + row[text].get<std::string>()));
    }
    return steps;
  }
  [[nodiscard]] std::string text() const {
    std::string text;
    for (std::string const& line : lines) text += line + "\n";
    return text;
  }

  Json tables = Json::object();
  Json objects = Json::object();
  std::vector<std::string> lines;

 private:
  std::vector<std::string> columns_;
  std::string table_;
};

class NoStream final : public FpmServer {
 public:
  void runSlice() override {}
  [[nodiscard]] bool busy() const override { return false; }
  [[nodiscard]] Status status() const override { return {}; }
  void resync() override {}
};

class InsightFixture : public ::testing::Test {
 protected:
  using Json = Control::Json;
  using Clock = std::chrono::steady_clock;
  using Strings = std::vector<std::string>;

  // Rows 1 to 31 of the next-hop table are for groups, 32 to 63 for routes.
  InsightFixture() {
    options.rows = 64;
    options.memberRows = 256;
    options.groupRows = 64;
    options.interfaceDelay = 0;
    options.mtuDelay = 0;
  }

  Agent& agent() {
    if (!agent_) agent_ = std::make_unique<Agent>(options, linkedTables());
    return *agent_;
  }
  void end() { agent_.reset(); }

  // What goes wrong from the start on, and from now on.
  SoftAsic::FaultProfile& fault(SoftAsic::TableId table) { return options.faults.of(table); }
  void faultNow(SoftAsic::TableId table, SoftAsic::FaultProfile const& profile) {
    agent().hardware().device().faultIs(table, profile);
  }

  // Everything that the bytes say, and what follows from it.
  void feed(Bytes const& bytes) {
    ParsedStream const parsed = parse(bytes);
    ASSERT_FALSE(parsed.error.has_value());
    for (Fpm::Message const& message : parsed.messages) {
      agent().messageIs(message);
      agent().frameEnds();
    }
    settle();
  }
  void settle() {
    while (agent().turn()) {
    }
  }

  // What this thread has used: on a busy machine others come in between.
  static std::chrono::nanoseconds processorTime() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
  }

  // All slices of a request. What it throws is an error of the request.
  Collected ask(Strings const& words) {
    Collected collected;
    auto const verbs = Control::dependencyVerbs();
    auto const verb = std::find_if(verbs.begin(), verbs.end(), [&words](auto const& one) {
      return one.words == words.front();
    });
    std::unique_ptr<Control::Job> const job =
        verb->start({agent(), stream_}, Strings(words.begin() + 1, words.end()));
    longestSlice = std::chrono::nanoseconds::zero();
    slices = 0;
    for (bool isDone = false; !isDone; ++slices) {
      std::chrono::nanoseconds const begin = processorTime();
      isDone = job->runSlice(collected);
      longestSlice = std::max(longestSlice, processorTime() - begin);
    }
    return collected;
  }
  // The text of the error.
  std::string refused(Strings const& words) {
    try {
      ask(words);
    } catch (Control::RequestError const& error) {
      return error.what();
    }
    return "no error";
  }

  AgentOptions options;
  std::chrono::nanoseconds longestSlice{};  // of processor time
  std::size_t slices = 0;

 private:
  NoStream stream_;
  std::unique_ptr<Agent> agent_;
};

}  // namespace OrviaL3Agent::Testing
