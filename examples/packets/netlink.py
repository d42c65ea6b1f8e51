"""Reads the netlink messages of next hops and routes: of the kernel's notifications, and of a routing
daemon's stream, which is made of the same messages.

A *way* is where packets go: a sorted tuple of (interface, gateway, weight), the weights divided by
their common divisor. () is a way that drops.
"""

import math
import socket
import struct
from functools import reduce

NEWLINK, NEWROUTE, DELROUTE, NEWNEXTHOP, DELNEXTHOP = 16, 24, 25, 104, 105
UNICAST, DROPS = 1, (6, 7, 8)  # rtm_type: blackhole, unreachable, prohibit
MAIN_TABLE = 254
# Notifications of the kernel: the numbers of their multicast groups.
GROUP_LINK, GROUP_IPV4_ROUTE, GROUP_NEXTHOP = 1, 7, 32
RUNNING = 0x40  # of a link's flags: up, and with a carrier

_HEADER = struct.Struct("=IHHII")
_ATTRIBUTE = struct.Struct("=HH")
_MEMBER = struct.Struct("=IBBH")


def way_of(members):
    """The way over (interface, gateway, weight) members, in their one form."""
    together = {}
    for interface, gateway, weight in members:
        together[interface, gateway] = together.get((interface, gateway), 0) + weight
    divisor = reduce(math.gcd, together.values(), 0) or 1
    return tuple(sorted((interface, gateway, weight // divisor)
                        for (interface, gateway), weight in together.items()))


def messages(data):
    """(type, payload) of each netlink message in the data."""
    at = 0
    while at + _HEADER.size <= len(data):
        length, kind, _, _, _ = _HEADER.unpack_from(data, at)
        if length < _HEADER.size or at + length > len(data):
            raise ValueError(f"a netlink message of {length} bytes at {at} of {len(data)}")
        yield kind, data[at + _HEADER.size:at + length]
        at += (length + 3) & ~3


def attributes(payload, at):
    found = {}
    while at + _ATTRIBUTE.size <= len(payload):
        length, kind = _ATTRIBUTE.unpack_from(payload, at)
        if length < _ATTRIBUTE.size or at + length > len(payload):
            raise ValueError(f"an attribute of {length} bytes")
        found[kind & 0x3FFF] = payload[at + _ATTRIBUTE.size:at + length]
        at += (length + 3) & ~3
    return found


def _address(data):
    return socket.inet_ntop(socket.AF_INET if len(data) == 4 else socket.AF_INET6, data)


def _number(data):
    return int.from_bytes(data, "little")


def link_states(data):
    """(number of the interface, whether it runs) of each message about a link."""
    for kind, payload in messages(data):
        if kind == NEWLINK:
            _, number, flags = struct.unpack_from("=IiI", payload)
            yield number, bool(flags & RUNNING)


class NextHop:
    """One message about a next-hop object. `members` is None where it is no group."""

    def __init__(self, payload):
        found = attributes(payload, 8)
        self.protocol = payload[2]
        self.id = _number(found[1])
        self.members = None
        if 2 in found:
            self.members = [(member, weight + 1 + 256 * high) for member, weight, high, _
                            in _MEMBER.iter_unpack(found[2])]
        self.drops = 4 in found
        self.interface = _number(found[5]) if 5 in found else None
        self.gateway = _address(found[6]) if 6 in found else None


class Route:
    """One message about a route."""

    def __init__(self, payload):
        family, length, _, _, table, self.protocol, _, self.kind = payload[:8]
        found = attributes(payload, 12)
        self.table = _number(found[15]) if 15 in found else table
        if found.get(1):
            self.prefix = f"{_address(found[1])}/{length}"
        else:
            self.prefix = "default" if family == socket.AF_INET else "default6"
        self.next_hop = _number(found[30]) if 30 in found else None
        self.interface = _number(found[4]) if 4 in found else None
        self.gateway = _address(found[5]) if 5 in found else None


class Ways:
    """Follows messages, and knows where each prefix leads. `changed(time, prefix, way)` is called
    whenever a route comes or changes, also through its next hop, and with None when it goes;
    `grouped(time, way)` for every state of a group. Only routes of the main table count for which
    `takes(protocol)` is true. In a kernel a route goes with its next hop; a stream may name an id before
    it is announced, and what it withdraws stays what it was for those that name it."""

    def __init__(self, interface_names, changed, grouped=lambda time, way: None,
                 takes=lambda protocol: True, is_kernel=True):
        self._names = interface_names
        self._changed = changed
        self._grouped = grouped
        self._takes = takes
        self._is_kernel = is_kernel
        self._hops = {}    # id -> NextHop
        self._routes = {}  # prefix -> id of a next hop, or a way
        self._users = {}   # id -> prefixes that name it
        self._early = {}   # groups that came before a member, as a stream's may

    def _members(self, number, weight=1):
        hop = self._hops.get(number)
        if hop is None:
            return None
        if hop.drops:
            return []
        if hop.members is None:
            return [(self._names.get(hop.interface, str(hop.interface)), hop.gateway, weight)]
        found = []
        for member, share in hop.members:
            part = self._members(member, share)
            if part is None:
                return None
            found += part
        return found

    def _way(self, number):
        members = self._members(number)
        return None if members is None else way_of(members)

    def way(self, prefix):
        route = self._routes.get(prefix)
        return self._way(route) if isinstance(route, int) else route

    def _forget_user(self, prefix):
        before = self._routes.pop(prefix, None)
        if isinstance(before, int):
            self._users[before].discard(prefix)

    def feed(self, time, data):
        for kind, payload in messages(data):
            if kind in (NEWNEXTHOP, DELNEXTHOP):
                self._next_hop(time, kind, NextHop(payload))
            elif kind in (NEWROUTE, DELROUTE):
                self._route(time, kind, Route(payload))

    def _next_hop(self, time, kind, hop):
        if kind == DELNEXTHOP:
            if self._is_kernel:
                self._gone(time, hop.id)
            return
        self._hops[hop.id] = hop
        if hop.members is None:
            for group in [group for group in self._early if self._way(group) is not None]:
                self._has_come(time, group)
        elif self._way(hop.id) is None:
            self._early[hop.id] = hop
        else:
            self._grouped(time, self._way(hop.id))
        for prefix in self._users.get(hop.id, ()):
            self._changed(time, prefix, self._way(hop.id))

    def _gone(self, time, number):
        """Routes go with it, and nobody is told of them."""
        self._hops.pop(number, None)
        self._early.pop(number, None)
        for prefix in list(self._users.get(number, ())):
            self._forget_user(prefix)
            self._changed(time, prefix, None)

    def _has_come(self, time, group):
        del self._early[group]
        self._grouped(time, self._way(group))
        for prefix in self._users.get(group, ()):
            self._changed(time, prefix, self._way(group))

    def _route(self, time, kind, route):
        if route.table != MAIN_TABLE:
            return
        if kind == DELROUTE:
            # The stream's withdrawals name no protocol.
            if route.prefix in self._routes:
                self._forget_user(route.prefix)
                self._changed(time, route.prefix, None)
            return
        if not self._takes(route.protocol):
            return
        self._forget_user(route.prefix)
        if route.next_hop is not None:
            self._routes[route.prefix] = route.next_hop
            self._users.setdefault(route.next_hop, set()).add(route.prefix)
        elif route.kind in DROPS:
            self._routes[route.prefix] = ()
        else:
            self._routes[route.prefix] = way_of(
                [(self._names.get(route.interface, str(route.interface)), route.gateway, 1)])
        self._changed(time, route.prefix, self.way(route.prefix))
