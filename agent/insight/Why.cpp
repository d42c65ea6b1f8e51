#include "agent/insight/Why.h"

#include <fmt/format.h>

#include <algorithm>

#include "agent/TextHelpers.h"
#include "agent/insight/States.h"

namespace OrviaL3Agent::Insight {
namespace {

using Kind = Cause::Kind;

constexpr char const* kGone = "gone meanwhile";
constexpr char const* kDrops = "drop, as announced";

std::string inRow(std::optional<Asic::Index> row) {
  if (!row || *row == Asic::Index::invalidIndex()) return {};
  return fmt::format(" in row {}", row->value());
}

// What stands for a cause that is no entry which has been told by itself.
std::string causeText(Agent const& agent, Cause const& cause) {
  switch (cause.kind) {
    case Kind::interfaceDown:
      return "down";
    case Kind::noRoom:
      return "full";
    case Kind::waiting:
      return "waits";
    case Kind::notAnnounced:
      return textOf(cause.kind);
    case Kind::notProgrammed:
      if (detailOf(agent, cause).empty()) return textOf(cause.kind);
      break;
    case Kind::notPossible:
    case Kind::refused:
    case Kind::unanswered:
      break;
  }
  return fmt::format("{}: {}", textOf(cause.kind), detailOf(agent, cause));
}

}  // namespace

// Tells one entry: its step, and what is to be told below it.
class Why::Telling {
 public:
  Telling(Why& why, Asked asked)
      : agent_(why.agent_), mapping_(why.agent_.mapping()), why_(why), asked_(std::move(asked)) {
    step_.level = asked_.level;
    step_.entry = nameOf(asked_.entry);
  }

  Step tell() {
    if (asked_.cause) {
      isCause(*asked_.cause, asked_.since);
      step_.state = causeText(agent_, *asked_.cause);
      nameBlock();
    } else {
      std::visit(*this, asked_.entry);
    }
    // The first of them is told next.
    std::reverse(below_.begin(), below_.end());
    std::move(below_.begin(), below_.end(), std::back_inserter(why_.waiting_));
    return std::move(step_);
  }

  void operator()(RouteKey const& key) {
    auto const found = mapping_.routes().routes().find(key);
    if (found == mapping_.routes().routes().end()) return gone();
    Routes::Route const& route = found->second;
    std::vector<Found> causes;
    addCauses(agent_, key, route, causes);
    step_.state = stateOf(route, causes);
    Routes::Way const& way = neededWay(route);
    switch (way.kind) {
      case Routes::Way::Kind::none:
        if (!causes.empty()) isCause(causes.front().cause, causes.front().since);
        return;
      case Routes::Way::Kind::drop:
        return;
      case Routes::Way::Kind::hop:
        return below(IngressName{way.hop->identity});
      case Routes::Way::Kind::group:
        return below(GroupName{way.group->number});
      case Routes::Way::Kind::groupId:
      case Routes::Way::Kind::unknownId:
        return below(IdName{way.id.id()});
    }
  }

  void operator()(IdName const& name) {
    Ids::Id const* const id = mapping_.ids().find(name.id);
    if (id == nullptr) return gone();
    if (auto const* const nextHop = id->as<Fpm::NextHop>())
      return tellNextHop(identityOf(*nextHop));
    if (id->as<Fpm::BlackholeNextHop>() != nullptr) {
      step_.state = kDrops;
      return;
    }
    GroupIds::GroupId const* const group = mapping_.groupIds().find(name.id);
    if (group != nullptr) return tellGroupId(name, *group);
    step_.state = textOf(Kind::notAnnounced);
    isCause({Kind::notAnnounced, name}, std::nullopt);
  }

