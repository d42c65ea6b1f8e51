// Measures the four tables: a line per operation, kind of hardware and number of entries.
//
//   orvia-benchmark [--sizes=1000,10000,100000] [--repetitions=3] [--only=nh,blk8,fan]
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/Scenarios.h"

namespace OrviaBenchmarks {
namespace {

struct Options {
  std::vector<std::uint32_t> sizes{1000, 10000, 100000};
  int repetitions = 3;
  std::vector<std::string> only;  // empty: all
};

std::vector<std::string> parts(std::string const& list) {
  std::vector<std::string> result;
  std::istringstream in(list);
  for (std::string part; std::getline(in, part, ',');) result.push_back(part);
  return result;
}

std::uint32_t number(std::string const& text) {
  // Blocks of 64 of so many entries still have 32-bit rows.
  constexpr unsigned long most = 10'000'000;
  std::size_t used = 0;
  unsigned long const value = std::stoul(text, &used);
  if (used != text.size() || value == 0 || value > most) {
    throw std::invalid_argument("not a number from 1 to 10000000: " + text);
  }
  return static_cast<std::uint32_t>(value);
}

Options parsed(std::vector<std::string> const& arguments) {
  Options options;
  for (std::string const& argument : arguments) {
    std::size_t const at = argument.find('=');
    std::string const name = argument.substr(0, at);
    std::string const value = at == std::string::npos ? "" : argument.substr(at + 1);
    if (name == "--sizes") {
      options.sizes.clear();
      for (std::string const& size : parts(value)) options.sizes.push_back(number(size));
    } else if (name == "--repetitions") {
      options.repetitions = static_cast<int>(number(value));
    } else if (name == "--only") {
      options.only = parts(value);
    } else {
      throw std::invalid_argument("unknown option " + argument);
    }
  }
  for (std::string const& wanted : options.only) {
    auto const list = scenarios();
    if (std::none_of(list.begin(), list.end(),
                     [&](Scenario const& scenario) { return scenario.name == wanted; })) {
      throw std::invalid_argument("unknown scenario " + wanted);
    }
  }
  return options;
}

void print(char const* hardware, std::uint32_t entries, std::vector<Figure> figures) {
  for (Figure& figure : figures) {
    std::vector<double>& times = figure.nanoseconds;
    std::sort(times.begin(), times.end());
    std::printf("%-8s %-16s n %8u  min %9.1f  median %9.1f ns/op", hardware, figure.name.c_str(),
                entries, times.front(), times[times.size() / 2]);
    if (figure.bytes >= 0) std::printf("  %8.1f bytes/entry", figure.bytes);
    std::printf("\n");
  }
  std::fflush(stdout);
}

int run(Options const& options) {
  int ran = 0;
  for (Scenario const& scenario : scenarios()) {
    auto const& only = options.only;
    if (!only.empty() && std::find(only.begin(), only.end(), scenario.name) == only.end()) continue;
    for (std::uint32_t const entries : options.sizes) {
      for (Hardware const hardware : {Hardware::softAsic, Hardware::nothing}) {
        auto const figures = measured([&](Figures& into) { scenario.run(hardware, entries, into); },
                                      options.repetitions);
        print(hardware == Hardware::softAsic ? "soft" : "nothing", entries, figures);
      }
    }
    ++ran;
  }
  std::printf("all %d scenarios ran on both kinds of hardware\n", ran);
  return 0;
}

}  // namespace
}  // namespace OrviaBenchmarks

int main(int argc, char** argv) {
  try {
    return OrviaBenchmarks::run(OrviaBenchmarks::parsed({argv + 1, argv + argc}));
  } catch (std::exception const& failure) {
    std::fprintf(stderr, "orvia-benchmark: %s\n", failure.what());
    return 1;
  }
}
