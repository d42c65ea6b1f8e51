#include "agent/serve/ServeCommandLine.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <vector>

#include "agent/AgentCommandLine.h"
#include "agent/PrefixTable.h"

namespace OrviaL3Agent {
namespace {

constexpr char const* kServeExamples =
    R"(Listens for one routing daemon (FPM over TCP) and programs what it says. When the daemon goes, all
stays as it is. When it is back, what it says again as it was is not touched, and what it has not
said again when it has been silent for the hold time is removed. SIGTERM and SIGINT end the agent.

FPM knows no authentication: whoever can connect decides where packets go. Only loopback addresses
can be listened at.

A TURN is one round of the agent's event loop: due timers, one slice of the stream, the hardware's
answers.

Examples:
  orvia-l3-agent serve
  orvia-l3-agent serve --listen 2621 --control agent.sock --metrics 127.0.0.1:9632
  orvia-l3-agent serve --hardware-file /var/lib/orvia/asic --hold 30
  ip netns exec router orvia-l3-agent serve --kernel=plane --daemon-netns router

Exit codes: 0 ended by a signal, 1 something could not be had or kept, 2 wrong usage, 3 a check
found something.
)";

constexpr char const* kCtlExamples = R"(Examples:
  orvia-l3-agent ctl verbs
  orvia-l3-agent ctl show groups
  orvia-l3-agent ctl show routes 203.0.113.0/24 --json
  orvia-l3-agent ctl why
  orvia-l3-agent ctl interface 3 down

Exit codes: 0 done, 1 the agent cannot be reached or says nothing, 2 wrong request.
)";

// Of a loopback address, its text as it was; nothing for any other.
bool isLoopback(Fpm::Address const& address) {
  if (address.family == AF_INET) return address.bytes[0] == 127;
  return addressOf("::1") == address;
}

std::optional<std::uint16_t> portOf(std::string const& text) {
  std::uint32_t port = 0;
  bool const isNumber = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  if (!isNumber || !CLI::detail::lexical_cast(text, port) || port > 0xFFFF) return std::nullopt;
  return static_cast<std::uint16_t>(port);
}

std::chrono::milliseconds timeOf(std::string const& option, double seconds,
                                 std::chrono::milliseconds least) {
  constexpr double kMostSeconds = 86400;
  double const leastSeconds = std::chrono::duration<double>(least).count();
  if (!(seconds >= leastSeconds && seconds <= kMostSeconds)) {
    throw CLI::ValidationError(option, fmt::format("{} is not a number of seconds from {} to {}",
                                                   seconds, leastSeconds, kMostSeconds));
  }
  return std::chrono::milliseconds(std::llround(seconds * 1000));
}

void addSockets(CLI::App& serve, ServeOptions& options) {
  serve
      .add_option_function<std::string>(
          "--listen",
          [&options](std::string const& text) {
            options.listen = endpointOf("--listen", text, options.listen);
          },
          fmt::format("Where the routing daemon connects: a port of 127.0.0.1, or of another "
                      "loopback address [{}:{}]",
                      options.listen.address, options.listen.port))
      ->type_name("[ADDRESS:]PORT");
  options.controlPath = defaultControlPath();
  serve
      .add_option("--control", options.controlPath,
                  "Control socket for `orvia-l3-agent ctl`, of this user only [" +
                      options.controlPath + "]")
      ->type_name("PATH")
      ->check(fileName());
  serve
      .add_option_function<std::string>(
          "--metrics",
          [&options](std::string const& text) {
            options.metrics = endpointOf("--metrics", text, options.metrics);
            // The HTTP server takes no others.
            if (options.metrics.address.find(':') != std::string::npos) {
              throw CLI::ValidationError(
                  "--metrics",
                  text + " is an IPv6 address: IPv4 only, for instance 127.0.0.1:9632");
            }
            options.hasMetrics = true;
          },
          "Where figures for Prometheus can be read, IPv4 only [nowhere]")
      ->type_name("[ADDRESS:]PORT");
  serve
      .add_option_function<double>(
          "--hold",
          [&options](double seconds) {
            options.hold = timeOf("--hold", seconds, ServeOptions::kLeastHold);
          },
          fmt::format("Silence of a connection, in seconds, after which what it has not announced "
                      "again is removed; without one, at the latest {} times as long after the "
                      "beginning [{}]",
                      ServeOptions::kMostHolds,
                      std::chrono::duration<double>(options.hold).count()))
      ->type_name("SECONDS");
}

}  // namespace

