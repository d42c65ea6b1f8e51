// `ring dump`: the records of the process's own ring, as text.
//
// Turning a ring into text takes many times as long as a turn of the loop may: a thread of its own
// does it, from a copy of the ring. As long as it has nothing to say, the job does not keep the
// loop busy: the thread wakes the loop.
//
// Threading: the loop's thread. Ownership: the job ends its thread.
#pragma once

#include <memory>

#include "agent/control/Job.h"

namespace OrviaL3Agent::Control {

[[nodiscard]] std::unique_ptr<Job> ringDump(Context const& context, Arguments const& arguments);

}  // namespace OrviaL3Agent::Control
