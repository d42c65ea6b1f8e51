#include "agent/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <sstream>

#include "agent/Version.h"

namespace OrviaL3Agent {
namespace {

constexpr char const* kExamples = R"(Examples:
  orvia-l3-agent replay examples/streams/forms.0.fpm
  orvia-l3-agent replay examples/streams/forms.0.fpm --show
  orvia-l3-agent replay examples/streams/wide-static.0.fpm --refuse-row 3 --refuse-row 16385
  orvia-l3-agent replay examples/streams/w1-static.0.fpm --ring trace.ring
  orvia-l3-agent ring trace.ring

Exit codes: 0 done, 1 the stream or a file is at fault, 2 wrong usage.
)";

constexpr char const* kReplayExamples =
    R"(A TURN is one round of the agent's event loop: due timers, one slice of the stream, the
hardware's answers.

Examples:
  See what a stream leaves in the table:
    orvia-l3-agent replay examples/streams/forms.0.fpm --show
  Look at the table in the middle of a stream:
    orvia-l3-agent replay examples/streams/wide-static.0.fpm --until 40 --show
  Let the hardware refuse two rows of the next-hop table:
    orvia-l3-agent replay examples/streams/forms.0.fpm --refuse-row 16384 16385
  Keep every next hop waiting for its interface:
    orvia-l3-agent replay examples/streams/forms.0.fpm --interface-delay never --show
  Write what the table does to standard error:
    orvia-l3-agent replay examples/streams/forms.0.fpm --trace 8

Exit codes: 0 done, 1 the stream is at fault (what came before the fault stays programmed), 2 wrong
usage.
)";

// The largest table that the row allocators of the platform are laid out for.
constexpr std::uint32_t kMaxRows = 1U << 20U;

// Validators put a description of their own beside an option's help text; the texts here say it
// better.
CLI::Validator existingFile() { return CLI::ExistingFile.description(""); }
// Unsigned options take "-1" for their largest value otherwise.
CLI::Validator notNegative() {
  return {[](std::string const& text) -> std::string {
            return text.starts_with('-') ? text + " is negative" : std::string();
          },
          ""};
}
CLI::Validator range(std::uint32_t first, std::uint32_t last) {
  return CLI::Range(first, last).description("");
}

// The text of a delay option: a number of turns, or "never".
std::optional<std::uint32_t> delayOf(std::string const& option, std::string const& text) {
  if (text == "never") return std::nullopt;
  std::uint32_t turns = 0;
  if (!CLI::detail::lexical_cast(text, turns) || text.front() == '-') {
    throw CLI::ValidationError(option, text + " is neither a number of turns nor \"never\"");
  }
  return turns;
}

