#include "agent/AgentCommandLine.h"

#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "agent/NextHopParts.h"

namespace OrviaL3Agent {
namespace {

// What a 16-bit pointer of another table's rows can name.
constexpr std::uint32_t kPointerRows = 1U << 16U;

// What the parser takes for the value of a flag that has none.
constexpr char const* kNoValue = "true";
// The ids that follow have to be numbers as well.
constexpr std::uint32_t kLastFirstId = 0x7FFFFFFF;

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

void addSizes(CLI::App& command, AgentOptions& options) {
  command.add_option("--rows", options.rows, "Rows of the next-hop table")
      ->type_name("N")
      ->capture_default_str()
      ->check(pointedTo(2));
  command
      .add_option("--ecmp-rows", options.ecmpRows,
                  "Of these, the rows from 0 up that are for next hops of groups; row 0 stays "
                  "unused [half]")
      ->type_name("N")
      ->check(range(1, kPointerRows));
  command
      .add_option("--first-row", options.firstRow,
                  "First row to use for next hops of routes [the first above those]")
      ->type_name("N")
      ->check(notNegative());
  command.add_option("--member-rows", options.memberRows, "Rows of the member table")
      ->type_name("N")
      ->capture_default_str()
      ->check(pointedTo(1));
  command
      .add_option("--group-rows", options.groupRows, "Rows of the group table; row 0 stays unused")
      ->type_name("N")
      ->capture_default_str()
      ->check(pointedTo(1));
  command.add_option("--max-width", options.maxWidth, "Most member rows of one group")
      ->type_name("N")
      ->capture_default_str()
      ->check(range(1, 0xFFFF));
}

void addDelays(CLI::App& command, AgentOptions& options) {
  command
      .add_option_function<std::string>(
          "--interface-delay",
          [&options](std::string const& text) {
            options.interfaceDelay = delayOf("--interface-delay", text);
          },
          fmt::format(
              "Turns from the first use of an interface until it is programmed, or never [{}]",
              *options.interfaceDelay))
      ->type_name("TURNS");
  command
      .add_option_function<std::string>(
          "--mtu-delay",
          [&options](std::string const& text) { options.mtuDelay = delayOf("--mtu-delay", text); },
          fmt::format("The same for an MTU profile [{}]", *options.mtuDelay))
      ->type_name("TURNS");
}

}  // namespace

CLI::Validator existingFile() { return CLI::ExistingFile.description(""); }

CLI::Validator notNegative() {
  return {[](std::string const& text) -> std::string {
            return text.starts_with('-') ? text + " is negative" : std::string();
          },
          ""};
}

CLI::Validator fileName() {
  return {[](std::string const& name) -> std::string {
            return name.empty() ? "the name of the file is empty" : std::string();
          },
          ""};
}

CLI::Validator range(std::uint32_t first, std::uint32_t last) {
  return CLI::Range(first, last).description("");
}

void addTraceOptions(CLI::App& command, AgentOptions& options) {
  command
      .add_option("--trace", options.traceLevel,
                  "Write the tables' text trace up to this level (0 to 9) to standard error")
      ->type_name("LEVEL")
      ->check(range(0, 9));
  command.add_option("--ring", options.ringFile, "Write the binary trace to this file")
      ->type_name("FILE")
      ->check(fileName());
}

void addTableOptions(CLI::App& command, AgentOptions& options) {
  command
      .add_option_function<std::string>(
          "--answer",
          [&options](std::string const& when) {
            options.answer = when == "now" ? AgentOptions::Answer::now : AgentOptions::Answer::loop;
          },
          "When the hardware answers a write: now (within the call) or loop (at the end of the "
          "turn) [loop]")
      ->type_name("WHEN")
      ->check([](std::string const& when) -> std::string {
        if (when == "now" || when == "loop") return {};
        return when + " is neither now nor loop";
      });
  command.add_option("--refuse-row", options.refusedRows, "Rows that the hardware refuses")
      ->type_name("ROW")
      ->check(notNegative());
  addSizes(command, options);
  addDelays(command, options);
  command
      .add_option_function<std::vector<std::string>>(
          "--mtu",
          [&options](std::vector<std::string> const& texts) {
            for (std::string const& text : texts)
              options.mtus.insert_or_assign(mtuOf(text).first, mtuOf(text).second);
          },
          fmt::format("MTU of an interface in bytes [{}]", NextHopParts::kDefaultMtu))
      ->type_name("INTERFACE=BYTES")
      ->allow_extra_args(false);
}

void addJournalOption(CLI::App& command, AgentOptions& options) {
  command.add_option("--journal", options.journalFile, "Write every hardware call to this file")
      ->type_name("FILE")
      ->check(fileName());
}

void addFaultOptions(CLI::App& command, AgentOptions& options) {
  auto const complain = [](char const* option, std::exception const& error) {
    throw CLI::ValidationError(option, error.what());
  };
  auto* const file = command.add_option_function<std::string>(
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
  command
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
  command
      .add_option("--seed", options.faults.seed,
                  "What answers in random order are drawn from [that of the profile file, or 0]")
      ->type_name("N")
      ->check(notNegative());
}

CLI::Option* addHardwareFileOption(CLI::App& command, AgentOptions& options) {
  return command
      .add_option("--hardware-file", options.hardwareFile,
                  "Keep the hardware in this file, where it outlives the agent; beside it, in "
                  "FILE.owners, what the agent has to know again")
      ->type_name("FILE")
      ->check(fileName());
}

void addKernelOptions(CLI::App& command, AgentOptions& options) {
  // A flag, since only then nothing but what stands behind "=" is its value.
  command
      .add_flag("--kernel", options.kernel.netns,
                "Program the next-hop objects and routes of the Linux kernel in that network "
                "namespace [the agent's own]; they stay there when the agent ends")
      ->type_name("[=NETNS]");
  CLI::Option* const daemon =
      command
          .add_option("--daemon-netns", options.kernel.daemonNetns,
                      "The routing daemon's network namespace, whose interface numbers the stream "
                      "has; interfaces are matched by name [the agent's own]")
          ->type_name("NETNS")
          ->check(fileName());
  CLI::Option* const ids =
      command
          .add_option("--kernel-ids", options.kernel.firstId, "First id of the next-hop objects")
          ->type_name("ID")
          ->capture_default_str()
          ->check(range(1, kLastFirstId));
  for (CLI::Option* const option : {daemon, ids}) option->needs("--kernel");
}

void takeKernelOptions(CLI::App const& command, AgentOptions& options) {
  if (command.count("--kernel") == 0) return;
  options.kernel.isOn = true;
  if (options.kernel.netns == kNoValue) options.kernel.netns.clear();
  for (char const* const name :
       {"--hardware-file", "--answer", "--refuse-row", "--faults", "--fault"}) {
    if (command.count(name) == 0) continue;
    throw CLI::ValidationError(name, "is of the simulated hardware, and --kernel of another one");
  }
}

void addToggleOption(CLI::App& command, AgentOptions& options) {
  command
      .add_option("--toggles", options.toggleDirectory,
                  "Directory of toggle files [none: every toggle has its default]")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory.description(""));
}

void requireRowsThatFit(AgentOptions const& options) {
  if (options.ecmpRows && *options.ecmpRows >= options.rows) {
    throw CLI::ValidationError(
        "--ecmp-rows", fmt::format("{} leaves no row for next hops of routes in a table of {} rows",
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
          "--refuse-row", fmt::format("{} is not a row of a table of {} rows", row, options.rows));
    }
  }
}

std::vector<NamedFile> filesOf(AgentOptions const& options) {
  return {{"--hardware-file", options.hardwareFile},
          {"--hardware-file", options.ownersFile()},
          {"--ring", options.ringFile},
          {"--journal", options.journalFile}};
}

void requireDifferentFiles(std::vector<NamedFile> const& files) {
  std::map<std::filesystem::path, std::string> taken;
  for (auto const& [name, file] : files) {
    if (file.empty()) continue;
    // A pipe of the shell's is a link to a name that is none.
    std::error_code error;
    std::filesystem::path path = std::filesystem::weakly_canonical(file, error);
    if (error) path = std::filesystem::absolute(file).lexically_normal();
    auto const [at, isNew] = taken.emplace(std::move(path), name);
    if (!isNew) throw CLI::ValidationError(name, file + " is the file of " + at->second);
  }
}

void requireWritable(char const* option, std::string const& path) {
  if (path.empty()) return;
  bool const isThere = std::filesystem::exists(path);
  if (!std::ofstream(path, std::ios::app)) {
    throw std::system_error(errno, std::generic_category(), fmt::format("{} {}", option, path));
  }
  if (!isThere) std::filesystem::remove(path);
}

std::string AgentOptions::ownersFile() const {
  if (hardwareFile.empty()) return {};
  std::error_code error;
  bool const isLink = std::filesystem::is_symlink(hardwareFile, error);
  std::string const target =
      isLink ? std::filesystem::weakly_canonical(hardwareFile, error).string() : std::string();
  return (target.empty() ? hardwareFile : target) + ".owners";
}

}  // namespace OrviaL3Agent
