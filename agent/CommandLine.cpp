#include "agent/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "agent/AgentCommandLine.h"
#include "agent/PrefixTable.h"
#include "agent/ShortText.h"
#include "agent/Version.h"
#include "agent/serve/ServeCommandLine.h"

namespace OrviaL3Agent {
namespace {

constexpr char const* kExamples = R"(Examples:
  orvia-l3-agent replay examples/streams/forms.0.fpm
  orvia-l3-agent replay examples/streams/forms.0.fpm --show
  orvia-l3-agent replay examples/streams/wide-static.0.fpm --verify --check-forwarding
  orvia-l3-agent replay examples/streams/w1-static.0.fpm --ring trace.ring
  orvia-l3-agent ring trace.ring
  orvia-l3-agent replay examples/streams/w1-static.0.fpm --journal calls.txt
  orvia-l3-agent compare calls.txt calls.txt
  orvia-l3-agent serve
  orvia-l3-agent ctl show groups

Exit codes: 0 done, 1 the stream or a file is at fault, 2 wrong usage, 3 a check found something or
journals differ.
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
  See where packets to an address go:
    orvia-l3-agent replay examples/streams/w1-static.0.fpm --until 39 --lookup 203.0.113.65
  Let an interface fail before the routing daemon reacts, and check every step:
    orvia-l3-agent replay examples/streams/w1-static.0.fpm --event "at 20 interface 3 down" \
        --check-forwarding
  Let the hardware refuse every third group write until the end, then mend it:
    orvia-l3-agent replay examples/streams/bgp-1k-distinct16.0.fpm \
        --fault group:refuse-every=3 --event "at end faults off" --event "at end retry" --verify
  Keep every next hop waiting for its interface:
    orvia-l3-agent replay examples/streams/forms.0.fpm --interface-delay never --show
  Read, set and list by name:
    orvia-l3-agent replay examples/streams/w1-static.0.fpm --ls group.entry \
        --get "group.entry[#1].numPaths"
  Write what the table does to standard error:
    orvia-l3-agent replay examples/streams/forms.0.fpm --trace 8
  Program the next-hop objects and routes of a network namespace's kernel:
    orvia-l3-agent replay examples/streams/w1-static.0.fpm --kernel=plane --daemon-netns router
  End in the middle of a stream, and go on with the rows that the hardware still has:
    orvia-l3-agent replay examples/streams/w1-static.0.fpm --until 20 --hardware-file asic
    orvia-l3-agent replay examples/streams/w1-static.0.fpm --hardware-file asic --verify

Exit codes: 0 done, 1 the stream (what came before the fault stays programmed) or a file is at fault,
2 wrong usage, 3 a check found something.
)";

constexpr char const* kRingExamples = R"(Example:
  orvia-l3-agent replay examples/streams/w1-static.0.fpm --ring trace.ring
  orvia-l3-agent ring trace.ring
)";
constexpr char const* kCompareHelp =
    R"(Says whether both made the same calls in the same order, and whether the rows in force at their ends
are equal. Exit code 3 when one of them is not so.

Example:
  orvia-l3-agent replay examples/streams/w1-static.0.fpm --journal first.txt
  orvia-l3-agent replay examples/streams/w1-static.0.fpm --slice 1 --journal second.txt
  orvia-l3-agent compare first.txt second.txt
)";

