#include "agent/Replay.h"

#include <fmt/format.h>
#include <linux/rtnetlink.h>

#include <cstdio>

#include "agent/Tracing.h"

namespace OrviaL3Agent {

namespace {

std::optional<std::uint16_t> pointerOf(StandInTable::Handle const& handle, std::uint16_t value) {
  if (!handle || !handle->isProgrammed()) return std::nullopt;
  return value;
}

ShownNextHop::Record recordOf(NextHops::Table::Entry const& entry) {
  return {entry.fields(), pointerOf(entry.l3Oif1Handle(), entry.l3Oif1()),
          pointerOf(entry.mtuProfilePtrHandle(), entry.mtuProfilePtr())};
}

}  // namespace

// What becomes of each kind of message.
struct Replay::Dispatch {
  Replay& replay;

  // An id has one kind at a time; announcing it as another kind ends what it was.
  void operator()(Fpm::NextHop const& nextHop) const {
    ++replay.counts_.nextHops;
    replay.groups_.groupDel(nextHop.id);
    replay.otherIds_.idDel(nextHop.id);
    replay.nextHops_.nextHopIs(nextHop);
    replay.groups_.memberIs(nextHop.id);
  }
  void operator()(Fpm::NextHopGroup const& group) const {
    ++replay.counts_.groups;
    replay.nextHops_.nextHopDel(group.id);
    replay.otherIds_.idIs(group.id, OtherIds::Kind::group);
    replay.groups_.memberDel(group.id);
    replay.groups_.groupIs(group);
  }
  void operator()(Fpm::BlackholeNextHop const& blackhole) const {
    ++replay.counts_.blackholes;
    replay.nextHops_.nextHopDel(blackhole.id);
    replay.groups_.groupDel(blackhole.id);
    replay.otherIds_.idIs(blackhole.id, OtherIds::Kind::blackhole);
    replay.groups_.memberIs(blackhole.id);
  }
  void operator()(Fpm::NextHopWithdrawal const& withdrawal) const {
    if (replay.nextHops_.nextHopDel(withdrawal.id)) {
      ++replay.counts_.nextHopWithdrawals;
      replay.groups_.memberDel(withdrawal.id);
    } else if (auto const kind = replay.otherIds_.idDel(withdrawal.id)) {
      replay.groups_.groupDel(withdrawal.id);
      ++(*kind == OtherIds::Kind::group ? replay.counts_.groupWithdrawals
                                        : replay.counts_.blackholeWithdrawals);
    } else {
      ++replay.counts_.unknownWithdrawals;
    }
  }
  void operator()(Fpm::Route const& route) const {
    if (route.nextHopId) {
      ++replay.counts_.routesById;
    } else if (route.type == RTN_UNICAST) {
      ++replay.counts_.routesWithPaths;
    } else {
      ++replay.counts_.routesThatDrop;
    }
  }
  void operator()(Fpm::RouteWithdrawal const&) const { ++replay.counts_.routeWithdrawals; }
  void operator()(Fpm::SkippedMessage const&) const { ++replay.counts_.skippedMessages; }
};

Replay::Replay(ReplayOptions const& options)
    : options_(options),
      interfaces_(loop_, options.interfaceDelay),
      mtuProfiles_(loop_, options.mtuDelay),
      hardware_(options),
      table_(NextHops::Table::IngL3NextHop1TableIs()),
      nextHops_(table_, interfaces_, mtuProfiles_,
                std::make_shared<RowPool>(options.firstRow.value_or(options.firstIngressRow()),
                                          options.rows - 1)),
      ecmpTable_(EcmpNextHops::Table::EcmpIngL3NextHop1TableIs()),
      memberTable_(Groups::MemberTable::L3EcmpMemberTableIs()),
      groupTable_(Groups::Table::L3EcmpGroupTableIs()),
      ecmpNextHops_(ecmpTable_, interfaces_, mtuProfiles_, nextHops_.adjacencies()),
      groups_(groupTable_, memberTable_, ecmpNextHops_, nextHops_, otherIds_, options.maxWidth),
      input_(
          options.file, options.slice, options.until, counts_,
          [this](Fpm::Message const& message) { std::visit(Dispatch{*this}, message.content); }) {
  hardware_.attach(*table_);
  hardware_.attach(*ecmpTable_);
  hardware_.attach(*memberTable_);
  hardware_.attach(*groupTable_);
  // Input before hardware: what a turn's messages write is answered in the same turn.
  loop_.sourceIs(&input_);
  loop_.sourceIs(&hardware_);
}

Replay::~Replay() = default;

bool Replay::turn() {
  bool noRoom = false;
  try {
    loop_.turn();
  } catch (Asic::NoRowException const&) {
    // An interface was programmed, and what had waited for it found no row. What the turn had not
    // come to is done in the next one.
    noRoom = true;
  }
  noRoom |= hardware_.takeNoRoom();
  if (noRoom) groups_.noRoom();
  return loop_.busy();
}

void Replay::run(Progress& progress) {
  while (turn()) {
    progress.show([this] { return progressText(); });
  }
  progress.showLast([this] { return progressText(); });
}

std::string Replay::progressText() const {
  std::uint64_t const size = input_.size();
  return fmt::format("{} % of {} bytes, {} messages; next hops: {} live, {} parked",
                     size == 0 ? 100 : 100 * input_.offset() / size, size, counts_.messages,
                     nextHops_.nextHops().size(), table_->unresolvedEntrys());
}

ShownNextHop Replay::shown(NextHops::NextHop const& nextHop) const {
  using Answer = SoftAsic::NextHopHwTable::Answer;
  ShownNextHop shown;
  shown.contents = nextHop.contents;
  shown.obstacle = nextHop.obstacle;
  if (!nextHop.key) {
    shown.state = ShownNextHop::State::notPlaced;
    return shown;
  }
  shown.row = nextHop.key->hwEntryIndex().value();
  SoftAsic::NextHopHwTable::Row const& row = hardware_.row(*shown.row);
  auto const parked = table_->unresolvedEntry(nextHop.key);
  shown.record = recordOf(parked ? parked->entry() : table_->entry(nextHop.key));
  if (nextHop.obstacle != NextHops::Obstacle::none) {
    shown.state = ShownNextHop::State::notPlaced;
  } else if (parked) {
    shown.state = ShownNextHop::State::parked;
  } else if (row.answer == Answer::refused) {
    shown.state = ShownNextHop::State::refused;
  } else if (row.answer == Answer::accepted) {
    shown.state = ShownNextHop::State::programmed;
  } else {
    shown.state = ShownNextHop::State::unanswered;
  }
  bool const rowIsCurrent = shown.state == ShownNextHop::State::programmed ||
                            shown.state == ShownNextHop::State::unanswered;
  shown.olderInRow = !rowIsCurrent && row.contents.has_value();
  return shown;
}

Report Replay::report() const {
  Report report;
  report.file = options_.file;
  report.fileSize = input_.size();
  report.turns = loop_.now();
  report.stream = counts_;
  report.nextHops = nextHops_.counts();
  for (auto const& [id, nextHop] : nextHops_.nextHops()) report.live.push_back(shown(nextHop));
  report.groups = groupReport(groups_, ecmpNextHops_, *groupTable_, *memberTable_, hardware_);
  report.liveGroups = otherIds_.live(OtherIds::Kind::group);
  report.liveBlackholes = otherIds_.live(OtherIds::Kind::blackhole);
  report.interfaces = interfaces_.size();
  report.interfacesPeak = interfaces_.peak();
  report.hardware = hardware_.counts();
  report.hardwareAnswers = hardware_.answers();
  report.rowsInForce = hardware_.rowsInForce();
  report.commit = nextHops_.commitTime();
  report.remove = nextHops_.removeTime();
  if (input_.error()) report.error = input_.error()->what();
  return report;
}

int replayCommand(ReplayOptions const& options) {
  Tracing const tracing(options);
  Replay replay(options);
  {
    Progress progress(progressStyle(options.progress));
    replay.run(progress);
  }
  Report const report = replay.report();
  if (options.show) {
    fmt::print("{}\n", tableText(report));
    if (!report.groups.live.empty()) fmt::print("{}\n", showText(report.groups));
  }
  fmt::print("{}", text(report));
  if (!replay.error()) return kExitOk;
  std::fflush(stdout);
  fmt::print(stderr, "orvia-l3-agent: {}: {}\n", options.file, replay.error()->what());
  return kExitStreamError;
}

}  // namespace OrviaL3Agent
