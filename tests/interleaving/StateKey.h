// When two paths have led to the same state.
//
// The key holds everything that the future depends on: the snapshot, how far each actor is, how
// many answers may still stay, in which order the reactors of a handle would be called, and what a
// parked block has counted; and what the rules remember (Course::memory). Histories that only
// differ in the numbers of handles have the same key: a handle is renamed after the key that it is
// registered under. Where that is not possible it keeps a number, and states are told apart that
// could be one. With mirrors, the key is the smallest of the mirrored ones.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Course.h"

namespace Interleaving {

std::string stateKey(Scenario const& scenario, Course const& course,
                     std::vector<std::size_t> const& positions, unsigned answersTwice);

}  // namespace Interleaving
