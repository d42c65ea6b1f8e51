#include "agent/serve/FoundRows.h"

#include <fmt/format.h>

#include <filesystem>
#include <string>

#include "agent/Hardware.h"
#include "agent/kernel/Kernel.h"
#include "plugins/kernel-nexthop/NamespaceSocket.h"

namespace OrviaL3Agent {
namespace {

void logHeld(Log const& log, IngressNextHops::Held const& held) {
  if (held.found == 0) return;
  log.info(
      fmt::format("the {} rows of ingress, {} of them of nobody known, go on forwarding and "
                  "are held until the routing daemon has said all",
                  held.found, held.strangers));
}

}  // namespace

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
  logHeld(log, agent.mapping().ingress().heldCounts());
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

void logKernel(Log const& log, Agent const& agent) {
  KernelNextHop::KernelDevice const& device = agent.kernel()->device();
  KernelNextHop::Counts const& found = device.counts();
  std::uint32_t const first = device.ids().first();
  log.info(fmt::format(
      "programming the kernel of {}, ids {} to {}, protocol {}; found {} next hops, "
      "{} groups, {} routes",
      KernelNextHop::namespaceText(device.options().netns), first, first + device.ids().count() - 1,
      device.options().protocol, found.nextHopsFromBefore, found.groupsFromBefore,
      found.fromBefore - found.nextHopsFromBefore - found.groupsFromBefore));
  IngressNextHops::Held const& held = agent.mapping().ingress().heldCounts();
  logHeld(log, held);
  std::uint64_t const others = found.nextHopsFromBefore + found.groupsFromBefore - held.found;
  if (others == 0) return;
  if (agent.hardware().device().groups().counts().deleteAlls > 0) {
    log.warning(fmt::format(
        "the {} other next hops and groups are cleared, and with them the routes over them: "
        "nothing is forwarded there until the routing daemon has announced them (toggle "
        "ClearHwTableOnRestart)",
        others));
  } else {
    log.info(fmt::format(
        "the {} other next hops and groups go on forwarding until the routing daemon has said all "
        "(toggle ClearHwTableOnRestart is off)",
        others));
  }
}

}  // namespace OrviaL3Agent
