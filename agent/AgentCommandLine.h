// The options that replay and serve have in common, and what all options are checked with.
//
//   addTableOptions(command, options);
//   addCheckOptions(command, options);
//   ...
//   command.callback([&] { requireRowsThatFit(options); });
//
// Options are shown in the help in the order in which they are added. What is wrong with one throws
// CLI::ValidationError, whose text names the option.
//
// Threading: one thread. Ownership: a command refers to the options, which must live until it has
// parsed.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "agent/AgentOptions.h"

namespace OrviaL3Agent {

// The largest table that the row allocators of the platform are laid out for.
inline constexpr std::uint32_t kMaxRows = 1U << 20U;

// Validators put a description of their own beside an option's help text; the texts of the options
// say it better. These have none.
[[nodiscard]] CLI::Validator existingFile();
// Unsigned options take "-1" for their largest value otherwise.
[[nodiscard]] CLI::Validator notNegative();
// A file to be written; an empty name would quietly write none.
[[nodiscard]] CLI::Validator fileName();
[[nodiscard]] CLI::Validator range(std::uint32_t first, std::uint32_t last);

// --trace, --ring
void addTraceOptions(CLI::App& command, AgentOptions& options);
// --answer, --refuse-row, the tables' sizes, --interface-delay, --mtu-delay, --mtu
void addTableOptions(CLI::App& command, AgentOptions& options);
// --journal
void addJournalOption(CLI::App& command, AgentOptions& options);
// --faults, --fault, --seed
void addFaultOptions(CLI::App& command, AgentOptions& options);
// --hardware-file, which other options may need
CLI::Option* addHardwareFileOption(CLI::App& command, AgentOptions& options);
// --kernel, --daemon-netns, --kernel-ids
void addKernelOptions(CLI::App& command, AgentOptions& options);
// --toggles
void addToggleOption(CLI::App& command, AgentOptions& options);

// To be called when the command line has been read: what --kernel says. The options of the
// simulated hardware mean nothing beside it.
void takeKernelOptions(CLI::App const& command, AgentOptions& options);
// What is right one by one and wrong together.
void requireRowsThatFit(AgentOptions const& options);
// A file that is read or written, and what calls it so: an option, or "the stream".
using NamedFile = std::pair<char const*, std::string>;
[[nodiscard]] std::vector<NamedFile> filesOf(AgentOptions const& options);
// An output that is the input or another output would destroy it. Unnamed files are none.
void requireDifferentFiles(std::vector<NamedFile> const& files);
// Found out before the work is done; throws std::system_error that names both. Leaves the file as
// it is. An empty path is no file.
void requireWritable(char const* option, std::string const& path);

}  // namespace OrviaL3Agent
