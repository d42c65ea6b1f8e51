#include "agent/insight/Search.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <charconv>

#include "agent/PrefixTable.h"
#include "agent/ShortText.h"

namespace OrviaL3Agent::Insight {
namespace {

bool read(std::string_view text, std::uint32_t& number) {
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

[[noreturn]] void fail(std::string const& text) {
  throw SearchError(fmt::format("{}; expected {}", text, Search::kNames));
}

}  // namespace

std::uint32_t Search::number(std::string const& what, std::string const& text) {
  std::uint32_t number = 0;
  if (!read(text, number)) {
    throw SearchError(fmt::format("{}: a number was expected, not \"{}\"", what, shortened(text)));
  }
  return number;
}

Search::Search(Agent const& agent, Words const& words)
    : agent_(agent), name_(shortened(fmt::format("{}", fmt::join(words, " ")))) {
  if (words.empty()) fail("nothing is named");
  kind_ = words.front();
  bool const isNumbered =
      kind_ == "id" || kind_ == "group" || kind_ == "block" || kind_ == "interface";
  if (isNumbered) {
    if (words.size() != 2) fail(fmt::format("{}: a number was expected", kind_));
    number_ = number(kind_, words[1]);
  } else if (kind_ == "nexthop") {
    readNextHop(Words(words.begin() + 1, words.end()));
  } else {
    bool const isSaid = kind_ == "route";
    kind_ = "route";
    readRoute(Words(words.begin() + (isSaid ? 1 : 0), words.end()));
  }
}

void Search::readRoute(Words const& words) {
  if (words.empty()) fail("route: a prefix or an address was expected");
  std::string const& text = words.front();
  std::size_t const slash = text.find('/');
  std::optional<Fpm::Address> const address = addressOf(text.substr(0, slash));
  if (!address) fail(fmt::format("\"{}\" is no name", shortened(text)));
  isAddress_ = slash == std::string::npos;
  std::uint32_t const bits = addressBits(address->family).value_or(0);
  std::uint32_t length = bits;
  if (!isAddress_ && (!read(std::string_view(text).substr(slash + 1), length) || length > bits)) {
    fail(fmt::format("\"{}\" is no prefix: its length is 0 to {}", shortened(text), bits));
  }
  prefix_ = withoutHostBits({static_cast<std::uint8_t>(length), *address});
  for (std::size_t i = 1; i < words.size(); i += 2) {
    bool const isTable = words[i] == "table";
    if (!isTable && words[i] != "metric") {
      fail(fmt::format("\"{}\" was not expected", shortened(words[i])));
    }
    if (i + 1 == words.size()) fail(fmt::format("{}: a number was expected", words[i]));
    (isTable ? table_ : metric_) = number(words[i], words[i + 1]);
  }
}

void Search::readNextHop(Words const& words) {
  bool const isOnlink = words.size() == 2 && words[1] == "onlink";
  if (words.size() != 1 && !isOnlink) {
    fail("nexthop: an address, @ and an interface, or a row was expected");
  }
  isOnlink_ = isOnlink;
  std::string const& text = words.front();
  std::uint32_t row = 0;
  if (read(text, row)) {
    number_ = row;
    return;
  }
  std::size_t const at = text.find('@');
  if (at != std::string::npos) interface_ = number("nexthop", text.substr(at + 1));
  if (at == 0) {
    gateway_.emplace();  // none: a connected one
    return;
  }
  std::optional<Fpm::Address> const address = addressOf(text.substr(0, at));
  if (!address) fail(fmt::format("nexthop: \"{}\" is no address", shortened(text)));
  gateway_ = gatewayOf(address);
}

bool Search::runSlice() {
  Slice slice;
  while (phase_ != Phase::end && !slice.isOver()) {
    bool isDone = true;
    switch (phase_) {
      case Phase::once:
        if (kind_ == "route") {
          findRoutes();
        } else {
          findNumbered();
        }
        break;
      case Phase::ingressHops:
        isDone = kind_ != "nexthop" || scanIngressHops(slice);
        break;
      case Phase::ecmpHops:
        isDone = kind_ != "nexthop" || scanEcmpHops(slice);
        break;
      case Phase::blocks:
        isDone = kind_ != "block" || scanBlocks(slice);
        break;
      case Phase::end:
        break;
    }
    slice.spend();
    if (!isDone) continue;
    phase_ = static_cast<Phase>(static_cast<std::uint8_t>(phase_) + 1);
    identity_.reset();
  }
  if (phase_ == Phase::end && found_.empty()) {
    throw SearchError(kind_ != "route" ? fmt::format("{}: there is no such entry", name_)
                      : isAddress_     ? fmt::format("{}: no route leads there", name_)
                                       : fmt::format("{}: there is no such route", name_));
  }
  return phase_ == Phase::end;
}

void Search::findRoutes() {
  auto const add = [this](RouteKey const& key) {
    if ((!table_ || key.table == *table_) && (!metric_ || key.priority == *metric_)) {
      found_.emplace_back(key);
    }
  };
  if (isAddress_) {
    for (RouteKey const& key : agent_.mapping().routes().lookup(prefix_.address)) add(key);
    return;
  }
  // The routes of a prefix stand together in each table.
  auto const& routes = agent_.mapping().routes().routes();
  for (auto at = routes.begin(); at != routes.end();) {
    std::uint32_t const table = at->first.table;
    at = routes.lower_bound({table, prefix_.address, prefix_.length, 0});
    for (; at != routes.end() && at->first.table == table && at->first.prefix() == prefix_; ++at) {
      add(at->first);
    }
    if (table == ~0U) return;
    at = routes.lower_bound({table + 1, {}, 0, 0});
  }
}

void Search::findNumbered() {
  if (!number_) return;
  Mapping const& mapping = agent_.mapping();
  if (kind_ == "id" && mapping.ids().find(*number_) != nullptr) {
    found_.emplace_back(IdName{*number_});
  } else if (kind_ == "group" && mapping.groups().groups().contains(*number_)) {
    found_.emplace_back(GroupName{*number_});
  } else if (kind_ == "interface") {
    StandInTable::Key const key = std::uint64_t{kVrf} << 32U | std::uint64_t{*number_};
    bool const isKnown = agent_.interfaces().slot(key).has_value() ||
                         mapping.groups().downInterfaces().contains(*number_);
    if (isKnown) found_.emplace_back(InterfaceName{*number_});
  }
}

bool Search::matches(Identity const& identity, std::optional<std::uint32_t> row) const {
  if (number_) return row == number_;
  return identity.gateway() == *gateway_ &&
         (!interface_ || identity.interfaceIndex() == *interface_) &&
         (!isOnlink_ || identity.onlink());
}

bool Search::scanIngressHops(Slice& slice) {
  auto const& hops = agent_.mapping().ingress().hops();
  auto at = identity_ ? hops.upper_bound(*identity_) : hops.begin();
  for (; at != hops.end() && !slice.isOver(); ++at) {
    slice.spend();
    identity_ = at->first;
    std::optional<std::uint32_t> row;
    if (at->second->key) row = at->second->key->hwEntryIndex().value();
    if (matches(at->first, row)) found_.emplace_back(IngressName{at->first});
  }
  return at == hops.end();
}

bool Search::scanEcmpHops(Slice& slice) {
  auto const& hops = agent_.mapping().ecmp().hops();
  auto at = identity_ ? hops.upper_bound(*identity_) : hops.begin();
  for (; at != hops.end() && !slice.isOver(); ++at) {
    slice.spend();
    identity_ = at->first;
    if (matches(at->first, agent_.mapping().ecmp().row(*at->second).value())) {
      found_.emplace_back(EcmpName{at->first});
    }
  }
  return at == hops.end();
}

bool Search::scanBlocks(Slice& slice) {
  auto const& groups = agent_.mapping().groups().groups();
  auto at = group_ ? groups.upper_bound(*group_) : groups.begin();
  for (; at != groups.end() && !slice.isOver(); ++at) {
    slice.spend();
    group_ = at->first;
    Groups::Chain const& chain = at->second->chain;
    if (!chain.block || chain.block->hwEntryIndex() == Asic::Index::invalidIndex()) continue;
    std::uint32_t const first = chain.block->hwEntryIndex().value();
    if (*number_ < first || *number_ - first >= chain.width) continue;
    found_.emplace_back(BlockName{at->first});
    return true;
  }
  return at == groups.end();
}

}  // namespace OrviaL3Agent::Insight
