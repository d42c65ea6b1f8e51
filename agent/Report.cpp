#include "agent/Report.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace OrviaL3Agent {
namespace {

// A longer list than this is for `--show`.
constexpr std::size_t kMostListed = 20;

std::string stateText(ShownNextHop const& nextHop) {
  std::string state;
  switch (nextHop.state) {
    case ShownNextHop::State::programmed:
      return "programmed";
    case ShownNextHop::State::unanswered:
      return "unanswered";
    case ShownNextHop::State::refused:
      state = "refused";
      break;
    case ShownNextHop::State::parked:
      state = "parked";
      break;
    case ShownNextHop::State::notPlaced:
      state = text(nextHop.obstacle);
      break;
  }
  return nextHop.olderInRow ? state + " (an older record is in the row)" : state;
}

std::string pointerText(std::optional<std::uint16_t> const& pointer) {
  return pointer ? fmt::format("{}", *pointer) : "-";
}

using Cells = std::array<std::string, 11>;
constexpr std::array<char const*, 11> kColumns{
    "id",          "row",    "family",        "gateway",        "interface", "state",
    "destination", "l3Oif1", "mtuProfilePtr", "forwardingType", "valid"};

Cells cellsOf(ShownNextHop const& nextHop) {
  Cells cells{fmt::format("{}", nextHop.contents.id),
              nextHop.row ? fmt::format("{}", *nextHop.row) : "-",
              Fpm::familyText(nextHop.contents.family),
              gatewayText(nextHop.contents),
              fmt::format("{}", nextHop.contents.interface),
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

// "1 row", "2 rows".
std::string counted(std::uint64_t count, char const* thing) {
  return fmt::format("{} {}{}", count, thing, count == 1 ? "" : "s");
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
  bool const interface = !nextHop.record->l3Oif1;
  bool const mtuProfile = !nextHop.record->mtuProfilePtr;
  if (interface && mtuProfile) return ", waits for its interface and its MTU profile";
  if (interface) return ", waits for its interface";
  return mtuProfile ? ", waits for its MTU profile" : "";
}

// The next hops in one state, one per line, as many as a summary bears.
std::string listText(Report const& report, ShownNextHop::State state, char const* title) {
  std::size_t const count = report.liveIn(state);
  if (count == 0) return {};
  std::string result = fmt::format("{}\n", title);
  std::size_t listed = 0;
  for (ShownNextHop const& nextHop : report.live) {
    if (nextHop.state != state) continue;
    if (listed++ == kMostListed) break;
    result += fmt::format("  id {}, ", nextHop.contents.id);
    if (nextHop.row) result += fmt::format("row {}, ", *nextHop.row);
    result += fmt::format("{} on interface {}: {}{}\n", gatewayText(nextHop.contents),
                          nextHop.contents.interface, stateText(nextHop),
                          state == ShownNextHop::State::parked ? waitingText(nextHop) : "");
  }
  if (count > kMostListed)
    result += fmt::format("  and {} more (see --show)\n", count - kMostListed);
  return result;
}

}  // namespace

std::size_t Report::liveIn(ShownNextHop::State state) const {
  return static_cast<std::size_t>(
      std::count_if(live.begin(), live.end(),
                    [state](ShownNextHop const& nextHop) { return nextHop.state == state; }));
}

std::string gatewayText(Fpm::NextHop const& nextHop) {
  if (!nextHop.gateway) return "connected";
  return Fpm::text(*nextHop.gateway) + (nextHop.onlink ? " onlink" : "");
}

std::string tableText(Report const& report) {
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

std::string text(Report const& report) {
  using State = ShownNextHop::State;
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
  line("Messages      {}, {}, {}, {} of ids; {}, {}; {} skipped",
       counted(stream.nextHops, "next hop"), counted(stream.groups, "group"),
       counted(stream.blackholes, "blackhole"),
       counted(stream.nextHopWithdrawals + stream.groupWithdrawals + stream.blackholeWithdrawals +
                   stream.unknownWithdrawals,
               "withdrawal"),
       counted(stream.routes(), "route"), counted(stream.routeWithdrawals, "route withdrawal"),
       stream.skippedMessages);
  line("");
  line("Next hops     {} announced, {} announced again unchanged, {} changed, {} withdrawn",
       report.nextHops.announced, report.nextHops.repeated, report.nextHops.changed,
       report.nextHops.withdrawn);
  line("  at the end  {} live: {} programmed, {} parked, {} refused, {} unanswered, {} not placed",
       report.live.size(), report.liveIn(State::programmed), report.liveIn(State::parked),
       report.liveIn(State::refused), report.liveIn(State::unanswered),
       report.liveIn(State::notPlaced));
  line("  on the way  at most {} live, {} parked; {} of {} had to wait", report.nextHops.peak,
       report.nextHops.peakParked, report.nextHops.waited,
       counted(report.commit.count(), "commit"));
  line("Hardware      {}, {}, {} in force", counted(report.hardware.writes, "write"),
       counted(report.hardware.deletes, "delete"), counted(report.rowsInForce, "row"));
  line("  answers     {}: {} accepted, {} refused, {} overtaken by a later write or delete",
       report.hardwareAnswers, report.hardware.accepted, report.hardware.refused,
       report.hardware.overtaken);
  line("Interfaces    {} in use, at most {}", report.interfaces, report.interfacesPeak);
  line("Time          commit {}; remove {}", timeText(report.commit), timeText(report.remove));
  line("");
  out += summaryText(report.groups);
  line("");
  line("Not handled yet");
  line(
      "  routes      {} announced, {} withdrawn; {} by next-hop id, {} with paths of their own, {} "
      "that drop",
      stream.routes(), stream.routeWithdrawals, stream.routesById, stream.routesWithPaths,
      stream.routesThatDrop);
  line("Need no row\n  blackholes  {} announced, {} withdrawn, {} live", stream.blackholes,
       stream.blackholeWithdrawals, report.liveBlackholes);
  if (stream.unknownWithdrawals > 0) {
    line("Unknown ids   {} withdrawn without having been announced", stream.unknownWithdrawals);
  }
  out += skippedText(stream.skips);
  out += listText(report, State::parked, "Parked");
  out += listText(report, State::refused, "Refused by the hardware");
  out += listText(report, State::notPlaced, "Not placed");
  out += listText(report.groups);
  return out;
}

}  // namespace OrviaL3Agent
