#include "agent/Report.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <numeric>
#include <sstream>

#include "agent/RouteText.h"
#include "agent/TextHelpers.h"

namespace OrviaL3Agent {
namespace {

std::string stateText(ShownNextHop const& nextHop) {
  std::string state;
  switch (nextHop.state) {
    case NextHopState::programmed:
      return "programmed";
    case NextHopState::unanswered:
      return "unanswered";
    case NextHopState::refused:
      state = "refused";
      break;
    case NextHopState::parked:
      state = "parked";
      break;
    case NextHopState::notPlaced:
      state = text(nextHop.obstacle);
      break;
  }
  return nextHop.olderInRow ? state + " (an older record is in the row)" : state;
}

std::string pointerText(std::optional<std::uint16_t> const& pointer) {
  return pointer ? fmt::format("{}", *pointer) : "-";
}

std::string gatewayText(Identity const& identity) {
  if (!identity.gateway()) return "connected";
  std::ostringstream out;
  out << identity.gateway() << (identity.onlink() ? " onlink" : "");
  return out.str();
}

using Cells = std::array<std::string, 11>;
constexpr std::array<char const*, 11> kColumns{
    "row",         "family", "gateway",       "interface",      "ids",  "state",
    "destination", "l3Oif1", "mtuProfilePtr", "forwardingType", "valid"};

Cells cellsOf(ShownNextHop const& nextHop) {
  bool const isIpv6 = nextHop.identity.family() == Asic::AddressFamily::ipv6;
  Cells cells{nextHop.row ? fmt::format("{}", *nextHop.row) : "-",
              isIpv6 ? "IPv6" : "IPv4",
              gatewayText(nextHop.identity),
              fmt::format("{}", nextHop.identity.interfaceIndex()),
              fmt::format("{}", nextHop.ids),
              stateText(nextHop)};
  if (!nextHop.record) {
    std::fill(cells.begin() + 6, cells.end(), "-");
    return cells;
  }
  ShownNextHop::Record const& record = *nextHop.record;
  cells[6] = fmt::format("{}", record.fields.destination);
  cells[7] = pointerText(record.l3Oif1);
  cells[8] = pointerText(record.mtuProfilePtr);
  cells[9] = fmt::format("{}", record.fields.forwardingType.value());
  cells[10] = fmt::format("{}", record.fields.l2McL3McL2OifSysDstValid.value());
  return cells;
}

std::string timeText(OperationTime const& time) {
  if (time.count() == 0) return "none";
  return fmt::format("{} x, mean {} ns, max {} ns", time.count(), time.meanNanoseconds(),
                     time.maxNanoseconds());
}

// A sequence of counters by number, such as "attribute 7: 3".
template <class Counts>
std::string skippedText(char const* what, Counts const& counts) {
  std::string result;
  for (auto const& [number, count] : counts) {
    result += fmt::format("  {} {}: {}\n", what, number, count);
  }
  return result;
}

std::string skippedText(Fpm::SkipCounts const& skips) {
  if (skips.empty()) return "Skipped       nothing\n";
  return "Skipped as unknown\n" + skippedText("frame type", skips.frameTypes) +
         skippedText("message type", skips.messageTypes) +
         skippedText("route of family", skips.routeFamilies) +
         skippedText("next-hop attribute", skips.nextHopAttributes) +
         skippedText("route attribute", skips.routeAttributes);
}

// What a parked record waits for.
std::string waitingText(ShownNextHop const& nextHop) {
  if (nextHop.state != NextHopState::parked) return {};
  bool const interface = !nextHop.record->l3Oif1;
  bool const mtuProfile = !nextHop.record->mtuProfilePtr;
  if (interface && mtuProfile) return ", waits for its interface and its MTU profile";
  if (interface) return ", waits for its interface";
  return mtuProfile ? ", waits for its MTU profile" : "";
}

std::string problemText(NextHopReport const& report, char const* title) {
  std::vector<std::string> lines;
  for (ShownNextHop const& nextHop : report.live) {
    if (nextHop.state == NextHopState::programmed) continue;
    std::string const row = nextHop.row ? fmt::format("row {}, ", *nextHop.row) : std::string();
    lines.push_back(fmt::format("{}{}: {}", row, text(nextHop.identity), problemText(nextHop)));
  }
  return listText(title, lines, lines.size());
}

std::optional<std::uint16_t> pointerOf(StandInTable::Handle const& handle, std::uint16_t value) {
  if (!handle || !handle->isProgrammed()) return std::nullopt;
  return value;
}

template <class Entry>
ShownNextHop::Record recordOf(Entry const& entry) {
  return {entry.fields(), pointerOf(entry.l3Oif1Handle(), entry.l3Oif1()),
          pointerOf(entry.mtuProfilePtrHandle(), entry.mtuProfilePtr())};
}

// What the table and the hardware have of a next hop; `row` may be invalid.
template <class Table, class Key>
void addRecord(ShownNextHop& shown, Table const& table, Key const& key, Asic::Index row,
               Hardware const& hardware) {
  auto const parked = table.unresolvedEntry(key);
  shown.record = recordOf(parked ? parked->entry() : table.entry(key));
  if (row == Asic::Index::invalidIndex()) return;
  shown.row = row.value();
  bool const rowIsCurrent =
      shown.state == NextHopState::programmed || shown.state == NextHopState::unanswered;
  shown.olderInRow = !rowIsCurrent && hardware.row(*shown.row).contents.has_value();
}

NextHopReport ingressReport(Mapping const& mapping, Hardware const& hardware) {
  NextHopReport report;
  report.counts = mapping.ingress().counts();
  for (auto const& [identity, hop] : mapping.ingress().hops()) {
    report.live.push_back(shownNextHop(*hop, mapping, hardware));
  }
  return report;
}

NextHopReport ecmpReport(Mapping const& mapping, Hardware const& hardware) {
  NextHopReport report;
  report.counts = mapping.ecmp().counts();
  for (auto const& [identity, hop] : mapping.ecmp().hops()) {
    report.live.push_back(shownNextHop(*hop, mapping, hardware));
  }
  return report;
}

RouteReport routeReport(Mapping const& mapping) {
  RouteReport report;
  Routes const& routes = mapping.routes();
  report.counts = routes.counts();
  report.live = routes.routes().size();
  for (auto const& [key, route] : routes.routes()) {
    Routes::State const state = routes.state(route);
    ++report.states[state];
    bool const isFine = state == Routes::State::forwarded || state == Routes::State::drop;
    if (isFine) continue;
    report.problems.push_back(text(key) + " -> " + wayText(mapping, route));
  }
  return report;
}

std::string hopsText(NextHopReport const& report) {
  NextHopCounts const& counts = report.counts;
  std::string out = fmt::format(
      "  at the end  {}: {} programmed, {} parked, {} refused, {} unanswered, {} not placed\n",
      report.live.size(), report.liveIn(NextHopState::programmed),
      report.liveIn(NextHopState::parked), report.liveIn(NextHopState::refused),
      report.liveIn(NextHopState::unanswered), report.liveIn(NextHopState::notPlaced));
  out += fmt::format(
      "  on the way  {} made, {} ended, at most {} at once; {} had to wait, at most {} parked; {} "
      "not placed; {} tried again\n",
      counts.made, counts.ended, counts.peak, counts.waited, counts.peakParked,
      counted(counts.notPlaced, "time"), counted(counts.retried, "write"));
  return out;
}

std::string tableLine(char const* name, TableUse const& use, bool hasAllocator) {
  SoftAsic::Counts const& counts = use.hardware;
  std::string line = fmt::format(
      "  {:<12}{}, {}, {} in force; answers: {} accepted, {} refused, {} overtaken", name,
      counted(counts.writes, "write"), counted(counts.deletes, "delete"),
      counted(use.rowsInForce, "row"), counts.accepted, counts.refused, counts.overtaken);
  auto const add = [&line](std::uint64_t count, char const* what) {
    if (count > 0) line += fmt::format(", {} {}", count, what);
  };
  add(counts.repeated, "repeated");
  add(counts.late, "late");
  add(counts.lostAnswers, "lost");
  if (counts.lostWrites > 0) line += fmt::format("; {} lost", counted(counts.lostWrites, "write"));
  if (counts.withoutRow > 0) {
    line += fmt::format("; {} of what had no row", counted(counts.withoutRow, "delete"));
  }
  if (hasAllocator) {
    line += fmt::format("; {} in use, {} free, longest run {}", counted(use.inUse, "row"), use.free,
                        use.largestFreeRun);
  }
  return line + "\n";
}

}  // namespace

std::size_t NextHopReport::liveIn(NextHopState state) const {
  return static_cast<std::size_t>(
      std::count_if(live.begin(), live.end(),
                    [state](ShownNextHop const& nextHop) { return nextHop.state == state; }));
}

std::size_t RouteReport::liveIn(Routes::State state) const {
  auto const found = states.find(state);
  return found == states.end() ? 0 : found->second;
}

Report reportOf(Mapping const& mapping, Hardware const& hardware) {
  Report report;
  report.nextHopIds = mapping.nextHopCounts();
  report.groupIds = mapping.groupCounts();
  report.liveNextHopIds = mapping.ids().nextHops();
  report.identities = mapping.ids().identities();
  report.deferredWithdrawals = mapping.ids().counts().deferred;
  for (auto const& [id, entry] : mapping.ids().ids()) {
    bool const isNextHop = entry.as<Fpm::NextHop>() != nullptr;
    if (isNextHop && entry.routeHolds + entry.groupHolds == 0) ++report.unusedNextHopIds;
    if (entry.as<Fpm::BlackholeNextHop>() != nullptr) ++report.liveBlackholes;
    if (entry.withdrawn) ++report.withdrawnInUse;
  }
  report.routes = routeReport(mapping);
  report.ingress = ingressReport(mapping, hardware);
  report.ecmp = ecmpReport(mapping, hardware);
  report.groups = groupReport(mapping, hardware);
  report.ingressTable.hardware = hardware.device().ingressNextHops().counts();
  report.ingressTable.rowsInForce = Hardware::rowsInForce(hardware.device().ingressNextHops());
  report.commit = mapping.ingress().commitTime();
  report.remove = mapping.ingress().removeTime();
  return report;
}

ShownNextHop shownNextHop(IngressNextHops::Hop const& hop, Mapping const& mapping,
                          Hardware const& hardware) {
  ShownNextHop shown;
  shown.identity = hop.identity;
  shown.state = mapping.ingress().state(hop);
  shown.obstacle = hop.obstacle;
  shown.ids = mapping.ids().idsOf(hop.identity);
  if (hop.key) {
    addRecord(shown, *mapping.tables().ingress, hop.key, hop.key->hwEntryIndex(), hardware);
  }
  return shown;
}

ShownNextHop shownNextHop(EcmpNextHops::Hop const& hop, Mapping const& mapping,
                          Hardware const& hardware) {
  ShownNextHop shown;
  shown.identity = hop.identity;
  shown.state = mapping.ecmp().state(hop);
  shown.ids = mapping.ids().idsOf(hop.identity);
  Asic::Index const row = mapping.tables().ecmp->firstFreeIndexAllocator()->indexForKey(
      OrviaL3Unicast::EcmpIngL3NextHop1Traits::keyType(), &hop.identity);
  addRecord(shown, *mapping.tables().ecmp, hop.identity, row, hardware);
  return shown;
}

std::string problemText(ShownNextHop const& nextHop) {
  return stateText(nextHop) + waitingText(nextHop);
}

std::string tableText(NextHopReport const& report) {
  std::vector<Cells> rows;
  std::transform(kColumns.begin(), kColumns.end(), rows.emplace_back().begin(),
                 [](char const* name) { return std::string(name); });
  for (ShownNextHop const& nextHop : report.live) rows.push_back(cellsOf(nextHop));

  std::array<std::size_t, kColumns.size()> widths{};
  for (Cells const& cells : rows) {
    for (std::size_t i = 0; i < cells.size(); ++i) widths[i] = std::max(widths[i], cells[i].size());
  }
  std::string result;
  for (Cells const& cells : rows) {
    for (std::size_t i = 0; i + 1 < cells.size(); ++i) {
      result += fmt::format("{:<{}}  ", cells[i], widths[i]);
    }
    result += cells.back() + "\n";
  }
  return result;
}

std::string showText(Report const& report) {
  std::string out;
  if (!report.ingress.live.empty()) {
    out += "Next hops of routes\n" + tableText(report.ingress);
  }
  if (!report.ecmp.live.empty()) {
    out += (out.empty() ? "" : "\n");
    out += "Next hops of groups\n" + tableText(report.ecmp);
  }
  std::string const groups = showText(report.groups);
  if (!groups.empty()) out += (out.empty() ? "" : "\n") + ("Groups\n" + groups);
  if (report.routes.problems.size() > kMostListed) {
    out += (out.empty() ? "" : "\n") + std::string("Routes that are not forwarded as asked\n");
    for (std::string const& line : report.routes.problems) out += "  " + line + "\n";
  }
  return out.empty() ? "Nothing is announced that needs a row.\n" : out;
}

namespace {

std::string restartText(RestartReport const& restart) {
  IngressNextHops::Held const& hops = restart.nextHops;
  return fmt::format(
      "Restart       {} of routes found: {} used again, {} removed, {} held; {} without an owner\n"
      "  left        {}, {}, {} for groups\n",
      counted(hops.found, "next hop"), hops.claimed, hops.released, restart.waiting, hops.strangers,
      counted(restart.ecmpNextHops, "next-hop row"), counted(restart.members, "member row"),
      counted(restart.groups, "group row"));
}

std::string kernelText(KernelReport const& kernel) {
  return fmt::format(
      "Kernel        {}, {}, {} in force; {} wait for their way, {} refused\n"
      "  requests    {} in {}, {} sent again; {} found from before\n",
      counted(kernel.nextHops, "next hop"), counted(kernel.groups, "group"),
      counted(kernel.routes, "route"), counted(kernel.routesWaiting, "route"), kernel.routesRefused,
      kernel.requests, counted(kernel.sends, "send"), kernel.repeated,
      counted(kernel.fromBefore, "object"));
}

}  // namespace

std::string text(Report const& report) {
  using RouteState = Routes::State;
  using GroupIdState = ShownGroupId::State;
  StreamCounts const& stream = report.stream;
  std::string out;
  auto const line = [&out](fmt::string_view format, auto const&... values) {
    fmt::vformat_to(std::back_inserter(out), format, fmt::make_format_args(values...));
    out += '\n';
  };

  line("Replayed {}: {}, {}, {}, {} of the event loop", report.file,
       counted(report.fileSize, "byte"), counted(stream.frames, "frame"),
       counted(stream.messages, "message"), counted(report.turns, "turn"));
  if (report.error) line("Stopped at a fault of the stream: {}", *report.error);
  for (std::string const& other : report.otherUtilities) {
    line("Not simulated {}: its rows are told from what it was asked for and answered", other);
  }
  line("Messages      {}, {}, {}, {} of ids; {}, {}; {} skipped",
       counted(stream.nextHops, "next hop"), counted(stream.groups, "group"),
       counted(stream.blackholes, "blackhole"),
       counted(stream.nextHopWithdrawals + stream.groupWithdrawals + stream.blackholeWithdrawals +
                   stream.unknownWithdrawals,
               "withdrawal"),
       counted(stream.routes(), "route"), counted(stream.routeWithdrawals, "route withdrawal"),
       stream.skippedMessages);
  line("");

  auto const announced = [&](char const* what, Mapping::IdCounts const& counts) {
    line("{:<14}{} announced, {} announced again unchanged, {} changed, {} withdrawn", what,
         counts.announced, counts.repeated, counts.changed, counts.withdrawn);
  };
  announced("Next-hop ids", report.nextHopIds);
  line("  at the end  {} live, which name {}; {} that nothing uses", report.liveNextHopIds,
       report.identities == 1 ? std::string("1 identity")
                              : fmt::format("{} identities", report.identities),
       report.unusedNextHopIds);
  announced("Group ids", report.groupIds);
  line(
      "  at the end  {} live: {} with a group, {} waiting for members, {} that drop, {} that drop "
      "in part, {} not possible; {} came before their members",
      report.groups.ids.size(), report.groups.idsIn(GroupIdState::group),
      report.groups.idsIn(GroupIdState::missingMembers), report.groups.idsIn(GroupIdState::drops),
      report.groups.idsIn(GroupIdState::dropsInPart),
      report.groups.idsIn(GroupIdState::notPossible), report.groups.idCounts.waited);
  line("Blackholes    {} announced, {} withdrawn, {} live", stream.blackholes,
       stream.blackholeWithdrawals, report.liveBlackholes);
  line("Withdrawn     {} while in use, {} still waiting for the last user; {} not known",
       report.deferredWithdrawals, report.withdrawnInUse, counted(stream.unknownWithdrawals, "id"));
  Routes::Counts const& routes = report.routes.counts;
  line(
      "Routes        {} announced, {} announced again unchanged, {} changed, {} withdrawn, {} not "
      "known",
      routes.announced, routes.repeated, routes.changed, routes.withdrawn,
      counted(routes.unknownWithdrawals, "withdrawal"));
  line(
      "  at the end  {}: {} forwarded, {} over the way before, {} that drop, {} waiting for an id, "
      "{} whose way is not in "
      "hardware, {} not possible; {} came before their id",
      report.routes.live, report.routes.liveIn(RouteState::forwarded),
      report.routes.liveIn(RouteState::formerWay), report.routes.liveIn(RouteState::drop),
      report.routes.liveIn(RouteState::unknownId), report.routes.liveIn(RouteState::notInForce),
      report.routes.liveIn(RouteState::notPossible), routes.waitedForId);
  line("");
  line("Next hops of routes");
  out += hopsText(report.ingress);
  line("Next hops of groups");
  out += hopsText(report.ecmp);
  out += summaryText(report.groups);
  line("");
  line("Hardware");
  out += tableLine("ingress", report.ingressTable, false);
  out += tableLine("ecmp", report.groups.nextHopTable, true);
  out += tableLine("member", report.groups.memberTable, true);
  out += tableLine("group", report.groups.groupTable, true);
  if (report.kernel) out += kernelText(*report.kernel);
  if (report.restart) out += restartText(*report.restart);
  line("Interfaces    {} in use, at most {}", report.interfaces, report.interfacesPeak);
  line("Time          of next hops of routes: commit {}; remove {}", timeText(report.commit),
       timeText(report.remove));
  out += skippedText(stream.skips);
  out += problemText(report.ingress, "Next hops of routes that are not programmed");
  out += problemText(report.ecmp, "Next hops of groups that are not programmed");
  out += listText(report.groups);
  if (report.kernel) {
    out += listText("Routes that the kernel refused", report.kernel->refusals,
                    report.kernel->routesRefused);
  }
  out += listText("Routes that are not forwarded as asked", report.routes.problems,
                  report.routes.problems.size());
  return out;
}

}  // namespace OrviaL3Agent
