// Requests of the control socket, as work that is done a slice at a time.
//
// A verb makes a job; the control server asks the job for a slice once per turn of the loop until
// it is done, and not while the client's queue is full. A job keeps no pointer or iterator into the
// agent from one slice to the next: what it points at may be gone. It keeps keys, and goes on
// behind the last one.
//
//   class Groups final : public Job {
//     bool runSlice(Answer& answer) override {
//       SliceTime const time;
//       auto at = groups.upper_bound(last_);
//       for (; at != groups.end() && !time.isOver(); ++at) answer.row({at->first, ...});
//       ...
//       return at == groups.end();   // done
//     }
//   };
//
// Threading: the loop's thread. Ownership: the server owns its jobs; a job refers to the agent.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace OrviaL3Agent {

class Agent;
class FpmServer;
class Log;

namespace Control {

// Objects keep the order in which they were made: it is the order in which people read them.
using Json = nlohmann::ordered_json;

// Where a job puts what it finds. The client makes a text or one JSON document of it.
class Answer {
 public:
  virtual ~Answer() = default;
  // A table of that name begins: an array of objects in JSON, with these members.
  virtual void tableIs(std::string const& name, std::vector<std::string> const& columns) = 0;
  // Its next row: an array of as many values as there are columns.
  virtual void row(Json values) = 0;
  // A single thing of that name: an object, whose members may be arrays of objects.
  virtual void object(std::string const& name, Json value) = 0;
  // A line of text. In JSON the lines are the array "lines".
  virtual void line(std::string const& text) = 0;
};

// The request is wrong, or names something that is not there. The text goes to the client, which
// ends with kExitUsage.
class RequestError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Job {
 public:
  virtual ~Job() = default;
  // Does about a millisecond's work. Returns whether the job is done. What it throws ends the
  // request: its text goes to the client.
  virtual bool runSlice(Answer& answer) = 0;
  // Whether there is something to do now. A job that follows what happens says no in between, and
  // so does one whose thread is at work; that one wakes the loop.
  [[nodiscard]] virtual bool busy() const { return true; }
  // Whether it may wait for ever: it ends when its client says that it asks for nothing more.
  [[nodiscard]] virtual bool follows() const { return false; }
};

// Says when a slice has taken its time. Looks at the clock every few calls.
class SliceTime {
 public:
  static constexpr std::chrono::microseconds kSlice{1000};

  explicit SliceTime(std::chrono::microseconds time = kSlice) : time_(time) {}

  [[nodiscard]] bool isOver() const {
    if (++calls_ % 16 != 0) return false;
    return std::chrono::steady_clock::now() - begin_ > time_;
  }

 private:
  std::chrono::microseconds time_;
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  mutable unsigned calls_ = 0;
};

// What verbs act on.
struct Context {
  Agent& agent;
  FpmServer& stream;
  // Makes a loop that sleeps look at its jobs; from any thread. The control server sets it.
  std::function<void()> wake = {};
  // Where it is noted who told the agent to do what; nowhere without.
  Log const* log = nullptr;
  // Who asks: "uid 0, pid 4711". The control server sets it.
  std::string client = {};

  // To be called when it is done.
  void logDone(std::string const& what) const;
};

using Arguments = std::vector<std::string>;

struct Verb {
  std::string words;      // "show groups"
  std::string arguments;  // for people: "[N]"; empty: none
  std::string help;
  // Throws RequestError for arguments that are wrong.
  std::function<std::unique_ptr<Job>(Context const& context, Arguments const& arguments)> start;
};

// A job that is done within one slice: a function of the answer.
[[nodiscard]] std::unique_ptr<Job> jobOf(std::function<void(Answer&)> work);

// All verbs, each made in the file of its subject.
[[nodiscard]] std::vector<Verb> const& verbs();
[[nodiscard]] std::vector<Verb> showVerbs();        // ShowVerbs.cpp
[[nodiscard]] std::vector<Verb> nameVerbs();        // NameVerbs.cpp: get, set, ls
[[nodiscard]] std::vector<Verb> actionVerbs();      // ActionVerbs.cpp: interface, fault, retry, ...
[[nodiscard]] std::vector<Verb> dependencyVerbs();  // DependencyVerbs.cpp: why, who, dot

}  // namespace Control
}  // namespace OrviaL3Agent
