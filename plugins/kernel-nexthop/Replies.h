// What the kernel says: whether it did what it was asked for, and what it holds.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plugins/kernel-nexthop/Batch.h"
#include "plugins/kernel-nexthop/Kinds.h"

namespace KernelNextHop {

struct Reply {
  int error = 0;     // an errno, 0 for done
  std::string text;  // the kernel's own words for an error, else the errno's
};

struct DumpedObject {
  std::uint32_t id = 0;
  bool isGroup = false;
  NextHop nextHop;                   // of one that is no group
  std::vector<GroupMember> members;  // of a group
};

struct DumpedRoute {
  Route route;
  std::uint32_t way = kOtherWay;
  std::uint8_t protocol = 0;
};

// Of an acknowledgement; none for any other message.
[[nodiscard]] std::optional<Reply> replyOf(nlmsghdr const& message);
// None for a message that is no object, or no route.
[[nodiscard]] std::optional<DumpedObject> objectOf(nlmsghdr const& message);
[[nodiscard]] std::optional<DumpedRoute> routeOf(nlmsghdr const& message);

}  // namespace KernelNextHop