void addChecks(CLI::App& replay, ReplayOptions& options) {
  replay
      .add_option_function<std::vector<std::string>>(
          "--lookup",
          [&options](std::vector<std::string> const& texts) {
            for (std::string const& text : texts) {
              std::optional<Fpm::Address> const address = addressOf(text);
              if (!address) {
                throw CLI::ValidationError("--lookup", text + " is not an IPv4 or IPv6 address");
              }
              options.lookups.push_back(*address);
            }
          },
          "Print the route of an address at the end, and where its packets go")
      ->type_name("ADDRESS")
      ->allow_extra_args(false);
  replay.add_flag("--routes", options.routes,
                  "Print every route at the end, and where its packets go");
  replay.add_flag("--verify", options.verify,
                  "Compare the hardware's rows with what the stream asked for");
  replay.add_flag("--check-forwarding", options.checkForwarding,
                  "Follow every group to its next hops after every hardware call");
  replay
      .add_option_function<std::vector<std::string>>(
          "--event",
          [&options](std::vector<std::string> const& texts) {
            for (std::string const& text : texts) {
              try {
                options.events.push_back(eventOf(text));
              } catch (std::invalid_argument const& error) {
                throw CLI::ValidationError("--event", error.what());
              }
            }
          },
          "What happens besides the stream: \"at MESSAGE interface N down\" or up, \"at MESSAGE "
          "retry\", \"at MESSAGE faults off\"; MESSAGE counts messages, \"end\" is when all has "
          "come "
          "to rest")
      ->type_name("EVENT")
      ->allow_extra_args(false);
  addJournalOption(replay, options);
  replay
      .add_option("--plot", options.plotFile,
                  "Draw entries and hardware calls over the stream into this SVG file")
      ->type_name("FILE")
      ->check(fileName());
}

void addRestart(CLI::App& replay, ReplayOptions& options) {
  addHardwareFileOption(replay, options);
  replay
      .add_option("--hold", options.hold,
                  "Turns from the end of the stream until next hops from before the restart that "
                  "no route uses are removed")
      ->type_name("TURNS")
      ->capture_default_str()
      ->check(range(1, kMaxRows));
  addToggleOption(replay, options);
  addKernelOptions(replay, options);
}

void addNames(CLI::App& replay, ReplayOptions& options) {
  replay
      .add_option("--ls", options.lists,
                  "List what stands at a path of names at the end, for instance group.entry; see "
                  "docs/reference.md")
      ->type_name("PATH")
      ->allow_extra_args(false);
  replay
      .add_option("--get", options.gets,
                  "Print the value at a path at the end, for instance group.entry[#1].numPaths")
      ->type_name("PATH")
      ->allow_extra_args(false);
  replay
      .add_option_function<std::vector<std::string>>(
          "--set",
          [&options](std::vector<std::string> const& texts) {
            for (std::string const& text : texts) {
              // A key in brackets may hold anything.
              std::size_t const equals = text.find('=', text.rfind(']') + 1);
              if (equals == std::string::npos || equals == 0) {
                throw CLI::ValidationError("--set", shortened(text) + " is not PATH=VALUE");
              }
              options.sets.emplace_back(text.substr(0, equals), text.substr(equals + 1));
            }
          },
          "Set the plain value at a path at the end, before anything is listed or printed")
      ->type_name("PATH=VALUE")
      ->allow_extra_args(false);
}

void addReplay(CLI::App& app, ReplayOptions& options) {
  CLI::App* replay = app.add_subcommand("replay", "Read a recorded routing stream into the tables");
  replay->footer(kReplayExamples);
  replay->add_option("FILE", options.file, "Recorded stream (FPM frames)")
      ->type_name("")
      ->required()
      ->check(existingFile());
  replay->add_flag("--show", options.show, "Print the next hops and the groups at the end");
  replay->add_option("--until", options.until, "Stop reading after this many messages")
      ->type_name("MESSAGES")
      ->check(notNegative());
  addTraceOptions(*replay, options);
  replay->add_flag_callback(
      "--progress", [&options] { options.progress = ReplayOptions::Progress::on; },
      "Show progress on standard error even when it is no terminal");
  replay->add_flag_callback(
      "--no-progress", [&options] { options.progress = ReplayOptions::Progress::off; },
      "Show no progress");

  addTableOptions(*replay, options);
  replay->add_option("--slice", options.slice, "Messages read in one turn")
      ->type_name("N")
      ->capture_default_str()
      ->check(range(1, kMaxRows));

  addChecks(*replay, options);
  addFaultOptions(*replay, options);
  addRestart(*replay, options);
  addNames(*replay, options);

  replay->callback([replay, &options] {
    takeKernelOptions(*replay, options);
    bool const isRestartable = options.kernel.isOn || !options.hardwareFile.empty();
    if (replay->count("--hold") > 0 && !isRestartable) {
      throw CLI::ValidationError("--hold", "requires --hardware-file or --kernel");
    }
    std::vector<NamedFile> files = filesOf(options);
    files.insert(files.begin(), {"the stream", options.file});
    files.emplace_back("--plot", options.plotFile);
    requireDifferentFiles(files);
    requireRowsThatFit(options);
  });
}

}  // namespace

