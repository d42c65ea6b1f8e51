// What is measured: each scenario drives the four tables and checks what came of it.
//
// A name is made of a letter (a next hops, b blocks, c groups and chains, e fan-out, g removal) and
// the operation; its figures are per operation. Operations in an order of their own pick keys at
// random from a fixed seed.
#pragma once

#include <cstdint>
#include <span>

#include "benchmarks/Measurement.h"
#include "benchmarks/Pipeline.h"

namespace OrviaBenchmarks {

struct Scenario {
  char const* name;
  // `entries`: how many next hops, blocks, groups or watchers. Throws std::runtime_error when the
  // tables did not do what the scenario is about.
  void (*run)(Hardware hardware, std::uint32_t entries, Figures& figures);
};

std::span<Scenario const> scenarios();

}  // namespace OrviaBenchmarks
