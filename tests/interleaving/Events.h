// What can happen next in a state.
//
// Stateless; the vector is the caller's.
#pragma once

#include <cstddef>
#include <vector>

#include "Course.h"

namespace Interleaving {

struct Situation {
  Course const& course;
  std::vector<std::size_t> const& positions;  // of the actors
  unsigned answersTwice;                      // how many have stayed
};

// The moves of the actors, then the answers. With `inOrder`, of interchangeable actors only the one
// whose turn it is.
std::vector<Event> eventsFrom(Scenario const& scenario, Situation const& now, bool inOrder);

// The same event with hardware that answers its writes from within.
Event answeredAtOnce(Event const& event, AtOnce const& how);

Event answerTo(Waiting const& waiting, unsigned state, bool stays);

}  // namespace Interleaving