Command parseCommandLine(int argc, char const* const* argv) {
  CLI::App app{
      "A stand-alone forwarding agent: programs next hops and groups from a routing stream.",
      "orvia-l3-agent"};
  app.footer(kExamples);
  app.set_version_flag("--version", fmt::format("orvia-l3-agent {}", kVersion));
  app.require_subcommand(1);

  // The program has acted on these two before anything else: it needs them to get here.
  std::string library;
  app.add_option(
         "--library", library,
         "Load the tables from this file [libOrviaL3Unicast.so in ../lib beside the program]")
      ->type_name("FILE")
      ->check(fileName());
  std::string pluginRoot;
  app.add_option(
         "--plugin-root", pluginRoot,
         "Look for the tables' plug-ins in this directory [$ORVIA_PLUGIN_ROOT, or else where "
         "the library is]")
      ->type_name("DIR")
      ->check(fileName());

  ReplayOptions replayOptions;
  addReplay(app, replayOptions);
  ServeOptions serveOptions;
  CLI::App* const serve = addServe(app, serveOptions);
  CtlOptions ctlOptions;
  CLI::App* const ctl = addCtl(app, ctlOptions);
  RingOptions ringOptions;
  CLI::App* ring = app.add_subcommand("ring", "Print a binary trace file as text");
  ring->add_option("FILE", ringOptions.file, "File written with replay --ring")
      ->type_name("")
      ->required()
      ->check(existingFile());
  ring->footer(kRingExamples);
  CompareOptions compareOptions;
  CLI::App* compare = app.add_subcommand("compare", "Compare two journals of hardware calls");
  compare->footer(kCompareHelp);
  compare->add_option("FIRST", compareOptions.first, "File written with replay --journal")
      ->type_name("")
      ->required()
      ->check(existingFile());
  compare->add_option("SECOND", compareOptions.second, "Another")
      ->type_name("")
      ->required()
      ->check(existingFile());

  CatalogueOptions catalogueOptions;
  CLI::App* catalogue = app.add_subcommand(
      "catalogue", "Print all types, attributes and operations that are known by name");
  auto* const json = catalogue->add_flag_callback(
      "--json", [&] { catalogueOptions.form = CatalogueOptions::Form::json; },
      "For programs, see docs/reference.md");
  catalogue
      ->add_flag_callback(
          "--markdown", [&] { catalogueOptions.form = CatalogueOptions::Form::markdown; },
          "As docs/reference/catalogue.md")
      ->excludes(json);
  catalogue->footer("Example:\n  orvia-l3-agent catalogue --json\n");

  try {
    // The parser takes it for the flag without a value, which names another kernel.
    if (std::find(argv, argv + argc, std::string_view("--kernel=")) != argv + argc) {
      throw CLI::ValidationError("--kernel", "the name of the network namespace is empty");
    }
    app.parse(argc, argv);
  } catch (CLI::ParseError const& e) {
    std::ostringstream output;
    std::ostringstream error;
    // The library's exit codes tell its error classes apart; users only need to know that it was
    // usage.
    int const code = app.exit(e, output, error);
    std::string const prefix = code == 0 ? "" : "orvia-l3-agent: ";
    return Leave{code == 0 ? kExitOk : kExitUsage, output.str(), prefix + error.str()};
  }
  if (serve->parsed()) return serveOptions;
  if (ctl->parsed()) return ctlOptions;
  if (ring->parsed()) return ringOptions;
  if (compare->parsed()) return compareOptions;
  if (catalogue->parsed()) return catalogueOptions;
  return replayOptions;
}

}  // namespace OrviaL3Agent