  void operator()(GroupName const& name) {
    auto const found = mapping_.groups().groups().find(name.number);
    if (found == mapping_.groups().groups().end()) return gone();
    Groups::Group const& group = *found->second;
    Groups::State const state = mapping_.groups().state(group);
    step_.state = textOf(state) + inRow(mapping_.groups().row(group));
    if (state != Groups::State::programmed) {
      step_.since = group.since;
      if (group.accepted) step_.state += ", which holds its record of before";
    }
    if (state == Groups::State::refused) isCause({Kind::refused, name}, group.since);
    if (state == Groups::State::unanswered) isCause({Kind::unanswered, name}, group.since);
    if (state == Groups::State::notPlaced) {
      if (!group.reason.empty()) step_.state = group.reason;
      return belowCauses(group);
    }
    if (group.chain.block) below(BlockName{name.number});
    for (std::uint32_t const interface : interfacesWithout(agent_, group)) {
      step_.state += fmt::format(", without its paths over interface {}", interface);
      belowDown(interface);
    }
  }

  void operator()(BlockName const& name) {
    auto const found = mapping_.groups().groups().find(name.group);
    if (found == mapping_.groups().groups().end()) return gone();
    Groups::Chain const& chain = found->second->chain;
    nameBlock();
    std::size_t const hops = chain.hops.size();
    std::vector<Found> causes;
    for (EcmpNextHops::Use const& hop : chain.hops) {
      causes.clear();
      addCauses(agent_, *hop, causes);
      if (!causes.empty()) below(EcmpName{hop->identity});
    }
    std::size_t const waiting = below_.size();
    std::string const all = counted(hops, "next hop");
    BlockRows const rows = blockRows(agent_, chain);
    step_.state = waiting > 0 && !rows.first
                      ? fmt::format("waits for {} of {}", waiting, all)
                      : fmt::format("programmed, {}, {}", counted(chain.width, "row"), all);
    for (auto const& [kind, count] :
         {std::pair{Kind::refused, rows.refused}, std::pair{Kind::unanswered, rows.lost}}) {
      if (count == 0) continue;
      Cause const cause{kind, name};
      step_.state = causeText(agent_, cause);
      // A block has one line; both of its troubles have the same rows below them: none.
      isCause(cause, found->second->since);
    }
  }

  void operator()(IngressName const& name) {
    auto const found = mapping_.ingress().hops().find(name.identity);
    if (found == mapping_.ingress().hops().end()) return gone();
    IngressNextHops::Hop const& hop = *found->second;
    std::optional<Asic::Index> row;
    if (hop.key) row = hop.key->hwEntryIndex();
    tellHop(mapping_.ingress().state(hop), hop, row);
  }

  void operator()(EcmpName const& name) {
    auto const found = mapping_.ecmp().hops().find(name.identity);
    if (found == mapping_.ecmp().hops().end()) return gone();
    EcmpNextHops::Hop const& hop = *found->second;
    tellHop(mapping_.ecmp().state(hop), hop, mapping_.ecmp().row(hop));
  }

  void operator()(InterfaceName const& name) {
    auto const shown =
        agent_.interfaces().shown(std::uint64_t{kVrf} << 32U | std::uint64_t{name.interface});
    if (auto const since = mapping_.groups().downSince(name.interface)) {
      step_.state = "down";
      isCause({Kind::interfaceDown, name}, since);
    } else if (shown && !shown->programmed) {
      step_.state = causeText(agent_, {Kind::notProgrammed, name});
      isCause({Kind::notProgrammed, name}, shown->since);
    } else {
      step_.state = shown ? fmt::format("programmed in slot {}", shown->slot) : "not in use";
    }
  }

  void operator()(MtuName const& name) {
    auto const shown = agent_.mtuProfiles().shown(name.bytes);
    if (!shown) return gone();
    step_.state = fmt::format("programmed in slot {}", shown->slot);
    if (shown->programmed) return;
    step_.state = textOf(Kind::notProgrammed);
    isCause({Kind::notProgrammed, name}, shown->since);
  }

  void operator()(RoomName const&) { step_.state = "full"; }

