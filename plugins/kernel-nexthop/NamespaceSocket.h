// A netlink socket in a network namespace, while the calling thread stays where it is.
//
//   int const fd = routeSocketIn("plane");   // NETLINK_ROUTE, non-blocking; to be closed
//
// Threading: any; a thread of its own enters the namespace and ends. Ownership: the caller's.
#pragma once

#include <string>

#include "plugins/kernel-nexthop/Export.h"

namespace KernelNextHop {

// Empty for the thread's own namespace, a name under /run/netns, or a path. `groups`: a mask of
// RTMGRP_ bits to hear of. Throws std::system_error, with the name in its text.
[[nodiscard]] KERNEL_NEXTHOP_EXPORT int routeSocketIn(std::string const& netns,
                                                      unsigned groups = 0);

// The namespace in words: "network namespace /run/netns/plane".
[[nodiscard]] KERNEL_NEXTHOP_EXPORT std::string namespaceText(std::string const& netns);

}  // namespace KernelNextHop
