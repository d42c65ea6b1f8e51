#include <fmt/format.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <charconv>
#include <sstream>

#include "agent/Agent.h"
#include "agent/PrefixTable.h"
#include "agent/Report.h"
#include "agent/RouteText.h"
#include "agent/control/ShowVerbs.h"
#include "agent/control/Walk.h"
#include "agent/insight/Causes.h"
#include "agent/insight/States.h"

namespace OrviaL3Agent::Control {
namespace {

using Kind = Routes::Way::Kind;

// What a route points to, in a few words.
std::string wayName(Mapping const& mapping, Routes::Way const& way) {
  switch (way.kind) {
    case Kind::none:
      return way.reason;
    case Kind::drop:
      return "drop";
    case Kind::unknownId:
      return "not announced";
    case Kind::hop:
      return text(way.hop->identity);
    case Kind::group:
      return fmt::format("{} paths", way.group->paths.size());
    case Kind::groupId:
      break;
  }
  GroupIds::GroupId const* const group = mapping.groupIds().find(way.id.id());
  if (group == nullptr) return "not announced";
  if (group->drops()) return "drop";
  if (group->group) return fmt::format("{} paths", group->group->paths.size());
  return group->reason.empty() ? "waits for members" : group->reason;
}

// The row that leads there, if there is one, and the group whose row it is.
struct Place {
  Json group;
  Json row;
};
Place placeOf(Mapping const& mapping, Routes::Way const& way) {
  Groups::Group const* group = nullptr;
  if (way.kind == Kind::hop) {
    return {{}, way.hop->key ? Json(way.hop->key->hwEntryIndex().value()) : Json()};
  }
  if (way.kind == Kind::group) group = way.group.get();
  if (way.kind == Kind::groupId) {
    GroupIds::GroupId const* const id = mapping.groupIds().find(way.id.id());
    if (id != nullptr) group = id->group.get();
  }
  if (group == nullptr) return {};
  Asic::Index const row = mapping.groups().row(*group);
  return {group->number, row == Asic::Index::invalidIndex() ? Json() : Json(row.value())};
}

void beginRoutes(Answer& answer) {
  answer.tableIs("routes",
                 {"prefix", "table", "metric", "state", "stale", "id", "group", "row", "way"});
}

void tellRoute(Answer& answer, Mapping const& mapping, RouteKey const& key,
               Routes::Route const& route, std::string const& way) {
  Place place = placeOf(mapping, Insight::neededWay(route));
  std::uint32_t const id = route.way.id.id();
  answer.row(Json::array({Fpm::text(key.prefix()), key.table, key.priority,
                          Insight::textOf(mapping.routes().state(route)), route.stale,
                          id == 0 ? Json() : Json(id), std::move(place.group), std::move(place.row),
                          way}));
}

// The routes within a prefix; without one, all. They are ordered by table, then by address.
class RouteList final : public Job {
 public:
  RouteList(Context const& context, std::optional<Fpm::Prefix> within)
      : agent_(context.agent), within_(within) {
    if (within_) lastAddress_ = lastOf(*within_);
  }

  bool runSlice(Answer& answer) override {
    SliceTime const time;
    if (!isBegun_) beginRoutes(answer);
    isBegun_ = true;
    auto const& routes = agent_.mapping().routes().routes();
    auto at = last_ ? routes.upper_bound(*last_) : routes.begin();
    while (skip(routes, at)) {
      tellRoute(answer, agent_.mapping(), at->first, at->second,
                wayName(agent_.mapping(), Insight::neededWay(at->second)));
      last_ = at->first;
      ++at;
      if (time.isOver()) return false;
    }
    return true;
  }

 private:
  using Map = std::map<RouteKey, Routes::Route>;

  // From here to the next route within the prefix; false when there is none. A table is left with
  // one step, however many routes it has.
  bool skip(Map const& routes, Map::const_iterator& at) const {
    while (at != routes.end() && within_) {
      RouteKey const& key = at->first;
      if (key.address < within_->address ||
          (key.address == within_->address && key.length < within_->length)) {
        at = routes.lower_bound({key.table, within_->address, within_->length, 0});
      } else if (lastAddress_ < key.address) {
        at = routes.upper_bound({key.table, Fpm::Address{255, fullBytes()}, 255, 0xFFFFFFFFU});
      } else if (key.length < within_->length) {
        // A less specific prefix cannot begin within this one but at its first address.
        ++at;
      } else {
        break;
      }
    }
    return at != routes.end();
  }
  static std::array<std::uint8_t, 16> fullBytes() {
    std::array<std::uint8_t, 16> bytes{};
    bytes.fill(255);
    return bytes;
  }
  static Fpm::Address lastOf(Fpm::Prefix const& prefix) {
    Fpm::Address last = prefix.address;
    std::size_t const bits = addressBits(last.family).value_or(0);
    for (std::size_t bit = prefix.length; bit < bits; ++bit) {
      last.bytes.at(bit / 8) |= static_cast<std::uint8_t>(0x80U >> (bit % 8));
    }
    return last;
  }

