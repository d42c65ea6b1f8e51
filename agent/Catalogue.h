// Everything that can be read, set, gone over or called by name: the types of all modules, with
// their numbers, attributes and operations.
//
//   fmt::print("{}", catalogueText());       // for people
//   fmt::print("{}", catalogueJson());       // for programs: docs/reference.md
//   fmt::print("{}", catalogueMarkdown());   // docs/reference/catalogue.md
//
// Threading: one thread. Ownership: texts.
#pragma once

#include <string>

#include "agent/CommandLine.h"

namespace OrviaL3Agent {

[[nodiscard]] std::string catalogueText();
[[nodiscard]] std::string catalogueJson();
[[nodiscard]] std::string catalogueMarkdown();

// The command: prints it in the form that is asked for. Returns the program's exit code.
[[nodiscard]] int catalogueCommand(CatalogueOptions const& options);

}  // namespace OrviaL3Agent
