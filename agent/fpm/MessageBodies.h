// The bodies of the four netlink messages that the agent acts upon: internal to agent/fpm.
//
// Each function takes what follows the netlink header, checks it and returns the message as a plain
// value. Attributes that are not used are counted in `skips`.
#pragma once

#include "agent/fpm/Attributes.h"
#include "agent/fpm/Messages.h"
#include "agent/fpm/SkipCounts.h"

namespace OrviaL3Agent::Fpm {

using Content = decltype(Message::content);

[[nodiscard]] Content newNextHop(Area const& body, SkipCounts& skips);
[[nodiscard]] Content delNextHop(Area const& body, SkipCounts& skips);
// Routes of families other than IPv4 and IPv6 come back as SkippedMessage of the given type.
[[nodiscard]] Content newRoute(Area const& body, std::uint16_t type, SkipCounts& skips);
[[nodiscard]] Content delRoute(Area const& body, std::uint16_t type, SkipCounts& skips);

}  // namespace OrviaL3Agent::Fpm