 private:
  [[nodiscard]] std::string stateOf(Routes::Route const& route,
                                    std::vector<Found> const& causes) const {
    bool const isDownOnly = std::all_of(causes.begin(), causes.end(), [](Found const& found) {
      return found.cause.kind == Kind::interfaceDown;
    });
    Routes::State const state = mapping_.routes().state(route);
    std::string const word = textOf(state);
    if (route.stale) return word + ", stale: not announced again yet";
    if (state == Routes::State::drop) return word + ", as announced";
    if (state == Routes::State::formerWay) return word + ": led as before until its way is there";
    if (state == Routes::State::forwarded) {
      if (causes.empty()) return word;
      return word + (isDownOnly ? ", over an interface that is down"
                                : ": its group's rows are in force, and not all as asked for");
    }
    return route.way.reason.empty() ? word : word + ": " + route.way.reason;
  }

  // Routes and groups have a row each for it.
  void tellNextHop(Identity const& identity) {
    if (mapping_.ingress().hops().contains(identity)) below(IngressName{identity});
    if (mapping_.ecmp().hops().contains(identity)) below(EcmpName{identity});
    step_.state = below_.empty() ? "announced, and nothing uses it" : nameOf(EcmpName{identity});
  }

  void tellGroupId(IdName const& name, GroupIds::GroupId const& group) {
    std::vector<Found> causes;
    addCauses(agent_, name.id, group, causes);
    if (group.drops()) {
      step_.state = kDrops;
    } else if (!group.blackholes.empty() || !group.reason.empty()) {
      Cause const cause{Kind::notPossible, name};
      step_.state = causeText(agent_, cause);
      isCause(cause, std::nullopt);
    } else if (!group.missing.empty()) {
      step_.state = fmt::format("waits for {} of {} to be announced", group.missing.size(),
                                counted(group.contents.members.size(), "member"));
    } else {
      step_.state = "announced";
    }
    for (std::uint32_t const missing : group.missing) {
      belowCause({{Kind::notAnnounced, IdName{missing}}, std::nullopt});
    }
    if (group.group) below(GroupName{group.group->number});
    if (group.former) {
      step_.state += fmt::format(", group {} leads meanwhile: former-way", group.former->number);
    }
  }

  template <class Hop>
  void tellHop(NextHopState state, Hop const& hop, std::optional<Asic::Index> row) {
    step_.state = textOf(state) + inRow(row);
    if (state != NextHopState::programmed) step_.since = hop.since;
    std::vector<Found> causes;
    addCauses(agent_, hop, causes);
    for (Found const& found : causes) {
      if (found.cause.entry == asked_.entry) {
        isCause(found.cause, found.since);
      } else {
        belowCause(found);
      }
    }
  }

  // The row says more than whose block it is.
  void nameBlock() {
    auto const* const name = std::get_if<BlockName>(&asked_.entry);
    if (name == nullptr) return;
    auto const found = mapping_.groups().groups().find(name->group);
    if (found == mapping_.groups().groups().end()) return;
    if (auto const first = blockRows(agent_, found->second->chain).first) {
      step_.entry = blockName(*first);
    }
  }

  void gone() { step_.state = kGone; }
  void isCause(Cause const& cause, std::optional<Since> since) {
    step_.cause = cause;
    step_.count = why_.scan_.find(cause);
    step_.since = since;
    if (step_.count != nullptr && step_.count->since) step_.since = step_.count->since;
  }
  void below(Entry entry) { below_.push_back({asked_.level + 1, std::move(entry), {}, {}}); }
  void belowCause(Found const& found) {
    below_.push_back({asked_.level + 1, found.cause.entry, found.cause, found.since});
  }
  void belowCauses(Groups::Group const& group) {
    std::vector<Found> causes;
    addCauses(agent_, group, causes);
    for (Found const& found : causes) belowCause(found);
  }
  void belowDown(std::uint32_t interface) {
    belowCause(
        {{Kind::interfaceDown, InterfaceName{interface}}, mapping_.groups().downSince(interface)});
  }

  Agent const& agent_;
  Mapping const& mapping_;
  Why& why_;
  Asked asked_;
  Step step_;
  std::vector<Asked> below_;
};

std::optional<Step> Why::next() {
  if (waiting_.empty()) return std::nullopt;
  Asked asked = std::move(waiting_.back());
  waiting_.pop_back();
  return Telling(*this, std::move(asked)).tell();
}

}  // namespace OrviaL3Agent::Insight
