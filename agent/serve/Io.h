// Sockets, signals and wall-clock timers on the agent's event loop.
//
//   Io io;
//   agent.loop().sourceIs(&io);
//   asio::ip::tcp::acceptor acceptor(io.context(), ...);
//   while (!stopped) {
//     bool const busy = agent.turn();
//     if (!busy) io.wait();
//   }
//
// Handlers run in slices of a turn, so that many ready sockets keep neither the stream nor the
// hardware's answers waiting. With nothing else to do the loop sleeps in wait() until a handler is
// ready; its handler runs there, and the next turn does what follows from it.
//
// Threading: the loop's thread; asio::post() to context() may come from any. Ownership: owns the
// context; what uses it must end before it.
#pragma once

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <cstddef>

#include "agent/EventLoop.h"

namespace OrviaL3Agent {

class Io final : public EventLoop::Source {
 public:
  [[nodiscard]] asio::io_context& context() { return context_; }

  void runSlice() override {
    for (std::size_t i = 0; i < kHandlersPerTurn && context_.poll_one() > 0; ++i) {
    }
  }
  // What is ready is found out by looking: it keeps no turn from being the last before a wait.
  [[nodiscard]] bool busy() const override { return false; }

  // Sleeps until a handler is ready, and runs it.
  void wait() { context_.run_one(); }

 private:
  static constexpr std::size_t kHandlersPerTurn = 16;

  asio::io_context context_{1};
  asio::executor_work_guard<asio::io_context::executor_type> work_{context_.get_executor()};
};

}  // namespace OrviaL3Agent
