#include "benchmarks/Measurement.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <sstream>
#include <stdexcept>

#include "benchmarks/Heap.h"

namespace OrviaBenchmarks {
namespace {

// One line per figure: name, bytes, then the times.
std::string asText(std::vector<Figure> const& figures) {
  std::ostringstream out;
  for (Figure const& figure : figures) {
    out << figure.name << ' ' << figure.bytes;
    for (double const time : figure.nanoseconds) out << ' ' << time;
    out << '\n';
  }
  return out.str();
}

std::vector<Figure> fromText(std::string const& text) {
  std::vector<Figure> figures;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    Figure& figure = figures.emplace_back();
    words >> figure.name >> figure.bytes;
    for (double time = 0; words >> time;) figure.nanoseconds.push_back(time);
  }
  return figures;
}

int runInChild(std::function<void(Figures&)> const& scenario, int repetitions, int output) {
  try {
    keepHeapMapped();
    Figures figures;
    for (int i = 0; i < repetitions; ++i) scenario(figures);
    std::string const text = asText(figures.all());
    return write(output, text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1;
  } catch (std::exception const& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
}

}  // namespace

std::size_t Figures::heap() { return heapInUse(); }

Figure& Figures::figure(std::string const& name) {
  for (Figure& figure : figures_) {
    if (figure.name == name) return figure;
  }
  return figures_.emplace_back(Figure{name, {}});
}

std::vector<Figure> measured(std::function<void(Figures&)> const& scenario, int repetitions) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe for a measurement");
  std::fflush(nullptr);
  pid_t const child = fork();
  if (child < 0) throw std::runtime_error("no process for a measurement");
  if (child == 0) {
    close(ends[0]);
    _exit(runInChild(scenario, repetitions, ends[1]));
  }
  close(ends[1]);
  std::string text;
  char buffer[4096];
  for (ssize_t got; (got = read(ends[0], buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<std::size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0 || text.empty()) throw std::runtime_error("a scenario failed");
  return fromText(text);
}

}  // namespace OrviaBenchmarks
