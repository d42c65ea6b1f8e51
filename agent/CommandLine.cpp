#include "agent/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <map>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "agent/NextHopParts.h"
#include "agent/PrefixTable.h"
#include "agent/ShortText.h"
#include "agent/Version.h"

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
  End in the middle of a stream, and go on with the rows that the hardware still has:
    orvia-l3-agent replay examples/streams/w1-static.0.fpm --until 20 --hardware-file asic
    orvia-l3-agent replay examples/streams/w1-static.0.fpm --hardware-file asic --verify

Exit codes: 0 done, 1 the stream (what came before the fault stays programmed) or a file is at fault,
2 wrong usage, 3 a check found something.
)";

// The largest table that the row allocators of the platform are laid out for.
constexpr std::uint32_t kMaxRows = 1U << 20U;
// What a 16-bit pointer of another table's rows can name.
constexpr std::uint32_t kPointerRows = 1U << 16U;

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
// A file to be written; an empty name would quietly write none.
CLI::Validator fileName() {
  return {[](std::string const& name) -> std::string {
            return name.empty() ? "the name of the file is empty" : std::string();
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

// A table whose rows other rows name in 16 bits, and of which some must be there.
CLI::Validator pointedTo(std::uint32_t least) {
  return {[least](std::string const& text) -> std::string {
            std::uint32_t rows = 0;
            bool const isNumber = CLI::detail::lexical_cast(text, rows) && text.front() != '-';
            if (!isNumber) return text + " is not a number of rows";
            if (rows >= least && rows <= kPointerRows) return {};
            return fmt::format(
                "{} rows: other tables' rows name one of these in 16 bits, which is {} to {} rows",
                rows, least, kPointerRows);
          },
          ""};
}

// The text of an interface's MTU: "3=9000".
std::pair<std::uint32_t, std::uint32_t> mtuOf(std::string const& text) {
  std::size_t const equals = text.find('=');
  std::uint32_t interface = 0;
  std::uint32_t mtu = 0;
  bool const isRight = equals != std::string::npos && !text.starts_with('-') &&
                       text.find('-', equals) == std::string::npos &&
                       CLI::detail::lexical_cast(text.substr(0, equals), interface) &&
                       CLI::detail::lexical_cast(text.substr(equals + 1), mtu);
  if (!isRight || interface == 0 || mtu == 0 || mtu > 0xFFFF) {
    throw CLI::ValidationError("--mtu", text +
                                            " is not INTERFACE=BYTES, both from 1 up, at most "
                                            "65535 bytes");
  }
  return {interface, mtu};
}

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
  replay.add_option("--journal", options.journalFile, "Write every hardware call to this file")
      ->type_name("FILE")
      ->check(fileName());
  replay
      .add_option("--plot", options.plotFile,
                  "Draw entries and hardware calls over the stream into this SVG file")
      ->type_name("FILE")
      ->check(fileName());
}

void addFaults(CLI::App& replay, ReplayOptions& options) {
  auto const complain = [](char const* option, std::exception const& error) {
    throw CLI::ValidationError(option, error.what());
  };
  auto* const file = replay.add_option_function<std::string>(
      "--faults",
      [&options, complain](std::string const& path) {
        try {
          options.faults = SoftAsic::faultProfilesOfFile(path);
        } catch (std::runtime_error const& error) {
          complain("--faults", error);
        }
      },
      "What the hardware does wrong: a profile file, see docs/faults.md");
  file->type_name("FILE")->check(existingFile());
  replay
      .add_option_function<std::vector<std::string>>(
          "--fault",
          [&options, complain](std::vector<std::string> const& texts) {
            for (std::string const& text : texts) {
              try {
                SoftAsic::faultIs(options.faults, text);
              } catch (SoftAsic::FaultProfileError const& error) {
                complain("--fault", error);
              }
            }
          },
          "The same for one table: TABLE:KEY=VALUE[,KEY=VALUE...], for instance "
          "group:refuse-every=3")
      ->type_name("FAULT")
      ->allow_extra_args(false);
  replay
      .add_option("--seed", options.faults.seed,
                  "What answers in random order are drawn from [that of the profile file, or 0]")
      ->type_name("N")
      ->check(notNegative());
}

// An output that is the input or another output would destroy it.
void requireDifferentFiles(ReplayOptions const& options) {
  std::map<std::filesystem::path, std::string> taken{
      {std::filesystem::weakly_canonical(options.file), "the stream"}};
  std::pair<char const*, std::string> const outputs[] = {{"--hardware-file", options.hardwareFile},
                                                         {"--hardware-file", options.ownersFile()},
                                                         {"--ring", options.ringFile},
                                                         {"--journal", options.journalFile},
                                                         {"--plot", options.plotFile}};
  for (auto const& [option, file] : outputs) {
    if (file.empty()) continue;
    auto const [at, isNew] = taken.emplace(std::filesystem::weakly_canonical(file), option);
    if (!isNew) throw CLI::ValidationError(option, file + " is the file of " + at->second);
  }
}

void addRestart(CLI::App& replay, ReplayOptions& options) {
  auto* const hardware = replay.add_option(
      "--hardware-file", options.hardwareFile,
      "Keep the hardware in this file, where it outlives the agent; beside it, in "
      "FILE.owners, what the agent has to know again");
  hardware->type_name("FILE")->check(fileName());
  replay
      .add_option("--hold", options.hold,
                  "Turns from the end of the stream until next hops from before the restart that "
                  "no route uses are removed")
      ->type_name("TURNS")
      ->capture_default_str()
      ->check(range(1, kMaxRows))
      ->needs(hardware);
  replay
      .add_option("--toggles", options.toggleDirectory,
                  "Directory of toggle files [none: every toggle has its default]")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory.description(""));
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
  replay
      ->add_option("--trace", options.traceLevel,
                   "Write the tables' text trace up to this level (0 to 9) to standard error")
      ->type_name("LEVEL")
      ->check(range(0, 9));
  replay->add_option("--ring", options.ringFile, "Write the binary trace to this file")
      ->type_name("FILE")
      ->check(fileName());
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
      ->check(pointedTo(2));
  replay
      ->add_option("--ecmp-rows", options.ecmpRows,
                   "Of these, the rows from 0 up that are for next hops of groups; row 0 stays "
                   "unused [half]")
      ->type_name("N")
      ->check(range(1, kPointerRows));
  replay
      ->add_option("--first-row", options.firstRow,
                   "First row to use for next hops of routes [the first above those]")
      ->type_name("N")
      ->check(notNegative());
  replay->add_option("--member-rows", options.memberRows, "Rows of the member table")
      ->type_name("N")
      ->capture_default_str()
      ->check(pointedTo(1));
  replay
      ->add_option("--group-rows", options.groupRows, "Rows of the group table; row 0 stays unused")
      ->type_name("N")
      ->capture_default_str()
      ->check(pointedTo(1));
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
  replay
      ->add_option_function<std::vector<std::string>>(
          "--mtu",
          [&options](std::vector<std::string> const& texts) {
            for (std::string const& text : texts)
              options.mtus.insert_or_assign(mtuOf(text).first, mtuOf(text).second);
          },
          fmt::format("MTU of an interface in bytes [{}]", NextHopParts::kDefaultMtu))
      ->type_name("INTERFACE=BYTES")
      ->allow_extra_args(false);
  replay->add_option("--slice", options.slice, "Messages read in one turn")
      ->type_name("N")
      ->capture_default_str()
      ->check(range(1, kMaxRows));

  addChecks(*replay, options);
  addFaults(*replay, options);
  addRestart(*replay, options);
  addNames(*replay, options);

  // What is right one by one and wrong together.
  replay->callback([&options] {
    requireDifferentFiles(options);
    if (options.ecmpRows && *options.ecmpRows >= options.rows) {
      throw CLI::ValidationError(
          "--ecmp-rows",
          fmt::format("{} leaves no row for next hops of routes in a table of {} rows",
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

std::string AgentOptions::ownersFile() const {
  if (hardwareFile.empty()) return {};
  std::error_code error;
  bool const isLink = std::filesystem::is_symlink(hardwareFile, error);
  std::string const target =
      isLink ? std::filesystem::weakly_canonical(hardwareFile, error).string() : std::string();
  return (target.empty() ? hardwareFile : target) + ".owners";
}

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
  if (ring->parsed()) return ringOptions;
  if (compare->parsed()) return compareOptions;
  if (catalogue->parsed()) return catalogueOptions;
  return replayOptions;
}

}  // namespace OrviaL3Agent
