#include "agent/insight/Entry.h"

#include <fmt/format.h>

#include <functional>
#include <sstream>

#include "agent/RouteText.h"

namespace OrviaL3Agent::Insight {
namespace {

struct Name {
  std::string operator()(RouteKey const& key) const { return text(key); }
  std::string operator()(IdName const& name) const { return fmt::format("id {}", name.id); }
  std::string operator()(GroupName const& name) const {
    return fmt::format("group {}", name.number);
  }
  std::string operator()(BlockName const& name) const {
    return fmt::format("block of group {}", name.group);
  }
  std::string operator()(IngressName const& name) const {
    return "nexthop " + nameOf(name.identity);
  }
  std::string operator()(EcmpName const& name) const { return "nexthop " + nameOf(name.identity); }
  std::string operator()(InterfaceName const& name) const {
    return fmt::format("interface {}", name.interface);
  }
  std::string operator()(MtuName const& name) const { return fmt::format("mtu {}", name.bytes); }
  std::string operator()(RoomName const& name) const { return name.what; }
};

struct Hash {
  std::size_t operator()(RouteKey const& key) const {
    return std::hash<std::string_view>()({reinterpret_cast<char const*>(key.address.bytes.data()),
                                          key.address.bytes.size()}) +
           key.table + 31 * std::size_t{key.length} + 961 * std::size_t{key.priority};
  }
  std::size_t operator()(IdName const& name) const { return name.id; }
  std::size_t operator()(GroupName const& name) const { return name.number; }
  std::size_t operator()(BlockName const& name) const { return name.group; }
  std::size_t operator()(IngressName const& name) const { return name.identity.hash(0); }
  std::size_t operator()(EcmpName const& name) const { return name.identity.hash(1); }
  std::size_t operator()(InterfaceName const& name) const { return name.interface; }
  std::size_t operator()(MtuName const& name) const { return name.bytes; }
  std::size_t operator()(RoomName const& name) const { return std::hash<std::string>()(name.what); }
};

}  // namespace

std::string nameOf(Entry const& entry) { return std::visit(Name(), entry); }

std::string blockName(std::uint32_t row) { return fmt::format("block {}", row); }

std::string nameOf(Identity const& identity) {
  if (!identity.gateway()) return fmt::format("@{}", identity.interfaceIndex());
  std::ostringstream gateway;
  gateway << identity.gateway();
  return fmt::format("{}@{}{}", gateway.str(), identity.interfaceIndex(),
                     identity.onlink() ? " onlink" : "");
}

// Numbers that follow each other shall not end up side by side.
std::size_t hashOf(Entry const& entry) {
  constexpr std::size_t kSpread = 0x9E3779B97F4A7C15U;
  std::size_t const hash = (std::visit(Hash(), entry) + 977 * entry.index()) * kSpread;
  return hash ^ (hash >> 32U);
}

}  // namespace OrviaL3Agent::Insight
