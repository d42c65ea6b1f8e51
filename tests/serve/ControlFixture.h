// An agent in this process with a control socket, and clients of it.
//
//   class SubjectTest : public ControlFixture {};
//   TEST_F(SubjectTest, DoesSomething) {
//     start();
//     feed(announceRouted(1, 3, "10.0.0.1"));
//     Answered const answered = ask({"show", "nexthops"});
//     EXPECT_EQ(answered.rows("nexthops")[0]["row"], 32);
//   }
//
// Everything runs on the test's thread: while a client waits, the agent's loop turns.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "agent/Agent.h"
#include "agent/control/ControlServer.h"
#include "agent/serve/FpmServer.h"
#include "agent/serve/Log.h"
#include "tests/agent/ParsedStream.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent::Testing {

using Control::Json;

// A connection that somebody else would look after.
class StandInStream final : public FpmServer {
 public:
  void runSlice() override {}
  [[nodiscard]] bool busy() const override { return false; }
  [[nodiscard]] Status status() const override { return told; }
  void resync() override { ++resyncs; }

  Status told;
  int resyncs = 0;
};

// One end of a Unix-domain socket that never waits.
class TestClient {
 public:
  explicit TestClient(std::string const& path)
      : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
      int const error = errno;
      ::close(socket_);
      throw std::runtime_error(path + ": " + std::strerror(error));
    }
  }
  ~TestClient() { close(); }
  TestClient(TestClient const&) = delete;
  TestClient& operator=(TestClient const&) = delete;

  void close() {
    if (socket_ >= 0) ::close(socket_);
    socket_ = -1;
  }
  void endInput() const { ::shutdown(socket_, SHUT_WR); }

  // Returns how much of it was taken.
  [[nodiscard]] std::size_t sendSome(std::string const& text) const {
    ssize_t const sent = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
    return sent < 0 ? 0 : static_cast<std::size_t>(sent);
  }
  void send(std::string const& text) const {
    if (sendSome(text) != text.size()) throw std::runtime_error("not all was taken");
  }
  void ask(std::vector<std::string> const& words) const {
    send(Json{{"verb", words}, {"json", true}}.dump() + "\n");
  }

  // Takes what is there. Returns whether the other side is there.
  bool receive() {
    char buffer[65536];
    for (;;) {
      ssize_t const size = ::recv(socket_, buffer, sizeof buffer, 0);
      if (size > 0) {
        received_.append(buffer, static_cast<std::size_t>(size));
        bytes_ += static_cast<std::size_t>(size);
      } else {
        return size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
      }
    }
  }
  // The next message of what was received.
  [[nodiscard]] std::optional<Json> next() {
    std::size_t const end = received_.find('\n', used_);
    if (end == std::string::npos) {
      received_.erase(0, used_);
      used_ = 0;
      return std::nullopt;
    }
    Json message = Json::parse(std::string_view(received_).substr(used_, end - used_));
    used_ = end + 1;
    return message;
  }
  [[nodiscard]] std::size_t bytes() const { return bytes_; }
  // Whether what was received ends with the end of an answer.
  [[nodiscard]] bool hasEnd() const {
    std::size_t const last = received_.rfind('\n', received_.size() - 2);
    std::size_t const start = last == std::string::npos ? 0 : last + 1;
    return !received_.empty() && received_.ends_with('\n') &&
           received_.compare(start, 7, "{\"end\":") == 0;
  }

 private:
  int socket_;
  std::string received_;
  std::size_t used_ = 0;
  std::size_t bytes_ = 0;
};

// All of one answer.
struct Answered {
  std::optional<int> exitCode;  // none: the other side went away first
  std::string error;
  std::vector<std::string> lines;
  bool follows = false;
  Json tables = Json::object();   // by name, arrays of objects
  Json objects = Json::object();  // by name

  [[nodiscard]] Json const& rows(std::string const& table) const { return tables.at(table); }
  [[nodiscard]] Json const& object(std::string const& name) const { return objects.at(name); }
  // The row whose first value is that.
  [[nodiscard]] Json row(std::string const& table, Json const& first) const {
    for (Json const& row : rows(table)) {
      if (row.begin().value() == first) return row;
    }
    return {};
  }