std::string defaultControlPath() {
  constexpr char const* kName = "/orvia-l3-agent.sock";
  char const* const directory = std::getenv("XDG_RUNTIME_DIR");
  if (directory != nullptr && *directory != '\0') return std::string(directory) + kName;
  if (::geteuid() == 0) return std::string("/run") + kName;
  return std::filesystem::temp_directory_path() /
         fmt::format("orvia-l3-agent-{}.sock", ::geteuid());
}

Endpoint endpointOf(std::string const& option, std::string const& text, Endpoint endpoint) {
  std::size_t const colon = text.rfind(':');
  std::string const portText = colon == std::string::npos ? text : text.substr(colon + 1);
  std::optional<std::uint16_t> const port = portOf(portText);
  bool isAddress = true;
  if (colon != std::string::npos) {
    std::string address = text.substr(0, colon);
    bool const isBracketed = address.starts_with('[') && address.ends_with(']');
    if (isBracketed) address = address.substr(1, address.size() - 2);
    std::optional<Fpm::Address> const parsed = addressOf(address);
    isAddress = parsed && isBracketed == (parsed->family == AF_INET6);
    if (port && isAddress && !isLoopback(*parsed)) {
      throw CLI::ValidationError(
          option, address + " is no loopback address: nobody who connects is asked who he is");
    }
    endpoint.address = address;
  }
  if (!port || !isAddress) {
    throw CLI::ValidationError(option,
                               text + " is not [ADDRESS:]PORT, for instance 127.0.0.1:2620");
  }
  endpoint.port = *port;
  return endpoint;
}

CLI::App* addServe(CLI::App& app, ServeOptions& options) {
  CLI::App* const serve =
      app.add_subcommand("serve", "Program what a routing daemon says, until a signal");
  serve->footer(kServeExamples);
  addSockets(*serve, options);
  addTraceOptions(*serve, options);
  addTableOptions(*serve, options);
  serve->add_option("--slice", options.slice, "Most messages read in one turn")
      ->type_name("N")
      ->capture_default_str()
      ->check(range(1, kMaxRows));
  serve->add_flag("--verify", options.verify,
                  "Compare, at the end, the hardware's rows with what the stream asked for");
  serve->add_flag("--check-forwarding", options.checkForwarding,
                  "Follow every group to its next hops after every hardware call");
  addJournalOption(*serve, options);
  serve->get_option("--journal")
      ->description(
          "Write every hardware call to this file at the end. Until then all are kept in "
          "memory, more with every call: for tests, not for a service");
  addFaultOptions(*serve, options);
  addHardwareFileOption(*serve, options);
  addToggleOption(*serve, options);
  addKernelOptions(*serve, options);
  serve->callback([serve, &options] {
    takeKernelOptions(*serve, options);
    std::vector<NamedFile> files = filesOf(options);
    files.emplace_back("--control", options.controlPath);
    requireDifferentFiles(files);
    requireRowsThatFit(options);
  });
  return serve;
}

CLI::App* addCtl(CLI::App& app, CtlOptions& options) {
  CLI::App* const ctl =
      app.add_subcommand("ctl", "Ask a running agent, or tell it to do something");
  ctl->footer(kCtlExamples);
  options.socket = defaultControlPath();
  ctl->add_option("--socket", options.socket, "Its control socket [" + options.socket + "]")
      ->type_name("PATH")
      ->check(fileName());
  ctl->add_option_function<double>(
         "--timeout",
         [&options](double seconds) {
           options.timeout = timeOf("--timeout", seconds, std::chrono::milliseconds(0));
         },
         fmt::format("Seconds for which the agent may say nothing before it is given up; 0: for "
                     "ever. `trace follow` waits for ever once it has begun [{}]",
                     std::chrono::duration<double>(options.timeout).count()))
      ->type_name("SECONDS");
  ctl->add_flag("--json", options.json, "One JSON document, see docs/schemas");
  ctl->add_flag("--svg", options.svg, "With dot: a picture, made by Graphviz");
  // Not as a positional of the parser, which would take a value such as -5 for an option.
  ctl->allow_extras();
  ctl->callback([ctl, &options] {
    options.words = ctl->remaining();
    if (options.words.empty()) throw CLI::RequiredError("WORD");
  });
  return ctl;
}

}  // namespace OrviaL3Agent
