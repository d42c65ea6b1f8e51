#include "agent/kernel/Interfaces.h"

#include <fmt/format.h>

#include <set>

namespace OrviaL3Agent {

Interfaces::Interfaces(std::string const& daemon, std::string const& forwarding)
    : daemon_(daemon), forwarding_(forwarding), named_(daemon_.byName()) {}

void Interfaces::read(std::function<void(std::uint32_t interface)> const& changed) {
  std::set<std::string> names;
  auto const note = [&names](std::string const& name) { names.insert(name); };
  // What of the daemon's changes but the name is its own affair.
  daemon_.read([&](std::string const& name) {
    auto const interface = daemon_.indexOf(name);
    auto const known = named_.find(name);
    bool const isSame = interface && known != named_.end() && known->second == *interface;
    if (isSame) return;
    if (interface) named_.insert_or_assign(name, *interface);
    note(name);
  });
  forwarding_.read(note);
  for (std::string const& name : names) {
    if (auto const interface = daemon_.indexOf(name)) changed(*interface);
  }
}

std::optional<std::uint32_t> Interfaces::forwarding(std::uint32_t interface) const {
  Links::Link const* const link = daemon_.find(interface);
  return link == nullptr ? std::nullopt : forwarding_.indexOf(link->name);
}

std::optional<std::uint32_t> Interfaces::daemon(std::uint32_t forwarding) const {
  Links::Link const* const link = forwarding_.find(forwarding);
  return link == nullptr ? std::nullopt : daemon_.indexOf(link->name);
}

std::string Interfaces::trouble(std::uint32_t interface) const {
  Links::Link const* const link = daemon_.find(interface);
  if (link == nullptr) return "the routing daemon's namespace has none of this number";
  auto const there = forwarding_.indexOf(link->name);
  if (!there) return fmt::format("the forwarding namespace has no {}", link->name);
  if (!forwarding_.find(*there)->isUp) {
    return fmt::format("{} is down in the forwarding namespace", link->name);
  }
  return {};
}

}  // namespace OrviaL3Agent
