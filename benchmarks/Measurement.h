// The figures of one scenario: nanoseconds and bytes per operation.
//
// A scenario runs in a child process of its own, so that nothing of an earlier one is left in the
// allocators; its repetitions run in that child, on warm memory. One thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace OrviaBenchmarks {

struct Figure {
  std::string name;
  std::vector<double> nanoseconds;  // per operation, one of each repetition
  double bytes = -1;                // per operation, of the first repetition; < 0: not measured
};

// Collects what a scenario measures.
class Figures {
 public:
  // Runs `work`, which does that many operations.
  template <class Work>
  void timed(std::string const& name, std::uint64_t operations, Work&& work) {
    auto const start = std::chrono::steady_clock::now();
    work();
    std::chrono::duration<double, std::nano> const took = std::chrono::steady_clock::now() - start;
    figure(name).nanoseconds.push_back(took.count() / static_cast<double>(operations));
  }
  // The same, with the memory that is taken afterwards and was not before.
  template <class Work>
  void timedAndWeighed(std::string const& name, std::uint64_t operations, Work&& work) {
    std::size_t const before = heap();
    timed(name, operations, work);
    double const grown = static_cast<double>(heap()) - static_cast<double>(before);
    if (Figure& of = figure(name); of.bytes < 0) {
      of.bytes = grown / static_cast<double>(operations);
    }
  }
  [[nodiscard]] std::vector<Figure> const& all() const { return figures_; }
  std::vector<Figure>& all() { return figures_; }

 private:
  static std::size_t heap();
  Figure& figure(std::string const& name);

  std::vector<Figure> figures_;
};

// Runs `scenario` that often in a child process. Throws std::runtime_error when the child fails.
std::vector<Figure> measured(std::function<void(Figures&)> const& scenario, int repetitions);

}  // namespace OrviaBenchmarks