  // Returns whether the answer is complete.
  bool add(Json const& message) {
    if (message.contains("table")) {
      table_ = message["table"]["name"];
      columns_ = message["table"]["columns"].get<std::vector<std::string>>();
      tables[table_] = Json::array();
    } else if (message.contains("row")) {
      Json row = Json::object();
      for (std::size_t i = 0; i < columns_.size(); ++i) row[columns_[i]] = message["row"].at(i);
      tables.at(table_).push_back(std::move(row));
    } else if (message.contains("object")) {
      objects[message["object"]["name"].get<std::string>()] = message["object"]["value"];
    } else if (message.contains("follows")) {
      follows = true;
    } else if (message.contains("line")) {
      lines.push_back(message["line"]);
    } else {
      exitCode = message.at("end").at("exit").get<int>();
      error = message["end"].value("error", "");
      return true;
    }
    return false;
  }

 private:
  std::string table_;
  std::vector<std::string> columns_;
};

class ControlFixture : public ::testing::Test {
 protected:
  using Clock = std::chrono::steady_clock;

  ControlFixture() {
    static int serial = 0;
    directory_ = ::testing::TempDir() + "orvia-control-" + std::to_string(::getpid()) + "-" +
                 std::to_string(++serial);
    std::filesystem::create_directory(directory_);
    path = directory_ + "/socket";
    options.rows = 64;
    options.memberRows = 256;
    options.groupRows = 64;
  }
  ~ControlFixture() override {
    stop();
    agent.reset();
    std::filesystem::remove_all(directory_);
  }

  void start() {
    if (!agent) {
      agent = std::make_unique<Agent>(options, linkedTables());
      agent->sliceTimeIs(std::chrono::milliseconds(1));
      agent->loop().sourceIs(&io);
    }
    Control::Context context{*agent, stream};
    context.log = &log;
    server = std::make_unique<Control::ControlServer>(io, context, path);
    agent->loop().sourceIs(server.get());
  }
  void stop() {
    if (!server) return;
    agent->loop().sourceDel(server.get());
    server.reset();
  }

  // Everything that the bytes say, and what follows from it.
  void feed(Bytes const& bytes) {
    ParsedStream const parsed = parse(bytes);
    ASSERT_FALSE(parsed.error.has_value());
    for (Fpm::Message const& message : parsed.messages) {
      agent->messageIs(message);
      agent->frameEnds();
    }
    settle();
  }
  void settle() {
    while (agent->turn()) {
    }
  }
  // A turn, whose time counts.
  bool turn() {
    Clock::time_point const begin = Clock::now();
    bool const busy = agent->turn();
    longestTurn = std::max(longestTurn, Clock::now() - begin);
    return busy;
  }
  void turns(int count) {
    for (int i = 0; i < count; ++i) turn();
  }

  // Turns until the condition holds; gives up after a time that is long for everything here.
  template <class Condition>
  [[nodiscard]] bool turnsUntil(Condition const& condition) {
    Clock::time_point const end = Clock::now() + std::chrono::seconds(60);
    while (!condition()) {
      if (Clock::now() > end) return false;
      turn();
    }
    return true;
  }

  // The answer to what the client has asked.
  Answered answer(TestClient& client) {
    Answered answered;
    bool isComplete = false;
    bool isThere = true;
    bool const isOver = turnsUntil([&] {
      isThere = client.receive();
      while (!isComplete) {
        std::optional<Json> const message = client.next();
        if (!message) break;
        isComplete = answered.add(*message);
      }
      return isComplete || !isThere;
    });
    EXPECT_TRUE(isOver) << "no answer";
    return answered;
  }
  Answered ask(std::vector<std::string> const& words) {
    TestClient client(path);
    client.ask(words);
    return answer(client);
  }

  AgentOptions options;
  Io io;
  StandInStream stream;
  std::vector<std::string> logged;
  Log const log{[this](Log::Level, std::string const& line) { logged.push_back(line); }};
  std::unique_ptr<Agent> agent;
  std::unique_ptr<Control::ControlServer> server;
  std::string path;
  Clock::duration longestTurn{0};

 private:
  std::string directory_;
};

}  // namespace OrviaL3Agent::Testing