void addReplay(CLI::App& app, ReplayOptions& options) {
  CLI::App* replay = app.add_subcommand("replay", "Read a recorded routing stream into the tables");
  replay->footer(kReplayExamples);
  replay->add_option("FILE", options.file, "Recorded stream (FPM frames)")
      ->type_name("")
      ->required()
      ->check(existingFile());
  replay->add_flag("--show", options.show, "Print the next-hop table and the groups at the end");
  replay->add_option("--until", options.until, "Stop reading after this many messages")
      ->type_name("MESSAGES")
      ->check(notNegative());
  replay
      ->add_option("--trace", options.traceLevel,
                   "Write the tables' text trace up to this level (0 to 9) to standard error")
      ->type_name("LEVEL")
      ->check(range(0, 9));
  replay->add_option("--ring", options.ringFile, "Write the binary trace to this file")
      ->type_name("FILE");
  replay->add_flag_callback(
      "--progress", [&options] { options.progress = ReplayOptions::Progress::on; },
      "Show progress on standard error even when it is no terminal");
  replay->add_flag_callback(
      "--no-progress", [&options] { options.progress = ReplayOptions::Progress::off; },
      "Show no progress");

  replay
      ->add_option_function<std::string>(
          "--answer",
          [&options](std::string const& when) {
            options.answer =
                when == "now" ? ReplayOptions::Answer::now : ReplayOptions::Answer::loop;
          },
          "When the hardware answers a write: now (within the call) or loop (at the end of the "
          "turn) [loop]")
      ->type_name("WHEN")
      ->check([](std::string const& when) -> std::string {
        if (when == "now" || when == "loop") return {};
        return when + " is neither now nor loop";
      });
  replay->add_option("--refuse-row", options.refusedRows, "Rows that the hardware refuses")
      ->type_name("ROW")
      ->check(notNegative());
  replay->add_option("--rows", options.rows, "Rows of the next-hop table")
      ->type_name("N")
      ->capture_default_str()
      ->check(range(2, kMaxRows));
  replay
      ->add_option("--ecmp-rows", options.ecmpRows,
                   "Of these, the rows from 0 up that are for next hops of groups; row 0 stays "
                   "unused [half]")
      ->type_name("N")
      ->check(range(1, kMaxRows));
  replay
      ->add_option("--first-row", options.firstRow,
                   "First row to use for other next hops [the first above those]")
      ->type_name("N")
      ->check(notNegative());
  // The pointer to a block is 16 bits wide.
  replay->add_option("--member-rows", options.memberRows, "Rows of the member table")
      ->type_name("N")
      ->capture_default_str()
      ->check(range(1, 1U << 16U));
  replay
      ->add_option("--group-rows", options.groupRows, "Rows of the group table; row 0 stays unused")
      ->type_name("N")
      ->capture_default_str()
      ->check(range(1, kMaxRows));
  replay->add_option("--max-width", options.maxWidth, "Most member rows of one group")
      ->type_name("N")
      ->capture_default_str()
      ->check(range(1, 0xFFFF));
  replay
      ->add_option_function<std::string>(
          "--interface-delay",
          [&options](std::string const& text) {
            options.interfaceDelay = delayOf("--interface-delay", text);
          },
          fmt::format(
              "Turns from the first use of an interface until it is programmed, or never [{}]",
              *options.interfaceDelay))
      ->type_name("TURNS");
  replay
      ->add_option_function<std::string>(
          "--mtu-delay",
          [&options](std::string const& text) { options.mtuDelay = delayOf("--mtu-delay", text); },
          fmt::format("The same for an MTU profile [{}]", *options.mtuDelay))
      ->type_name("TURNS");
  replay->add_option("--slice", options.slice, "Messages read in one turn")
      ->type_name("N")
      ->capture_default_str()
      ->check(range(1, kMaxRows));

  // What is right one by one and wrong together.
  replay->callback([&options] {
    if (options.ecmpRows && *options.ecmpRows >= options.rows) {
      throw CLI::ValidationError(
          "--ecmp-rows", fmt::format("{} leaves no row for other next hops in a table of {} rows",
                                     *options.ecmpRows, options.rows));
    }
    if (options.firstRow && *options.firstRow >= options.rows) {
      throw CLI::ValidationError("--first-row", fmt::format("{} is not a row of a table of {} rows",
                                                            *options.firstRow, options.rows));
    }
    if (options.firstRow && *options.firstRow < options.firstIngressRow()) {
      throw CLI::ValidationError("--first-row",
                                 fmt::format("{} is among the {} rows for next hops of groups",
                                             *options.firstRow, options.firstIngressRow()));
    }
    for (std::uint32_t const row : options.refusedRows) {
      if (row >= options.rows) {
        throw CLI::ValidationError(
            "--refuse-row",
            fmt::format("{} is not a row of a table of {} rows", row, options.rows));
      }
    }
  });
}

}  // namespace

Command parseCommandLine(int argc, char const* const* argv) {
  CLI::App app{"A stand-alone forwarding agent: programs next hops from a routing stream.",
               "orvia-l3-agent"};
  app.footer(kExamples);
  app.set_version_flag("--version", fmt::format("orvia-l3-agent {}", kVersion));
  app.require_subcommand(1);

  ReplayOptions replayOptions;
  addReplay(app, replayOptions);
  RingOptions ringOptions;
  CLI::App* ring = app.add_subcommand("ring", "Print a binary trace file as text");
  ring->add_option("FILE", ringOptions.file, "File written with replay --ring")
      ->type_name("")
      ->required()
      ->check(existingFile());

  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& e) {
    std::ostringstream output;
    std::ostringstream error;
    // The library's exit codes tell its error classes apart; users only need to know that it was
    // usage.
    int const code = app.exit(e, output, error);
    return Leave{code == 0 ? kExitOk : kExitUsage, output.str(), error.str()};
  }
  if (ring->parsed()) return ringOptions;
  return replayOptions;
}

}  // namespace OrviaL3Agent
