#include "agent/serve/FoundRows.h"

#include <fmt/format.h>

#include <filesystem>
#include <string>

#include "agent/Hardware.h"

namespace OrviaL3Agent {

std::optional<FoundRows> foundRows(AgentOptions const& options) {
  std::error_code error;
  if (options.hardwareFile.empty() || !std::filesystem::exists(options.hardwareFile, error)) {
    return std::nullopt;
  }
  // A hardware that no table is attached to changes nothing.
  Hardware const hardware(options);
  SoftAsic::SoftDevice const& device = hardware.device();
  return FoundRows{.ingress = device.ingressNextHops().rowsFromBefore(),
                   .ecmp = device.ecmpNextHops().rowsFromBefore(),
                   .members = device.members().rowsFromBefore(),
                   .groups = device.groups().rowsFromBefore()};
}

void logRestart(Log const& log, FoundRows const& found, Agent const& agent) {
  log.info(fmt::format("{} holds from before: ingress {}, ecmp {}, member {}, group {} rows",
                       agent.options().hardwareFile, found.ingress, found.ecmp, found.members,
                       found.groups));
  IngressNextHops::Held const& held = agent.mapping().ingress().heldCounts();
  if (held.found > 0) {
    log.info(
        fmt::format("the {} rows of ingress, {} of them of nobody known, go on forwarding and "
                    "are held until the routing daemon has said all",
                    held.found, held.strangers));
  }
  if (found.ecmp + found.members + found.groups == 0) return;
  if (agent.hardware().device().groups().counts().deleteAlls > 0) {
    log.warning(
        "the rows of ecmp, member and group were cleared: nothing is forwarded over groups "
        "until the routing daemon has announced them (toggle ClearHwTableOnRestart)");
  } else {
    log.warning(
        "the rows of ecmp, member and group go on forwarding until they are written anew "
        "(toggle ClearHwTableOnRestart is off)");
  }
}

}  // namespace OrviaL3Agent
