// Random sequences, and what is smaller than a sequence.
//
//   rc::Shrinkable<Sequence> const found = sequences(Profile::callers)(random);
//
// A sequence has 1 to 120 steps; about a third have reactions. Steps are drawn by weight, and their
// numbers follow a rough sketch of what has become of the world so far (which handles from outside
// are programmed, what kind of handle each slot may hold), so that next hops stand over programmed
// handles, blocks over next hops and groups over blocks. The sketch only guides: any numbers make
// a legal step.
//
// A sequence shrinks by losing steps and reactions, then by smaller numbers.
#pragma once

#include <rapidcheck/Gen.h>

#include <cstdint>
#include <vector>

#include "Step.h"

namespace Model {

enum class Profile : std::uint8_t {
  callers,     // what callers, the platform and the outside do
  everything,  // also the machinery itself
};

[[nodiscard]] rc::Gen<Sequence> sequences(Profile profile);

// Smaller ones, the boldest first.
[[nodiscard]] rc::Seq<Sequence> smaller(Sequence const& sequence);

// The kinds that sequences of the profile have.
[[nodiscard]] std::vector<Kind> kindsOf(Profile profile);

}  // namespace Model
