#include "agent/serve/EntryCounts.h"

namespace OrviaL3Agent {
namespace {

template <class State>
std::size_t indexOf(State state) {
  return static_cast<std::size_t>(state);
}

// Goes on behind `last` until the time is over or the map is at its end. Returns whether it is.
template <class Map, class Key, class Count>
bool walk(Map const& map, std::optional<Key>& last, Control::SliceTime const& time,
          Count const& count) {
  for (auto at = last ? map.upper_bound(*last) : map.begin(); at != map.end(); ++at) {
    if (time.isOver()) return false;
    count(at->second);
    last = at->first;
  }
  last.reset();
  return true;
}

std::size_t stateOf(GroupIds::GroupId const& group) {
  if (group.drops()) return 2;
  if (!group.blackholes.empty()) return 3;
  if (!group.missing.empty()) return 1;
  return group.reason.empty() ? 0 : 4;
}

}  // namespace

bool EntryCounts::runSlice() {
  using Step = bool (EntryCounts::*)(Time const&);
  static constexpr Step steps[] = {
      &EntryCounts::countIngress,  &EntryCounts::countEcmp,  &EntryCounts::countGroups,
      &EntryCounts::countGroupIds, &EntryCounts::countIds,   &EntryCounts::countRoutes,
      &EntryCounts::countRows,     &EntryCounts::scanCauses, &EntryCounts::countCauses};
  Time const time(slice_);
  for (; step_ < std::size(steps); ++step_) {
    // By itself: g++'s check of the index mistakes the call for one.
    Step const step = steps[step_];
    if (!(this->*step)(time)) return false;
  }
  return true;
}

bool EntryCounts::countIngress(Time const& time) {
  IngressNextHops const& hops = agent_.mapping().ingress();
  return walk(hops.hops(), hop_, time, [&](IngressNextHops::Hop const* hop) {
    ++result_.ingress[indexOf(hops.state(*hop))];
  });
}

bool EntryCounts::countEcmp(Time const& time) {
  EcmpNextHops const& hops = agent_.mapping().ecmp();
  return walk(hops.hops(), hop_, time,
              [&](EcmpNextHops::Hop const* hop) { ++result_.ecmp[indexOf(hops.state(*hop))]; });
}

bool EntryCounts::countGroups(Time const& time) {
  Groups const& groups = agent_.mapping().groups();
  bool const isDone = walk(groups.groups(), number_, time, [&](Groups::Group const* group) {
    ++result_.groups[indexOf(groups.state(*group))];
    if (groups.missingMemberRows(*group) > 0) ++result_.groupsWithMissingMembers;
    result_.blocks.add(agent_, *group);
  });
  if (isDone) result_.blocks.finish(agent_);
  return isDone;
}

bool EntryCounts::countGroupIds(Time const& time) {
  return walk(agent_.mapping().groupIds().ids(), number_, time,
              [&](GroupIds::GroupId const& group) { ++result_.groupIds[stateOf(group)]; });
}

bool EntryCounts::countIds(Time const& time) {
  return walk(agent_.mapping().ids().ids(), number_, time, [&](Ids::Id const& id) {
    if (!id.known()) ++result_.missingIds;
    if (id.as<Fpm::BlackholeNextHop>() != nullptr) ++result_.blackholes;
    bool const isUsed = id.routeHolds + id.groupHolds > 0;
    if (id.as<Fpm::NextHop>() != nullptr && !isUsed) ++result_.unusedNextHopIds;
  });
}

bool EntryCounts::countRoutes(Time const& time) {
  Routes const& routes = agent_.mapping().routes();
  return walk(routes.routes(), route_, time,
              [&](Routes::Route const& route) { ++result_.routes[indexOf(routes.state(route))]; });
}

bool EntryCounts::countRows(Time const& time) {
  using SoftAsic::TableId;
  SoftAsic::SoftDevice const& device = agent_.hardware().device();
  for (; table_ < SoftAsic::kTables; ++table_, row_ = 0) {
    TableId const table = SoftAsic::allTables[table_];
    bool const isDone =
        table == TableId::ingressNextHops ? countRows(time, table, device.ingressNextHops())
        : table == TableId::ecmpNextHops  ? countRows(time, table, device.ecmpNextHops())
        : table == TableId::members       ? countRows(time, table, device.members())
                                          : countRows(time, table, device.groups());
    if (!isDone) return false;
  }
  return true;
}

// The scan keeps its own time: one slice of it is one of this.
bool EntryCounts::scanCauses(Time const& /*time*/) { return causes_.runSlice(); }

bool EntryCounts::countCauses(Time const& time) {
  for (; cause_ < causes_.size(); ++cause_) {
    if (time.isOver()) return false;
    ++result_.causes[indexOf(causes_.causes()[cause_].cause.kind)];
  }
  return true;
}

template <class Window>
bool EntryCounts::countRows(Time const& time, SoftAsic::TableId table, Window const& window) {
  std::uint64_t& count = result_.rowsInForce[indexOf(table)];
  for (; row_ < window.rows(); ++row_) {
    if (time.isOver()) return false;
    if (window.row(Asic::Index(window.firstRow() + row_)).contents) ++count;
  }
  return true;
}

}  // namespace OrviaL3Agent
