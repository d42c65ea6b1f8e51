// States in a word or a few, as the views of what depends on what say them.
//
// Threading: any. Ownership: none.
#pragma once

#include "agent/Groups.h"
#include "agent/NextHopState.h"
#include "agent/Routes.h"

namespace OrviaL3Agent::Insight {

[[nodiscard]] char const* textOf(NextHopState state);
[[nodiscard]] char const* textOf(Groups::State state);
[[nodiscard]] char const* textOf(Routes::State state);

}  // namespace OrviaL3Agent::Insight
