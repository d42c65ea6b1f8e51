// The agent's event loop: one thread, in turns.
//
// Everything the agent does happens in a turn: first the timers that are due, then what was posted,
// then every source in the order in which it was added. A source is something that brings work from
// outside, a slice at a time, so that no source keeps the others waiting: the routing stream is
// one, the hardware's answers are another.
//
//   EventLoop loop;
//   loop.sourceIs(&input);            // not owned
//   loop.post([&] { ... });           // runs in the next turn
//   loop.timerIs(2, [&] { ... });     // runs two turns later
//   loop.run();                       // until nothing is left to do
//
// Time is counted in turns and not in seconds: a replay behaves the same on every machine. What is
// posted or set by a task never runs in the same phase that set it, so no task can starve the loop.
//
// Threading: everything is called on the loop's own thread. Ownership: the loop owns its tasks and
// refers to its sources, which remove themselves with sourceDel() before they end. An exception of
// a task or source leaves turn(); the loop stays usable, that task is gone.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <utility>
#include <vector>

namespace OrviaL3Agent {

class EventLoop {
 public:
  using Task = std::function<void()>;

  class Source {
   public:
    virtual ~Source() = default;
    // Does one slice of work. Called once per turn.
    virtual void runSlice() = 0;
    // Whether it has, or expects, more. The loop ends when every source says no, nothing is posted
    // and no timer is set.
    [[nodiscard]] virtual bool busy() const = 0;
  };

  using Turn = std::uint64_t;
  // Names a timer; never used twice.
  struct TimerId {
    Turn due = 0;
    std::uint64_t serial = 0;
    friend auto operator<=>(TimerId const&, TimerId const&) = default;
  };

  void sourceIs(Source* source);
  void sourceDel(Source* source);

  void post(Task task);

  // Runs the task `turns` turns later (0 counts as 1: never within the current turn).
  TimerId timerIs(Turn turns, Task task);
  // Does nothing when the timer has run already.
  void timerDel(TimerId id);

  // One turn. Returns whether anything is left to do.
  bool turn();
  void run();

  // The number of the current turn, or of the last one between turns; 0 before the first.
  [[nodiscard]] Turn now() const { return now_; }
  [[nodiscard]] bool busy() const;
  // Whether something is posted or a timer is set, whatever the sources say.
  [[nodiscard]] bool hasTasks() const { return !posts_.empty() || !timers_.empty(); }

 private:
  void runTimers();
  void runPosts();
  void runSources();

  Turn now_ = 0;
  std::uint64_t timerSerial_ = 0;
  std::vector<Task> posts_;
  std::map<TimerId, Task> timers_;
  std::vector<Source*> sources_;
};

}  // namespace OrviaL3Agent
