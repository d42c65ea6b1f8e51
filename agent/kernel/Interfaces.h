// Interfaces of the routing daemon's network namespace as those of the forwarding one: a stream
// names them by numbers of the daemon's, which mean nothing there. They are matched by name.
//
//   Interfaces interfaces("router", "plane");        // each empty: the namespace of this process
//   interfaces.forwarding(3);                        // 3 in "router" is "eth1", which is 7 in
//   "plane" if (!interfaces.isReady(3)) print(interfaces.trouble(3));
//
// Threading: one thread. Ownership: owns both lists.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "agent/kernel/Links.h"

namespace OrviaL3Agent {

class Interfaces {
 public:
  // Throws std::system_error when one of the namespaces cannot be had.
  Interfaces(std::string const& daemon, std::string const& forwarding);

  [[nodiscard]] std::array<int, 2> fileDescriptors() const {
    return {daemon_.fileDescriptor(), forwarding_.fileDescriptor()};
  }
  // Tells of each of the daemon's interfaces that is another one in the forwarding namespace now,
  // or has come or gone there, be it for a moment only: next hops over it are lost then.
  void read(std::function<void(std::uint32_t interface)> const& changed);

  // What the daemon's interface is in the forwarding namespace, and the other way round.
  [[nodiscard]] std::optional<std::uint32_t> forwarding(std::uint32_t interface) const;
  [[nodiscard]] std::optional<std::uint32_t> daemon(std::uint32_t forwarding) const;
  // Whether it is there and carries packets.
  [[nodiscard]] bool isReady(std::uint32_t interface) const { return trouble(interface).empty(); }
  // Why not: for people; empty when it does.
  [[nodiscard]] std::string trouble(std::uint32_t interface) const;

 private:
  Links daemon_;
  Links forwarding_;
  std::map<std::string, std::uint32_t>
      named_;  // the daemon's, by name, when they were looked at last
};

}  // namespace OrviaL3Agent
