// What a line from a client asks for, as the job that does it.
//
//   std::unique_ptr<Job> job = jobFor(context, R"({"verb":["show","groups"]})");
//
// Threading: the loop's thread. Ownership: the caller owns the job, which refers to the agent.
#pragma once

#include <memory>
#include <string_view>

#include "agent/control/Job.h"

namespace OrviaL3Agent::Control {

// Throws RequestError when the line is no request, or names a verb that there is not.
[[nodiscard]] std::unique_ptr<Job> jobFor(Context const& context, std::string_view line);

// The same for a request's words.
[[nodiscard]] std::unique_ptr<Job> jobFor(Context const& context, Arguments const& words);

}  // namespace OrviaL3Agent::Control