  Agent& agent_;
  std::optional<Fpm::Prefix> within_;
  Fpm::Address lastAddress_;
  std::optional<RouteKey> last_;
  bool isBegun_ = false;
};

void showBest(Agent& agent, Fpm::Address const& address, Answer& answer) {
  Mapping const& mapping = agent.mapping();
  beginRoutes(answer);
  for (RouteKey const& key : mapping.routes().lookup(address)) {
    Routes::Route const& route = mapping.routes().routes().at(key);
    tellRoute(answer, mapping, key, route, wayText(mapping, route));
  }
}

Fpm::Prefix prefixOf(std::string const& text) {
  std::size_t const slash = text.find('/');
  std::optional<Fpm::Address> const address = addressOf(text.substr(0, slash));
  unsigned const length = numberOf(text.substr(slash + 1), "the length of a prefix");
  std::optional<std::uint8_t> const bits =
      address ? addressBits(address->family) : std::optional<std::uint8_t>();
  if (!bits || length > *bits) {
    throw RequestError(fmt::format("\"{}\" is neither a prefix nor an address", shortened(text)));
  }
  return withoutHostBits({static_cast<std::uint8_t>(length), *address});
}

std::unique_ptr<Job> routesJob(Context const& context, Arguments const& arguments) {
  requireCount(arguments, 0, 1, "show routes [PREFIX|ADDRESS]");
  if (arguments.empty()) return std::make_unique<RouteList>(context, std::nullopt);
  std::string const& asked = arguments[0];
  if (asked.find('/') != std::string::npos) {
    return std::make_unique<RouteList>(context, prefixOf(asked));
  }
  std::optional<Fpm::Address> const address = addressOf(asked);
  if (!address) {
    throw RequestError(fmt::format("\"{}\" is neither a prefix nor an address", shortened(asked)));
  }
  return jobOf([&agent = context.agent, address = *address](Answer& answer) {
    showBest(agent, address, answer);
  });
}

class NextHopList final : public Job {
 public:
  explicit NextHopList(Context const& context) : agent_(context.agent) {}

  bool runSlice(Answer& answer) override {
    SliceTime const time;
    if (!isBegun_) {
      answer.tableIs("nexthops", {"table", "row", "gateway", "interface", "onlink", "ids", "state",
                                  "destination", "l3Oif1", "mtuProfilePtr", "forwardingType",
                                  "olderInRow", "reason"});
      isBegun_ = true;
    }
    Mapping const& mapping = agent_.mapping();
    auto const tellAs = [&](char const* table) {
      return [&, table](Identity const&, auto const* hop) {
        tell(answer, table, shownNextHop(*hop, mapping, agent_.hardware()));
      };
    };
    return ingress_.run(mapping.ingress().hops(), time, tellAs("ingress")) &&
           ecmp_.run(mapping.ecmp().hops(), time, tellAs("ecmp"));
  }

 private:
  static Json gatewayOf(Identity const& identity) {
    if (!identity.gateway()) return "connected";
    std::ostringstream out;
    out << identity.gateway();
    return out.str();
  }
  static void tell(Answer& answer, char const* table, ShownNextHop const& hop) {
    std::optional<ShownNextHop::Record> const& record = hop.record;
    answer.row(Json::array(
        {table, orNull(hop.row), gatewayOf(hop.identity), hop.identity.interfaceIndex(),
         hop.identity.onlink(), hop.ids, Insight::textOf(hop.state),
         record ? Json(record->fields.destination) : Json(),
         record ? orNull(record->l3Oif1) : Json(), record ? orNull(record->mtuProfilePtr) : Json(),
         record ? Json(record->fields.forwardingType.value()) : Json(), hop.olderInRow,
         hop.state == NextHopState::programmed ? Json() : Json(problemText(hop))}));
  }

  Agent& agent_;
  Walk<Identity> ingress_, ecmp_;
  bool isBegun_ = false;
};

}  // namespace

std::vector<Verb> showRouteVerbs() {
  return {
      {"show routes", "[PREFIX|ADDRESS]", "all, those within a prefix, or the best for an address",
       routesJob},
      plainVerb<NextHopList>("show nexthops", "the next hops of routes and of groups"),
  };
}

}  // namespace OrviaL3Agent::Control
