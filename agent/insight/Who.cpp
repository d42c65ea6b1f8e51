#include "agent/insight/Who.h"

#include <fmt/format.h>

#include <algorithm>

#include "agent/TextHelpers.h"
#include "agent/insight/RowText.h"
#include "agent/insight/States.h"

namespace OrviaL3Agent::Insight {
namespace {

char const* nameOf(Who::Table table) {
  switch (table) {
    case Who::Table::nextHops:
      return "next-hop";
    case Who::Table::members:
      return "member";
    case Who::Table::groups:
      break;
  }
  return "group";
}

// "position 3", "positions 0 to 3".
std::string positionText(std::uint32_t first, std::uint32_t count) {
  return count == 1 ? fmt::format("position {}", first)
                    : fmt::format("positions {} to {}", first, first + count - 1);
}

// A state. The resynchronisation is a holder that is no entry: it is told with what it holds.
std::string heldText(std::string state, bool isHeld) {
  if (isHeld) state += ", held until the resynchronisation ends";
  return state;
}

bool contains(std::vector<std::uint32_t> const& sorted, std::uint32_t value) {
  return std::binary_search(sorted.begin(), sorted.end(), value);
}

}  // namespace

std::vector<Who::Row> Who::rowsOf(Agent const& agent, std::uint32_t row) {
  std::vector<Row> rows;
  for (Table const table : {Table::nextHops, Table::members, Table::groups}) {
    if (hasRow(agent, {table, row})) rows.push_back({table, row});
  }
  return rows;
}

bool Who::hasRow(Agent const& agent, Row const& row) {
  SoftAsic::SoftDevice const& device = agent.hardware().device();
  switch (row.table) {
    case Table::nextHops:
      return row.row < device.nextHops().rows();
    case Table::members:
      return device.members().hasRow(row.row);
    case Table::groups:
      break;
  }
  return device.groups().hasRow(row.row);
}

bool Who::runSlice(Tell const& tell) {
  Slice slice;
  tell_ = &tell;
  while (!rows_.empty() && !slice.isOver()) {
    bool isDone = false;
    switch (phase_) {
      case Phase::row:
        slice.spend();
        isDone = tellRow();
        break;
      case Phase::ingressHops:
        isDone = scanIngressHops(slice);
        break;
      case Phase::ecmpHops:
        isDone = scanEcmpHops(slice);
        break;
      case Phase::groups:
        isDone = scanGroups(slice);
        break;
      case Phase::ids:
        isDone = scanIds(slice);
        break;
      case Phase::groupIds:
        isDone = scanGroupIds(slice);
        break;
      case Phase::routes:
        isDone = scanRoutes(slice);
        break;
    }
    if (!isDone) continue;
    identity_.reset();
    number_.reset();
    route_.reset();
    slice.spend();
    if (phase_ != Phase::routes) {
      phase_ = static_cast<Phase>(static_cast<std::uint8_t>(phase_) + 1);
      continue;
    }
    phase_ = Phase::row;
    rows_.erase(rows_.begin());
    hop_.reset();
    isOfRoutes_ = false;
    groups_.clear();
    ids_.clear();
    holders_ = 0;
  }
  tell_ = nullptr;
  return rows_.empty();
}

bool Who::tellRow() {
  auto const [table, row] = rows_.front();
  SoftAsic::SoftDevice const& device = agent_.hardware().device();
  std::string text;
  if (table == Table::nextHops) {
    text = rowText(device.nextHops().row(row));
  } else if (table == Table::members) {
    text = rowText(device.members().row(row));
  } else {
    text = rowText(device.groups().row(row));
  }
  (*tell_)({0, fmt::format("{} row {}", nameOf(table), row), {}, text});
  return true;
}

bool Who::scanIngressHops(Slice& slice) {
  auto const [table, row] = rows_.front();
  if (table != Table::nextHops) return true;
  auto const& hops = agent_.mapping().ingress().hops();
  auto at = identity_ ? hops.upper_bound(*identity_) : hops.begin();
  for (; at != hops.end() && !slice.isOver(); ++at) {
    slice.spend();
    identity_ = at->first;
    IngressNextHops::Hop const& hop = *at->second;
    if (!hop.key || hop.key->hwEntryIndex().value() != row) continue;
    hop_ = at->first;
    isOfRoutes_ = true;
    list(1, Insight::nameOf(Entry(IngressName{at->first})), {},
         heldText(textOf(agent_.mapping().ingress().state(hop)),
                  agent_.mapping().held().holdsHop(at->first)));
  }
  return at == hops.end();
}

bool Who::scanEcmpHops(Slice& slice) {
  auto const [table, row] = rows_.front();
  if (table != Table::nextHops || hop_) {
    endPhase("next hops");
    return true;
  }
  auto const& hops = agent_.mapping().ecmp().hops();
  auto at = identity_ ? hops.upper_bound(*identity_) : hops.begin();
  for (; at != hops.end() && !slice.isOver(); ++at) {
    slice.spend();
    identity_ = at->first;
    EcmpNextHops::Hop const& hop = *at->second;
    if (agent_.mapping().ecmp().row(hop) != row) continue;
    hop_ = at->first;
    list(1, Insight::nameOf(Entry(EcmpName{at->first})), {},
         textOf(agent_.mapping().ecmp().state(hop)));
  }
  if (at != hops.end()) return false;
  endPhase("next hops");
  return true;
}

bool Who::scanGroups(Slice& slice) {
  auto const [table, row] = rows_.front();
  auto const& groups = agent_.mapping().groups().groups();
  auto at = number_ ? groups.upper_bound(*number_) : groups.begin();
  for (; at != groups.end() && !slice.isOver(); ++at) {
    slice.spend(1 + at->second->chain.paths.size() / 8);
    number_ = at->first;
    Groups::Group const& group = *at->second;
    bool isHolder = false;
    if (table == Table::groups) {
      isHolder = agent_.mapping().groups().row(group) == row;
    } else if (table == Table::members || (hop_ && !isOfRoutes_)) {
      scanChain(group, group.chain, false, isHolder);
      for (Groups::Chain const& chain : group.former) scanChain(group, chain, true, isHolder);
    }
    if (!isHolder) continue;
    groups_.push_back(group.number);
    if (table == Table::groups) {
      list(1, Insight::nameOf(Entry(GroupName{group.number})), {}, stateText(group));
    }
  }
  if (at != groups.end()) return false;
  endPhase(table == Table::groups ? "groups" : "blocks of groups");
  return true;
}

// The block that has the row, or names the next hop that has it, and the group whose block it is.
void Who::scanChain(Groups::Group const& group, Groups::Chain const& chain, bool isFormer,
                    bool& isHolder) {
  std::string const where = positions(chain);
  if (where.empty()) return;
  isHolder = true;
  auto const first = blockRows(agent_, chain).first;
  unsigned const level = hop_ ? 2 : 1;
  std::string const block =
      first ? blockName(*first) : Insight::nameOf(Entry(BlockName{group.number}));
  std::string const over = hop_ ? "nexthop " + Insight::nameOf(*hop_) : std::string();
  std::size_t const told = told_;
  list(level, block, over, where + (isFormer ? ", of a record before" : ""));
  // The group belongs to its block's line.
  told_ = told;
  list(level + 1, Insight::nameOf(Entry(GroupName{group.number})), block, stateText(group));
}

std::string Who::stateText(Groups::Group const& group) const {
  return heldText(textOf(agent_.mapping().groups().state(group)),
                  agent_.mapping().held().holdsGroup(group.number));
}

// Empty for a block that has nothing to do with the row.
std::string Who::positions(Groups::Chain const& chain) const {
  auto const [table, row] = rows_.front();
  if (table == Table::members) {
    auto const first = blockRows(agent_, chain).first;
    if (!first || row < *first || row - *first >= chain.width) return {};
    return positionText(row - *first, 1);
  }
  auto const path = hop_ ? chain.paths.find(*hop_) : chain.paths.end();
  if (path == chain.paths.end()) return {};
  std::uint32_t position = 0;
  for (auto at = chain.paths.begin(); at != path; ++at) position += at->second;
  return positionText(position, path->second);
}

bool Who::scanIds(Slice& slice) {
  if (!isOfRoutes_) return true;
  auto const& ids = agent_.mapping().ids().ids();
  auto at = number_ ? ids.upper_bound(*number_) : ids.begin();
  for (; at != ids.end() && !slice.isOver(); ++at) {
    slice.spend();
    number_ = at->first;
    auto const* const nextHop = at->second.as<Fpm::NextHop>();
    if (nextHop == nullptr || identityOf(*nextHop) != *hop_) continue;
    list(2, Insight::nameOf(Entry(IdName{at->first})), "nexthop " + Insight::nameOf(*hop_),
         at->second.withdrawn ? "withdrawn, kept for its users" : "");
  }
  if (at != ids.end()) return false;
  endPhase("ids");
  return true;
}

bool Who::holds(Groups::Use const& group) const {
  return group && contains(groups_, group->number);
}

bool Who::scanGroupIds(Slice& slice) {
  if (groups_.empty()) return true;
  auto const& ids = agent_.mapping().groupIds().ids();
  auto at = number_ ? ids.upper_bound(*number_) : ids.begin();
  unsigned const level = rows_.front().table == Table::groups ? 2 : hop_ ? 4 : 3;
  for (; at != ids.end() && !slice.isOver(); ++at) {
    slice.spend();
    number_ = at->first;
    GroupIds::GroupId const& group = at->second;
    bool const isLatest = holds(group.group);
    if (!isLatest && !holds(group.former)) continue;
    ids_.push_back(at->first);
    std::uint32_t const number = (isLatest ? group.group : group.former)->number;
    list(level, Insight::nameOf(Entry(IdName{at->first})),
         Insight::nameOf(Entry(GroupName{number})),
         isLatest ? "" : textOf(Routes::State::formerWay));
  }
  if (at != ids.end()) return false;
  endPhase("ids");
  return true;
}

// By what the route's way holds the row; empty when it does not.
std::string Who::overText(Routes::Way const& way) const {
  if (isOfRoutes_ && way.hop && way.hop->identity == *hop_) {
    return way.id.id() == 0 ? "nexthop " + Insight::nameOf(*hop_)
                            : Insight::nameOf(Entry(IdName{way.id.id()}));
  }
  if (holds(way.group)) return Insight::nameOf(Entry(GroupName{way.group->number}));
  bool const isOverId = way.kind == Routes::Way::Kind::groupId && contains(ids_, way.id.id());
  return isOverId ? Insight::nameOf(Entry(IdName{way.id.id()})) : std::string();
}

bool Who::scanRoutes(Slice& slice) {
  auto const& routes = agent_.mapping().routes().routes();
  auto at = route_ ? routes.upper_bound(*route_) : routes.begin();
  bool const mayHold = isOfRoutes_ || !groups_.empty();
  unsigned const level = rows_.front().table == Table::groups ? 3
                         : groups_.empty()                    ? 3
                         : hop_                               ? 5
                                                              : 4;
  for (; mayHold && at != routes.end() && !slice.isOver(); ++at) {
    slice.spend();
    route_ = at->first;
    std::string over = overText(at->second.way);
    bool const isLatest = !over.empty();
    if (!isLatest) over = overText(at->second.former);
    if (over.empty()) continue;
    std::string detail =
        textOf(isLatest ? agent_.mapping().routes().state(at->second) : Routes::State::formerWay);
    if (at->second.stale) detail += ", stale";
    list(level, Insight::nameOf(Entry(at->first)), std::move(over), std::move(detail));
  }
  if (mayHold && at != routes.end()) return false;
  endPhase("routes");
  if (holders_ > 0) return true;
  auto const [table, row] = rows_.front();
  SoftAsic::SoftDevice const& device = agent_.hardware().device();
  bool const isEmpty = table == Table::nextHops  ? !device.nextHops().row(row).contents
                       : table == Table::members ? !device.members().row(row).contents
                                                 : !device.groups().row(row).contents;
  // Row 0 of these tables means "none".
  bool const isReserved = row == 0 && table != Table::members;
  (*tell_)({1,
            isReserved ? "nobody's: reserved"
            : isEmpty  ? "free"
                       : "held by nobody known",
            {},
            isEmpty ? "" : "its next hop, block or group is not known any longer"});
  return true;
}

void Who::list(unsigned level, std::string entry, std::string over, std::string detail) {
  ++holders_;
  level_ = level;
  if (told_++ >= listed_) return;
  (*tell_)({level, std::move(entry), std::move(over), std::move(detail)});
}

void Who::endPhase(char const* what) {
  if (told_ > listed_) {
    std::uint64_t const more = told_ - listed_;
    (*tell_)(
        {level_, fmt::format("and {} more {}", more, what), {}, "the word all lists them", more});
  }
  told_ = 0;
}

}  // namespace OrviaL3Agent::Insight
