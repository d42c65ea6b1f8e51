// The parts of `show`, each made in the file of its subject.
//
// Threading: the loop's thread. Ownership: plain values; what verbs start refers to the agent.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/control/Job.h"
#include "agent/control/Words.h"

namespace OrviaL3Agent::Control {

[[nodiscard]] std::vector<Verb> showTableVerbs();    // tables, interfaces, allocators, hardware
[[nodiscard]] std::vector<Verb> showGroupVerbs();    // groups, group, block
[[nodiscard]] std::vector<Verb> showRouteVerbs();    // routes, nexthops
[[nodiscard]] std::vector<Verb> showKernelVerbs();   // kernel
[[nodiscard]] std::vector<Verb> showProcessVerbs();  // memory, stream, trace

// A verb without arguments, whose job is made from the context.
template <class ItsJob>
[[nodiscard]] Verb plainVerb(std::string const& words, std::string help) {
  return {words, "", std::move(help), [words](Context const& context, Arguments const& arguments) {
            requireCount(arguments, 0, 0, words);
            return std::make_unique<ItsJob>(context);
          }};
}

template <class Value>
[[nodiscard]] Json orNull(std::optional<Value> const& value) {
  return value ? Json(*value) : Json();
}

}  // namespace OrviaL3Agent::Control
