"""Counts what is in recorded streams and what a replay of them should do, without any code of the agent.

    python3 tests/agent/count_streams.py examples/streams/*.fpm

prints the rows of the tables in RecordedStreamsTest.cpp and RecordedGroupsTest.cpp. It reads the bytes by itself and models
a replay in which nothing waits: interfaces are programmed at their first use and writes are answered at once. What is left at
the end does not depend on that; how many calls it takes does.
"""

import collections
import math
import os
import struct
import sys

NEWNEXTHOP, DELNEXTHOP, NEWROUTE, DELROUTE = 104, 105, 24, 25
NHA_ID, NHA_GROUP, NHA_BLACKHOLE, NHA_OIF, NHA_GATEWAY = 1, 2, 4, 5, 6
RTA_DST, RTA_OIF, RTA_GATEWAY, RTA_PRIORITY, RTA_PREFSRC, RTA_METRICS, RTA_MULTIPATH = 1, 4, 5, 6, 7, 8, 9
RTA_TABLE, RTA_VIA, RTA_NH_ID = 15, 18, 30
RTAX_MTU, ONLINK, UNICAST, UNKNOWN_WEIGHT = 2, 4, 1, 255
SINGLE, GROUP, BLACKHOLE = "single", "group", "blackhole"

Way = collections.namedtuple("Way", "kind what")  # hop: identity; group: paths; group_id, drop, unknown, none: nothing
DROP, UNKNOWN, NONE, GROUP_ID = (Way(kind, None) for kind in ("drop", "unknown", "none", "group_id"))


def attributes(data):
    found, at = {}, 0
    while at < len(data):
        length, number = struct.unpack_from("<HH", data, at)
        found[number & 0x3FFF] = data[at + 4:at + length]
        at += (length + 3) & ~3
    return found


def u32(data):
    return struct.unpack("<I", data)[0]


def frames_of(data):
    """The (type, body) of every message, frame by frame."""
    frames, at = [], 0
    while at < len(data):
        version, kind, length = struct.unpack_from(">BBH", data, at)
        assert version == 1 and kind == 1
        payload, inner, messages = data[at + 4:at + length], 0, []
        while inner < len(payload):
            size, number = struct.unpack_from("<IH", payload, inner)
            messages.append((number, payload[inner + 16:inner + size]))
            inner += (size + 3) & ~3
        frames.append(messages)
        at += length
    return frames


def gateway_of(found):
    """The gateway's bytes and whether it is of the other family than the route."""
    if RTA_VIA in found:
        return found[RTA_VIA][2:], struct.unpack_from("<H", found[RTA_VIA])[0]
    return found.get(RTA_GATEWAY), None


def paths_of(family, flags, found):
    """The (identity, weight) of the paths that a route carries itself."""
    if RTA_MULTIPATH not in found:
        if RTA_OIF not in found and RTA_GATEWAY not in found and RTA_VIA not in found:
            return ()
        gateway, other = gateway_of(found)
        return (((other or family, u32(found[RTA_OIF]) if RTA_OIF in found else 0, gateway, flags & ONLINK), 1),)
    paths, data = [], found[RTA_MULTIPATH]
    while data:
        length, path_flags, weight, interface = struct.unpack_from("<HBBI", data)
        gateway, other = gateway_of(attributes(data[8:length]))
        paths.append(((other or family, interface, gateway, path_flags & ONLINK), weight + 1))
        data = data[(length + 3) & ~3:]
    return tuple(paths)


def block_of(members):
    """The rows of a block, equal for equal members in any order."""
    divisor = math.gcd(*[weight for _, weight in members])
    rows = collections.Counter()
    for identity, weight in members:
        rows[identity] += weight // divisor
    assert sum(rows.values()) <= 512
    return frozenset(rows.items())


class Rows:
    """Things that are written when the first user comes and deleted when the last one goes."""

    def __init__(self):
        self.users, self.writes, self.deletes, self.peak = collections.Counter(), 0, 0, 0

    def use(self, thing, rows=1):
        self.users[thing] += 1
        self.peak = max(self.peak, len(self.users))
        if self.users[thing] > 1:
            return False
        self.writes += rows
        return True

    def end(self, thing, rows=1):
        self.users[thing] -= 1
        if self.users[thing]:
            return False
        del self.users[thing]
        self.deletes += rows
        return True


class Id:
    def __init__(self):
        self.kind, self.contents, self.withdrawn = None, None, False
        self.route_users, self.group_users = 0, 0
        self.block = None  # of a group whose members are all there

    def in_use(self):
        return self.route_users > 0 or (self.kind != GROUP and self.group_users > 0)


class Route:
    def __init__(self):
        self.contents, self.ident, self.way = None, None, NONE


class Model:
    def __init__(self, frames):
        self.count = collections.Counter()
        self.ids, self.routes = collections.defaultdict(Id), {}
        self.ingress, self.ecmp, self.blocks, self.groups = Rows(), Rows(), Rows(), Rows()
        self.peak_ids = self.peak_interfaces = self.peak_routes = 0
        for messages in frames:
            self.leaving = []
            for number, body in messages:
                self.message(number, body)
            for key in self.leaving:
                self.leave(self.routes.pop(key))

    def message(self, number, body):
        self.count["messages"] += 1
        if number == NEWNEXTHOP:
            self.id_message(body, attributes(body[8:]))
        elif number == DELNEXTHOP:
            self.withdraw(u32(attributes(body[8:])[NHA_ID]))
        else:
            assert number in (NEWROUTE, DELROUTE)
            found = attributes(body[12:])
            family, length, table = body[0], body[1], body[4]
            table = u32(found[RTA_TABLE]) if RTA_TABLE in found else table
            priority = u32(found[RTA_PRIORITY]) if RTA_PRIORITY in found else 0
            key = family, found.get(RTA_DST, b"") if length else b"", length, table, priority
            if number == NEWROUTE:
                self.route_message(key, body, found)
            else:
                self.count["route_del"] += 1
                if key in self.routes and key not in self.leaving:
                    self.leaving.append(key)
                else:
                    self.count["route_del_unknown"] += 1

    # --- Ids.

    def id_message(self, body, found):
        ident = u32(found[NHA_ID])
        if NHA_GROUP in found:
            members = [struct.unpack_from("<IB", found[NHA_GROUP], at) for at in range(0, len(found[NHA_GROUP]), 8)]
            kind, contents = GROUP, tuple(members)
            self.count["unknown_weights"] += any(weight == UNKNOWN_WEIGHT for _, weight in members)
        elif NHA_BLACKHOLE in found:
            kind, contents = BLACKHOLE, None
        else:
            kind, contents = SINGLE, (body[0], u32(found[NHA_OIF]), found.get(NHA_GATEWAY), u32(body[4:8]) & ONLINK)
        self.count[kind] += 1
        entry = self.ids[ident]
        if entry.kind:
            # A changed id would need more than is told here.
            assert (entry.kind, entry.contents) == (kind, contents)
            entry.withdrawn = False
            self.count["repeated_" + kind] += 1
            return
        self.count["announced_" + kind] += 1
        entry.kind, entry.contents = kind, contents
        if kind == GROUP:
            for member, _ in contents:
                self.ids[member].group_users += 1
            self.complete(entry)
            self.count["waited"] += entry.block is None
        else:
            for group in self.live(GROUP):
                if group.block is None and ident in [member for member, _ in group.contents]:
                    self.complete(group)
        for route in self.routes.values():
            if route.ident == ident:
                self.move(route, self.way_by_id(ident))
        self.peak_ids = max(self.peak_ids, len(self.live(SINGLE)))

    def live(self, kind):
        return [entry for entry in self.ids.values() if entry.kind == kind]

    def complete(self, group):
        members = [(self.ids[member], weight + 1) for member, weight in group.contents]
        assert all(member.kind in (None, SINGLE) for member, _ in members)
        if all(member.kind for member, _ in members):
            group.block = block_of([(member.contents, weight) for member, weight in members])
            self.use_group(group.block)

    def withdraw(self, ident):
        entry = self.ids[ident]
        self.count["del_" + entry.kind] += 1
        assert not entry.withdrawn
        if entry.in_use():
            entry.withdrawn = True
            self.count["deferred"] += 1
        else:
            self.forget(ident)

    def forget(self, ident):
        entry = self.ids[ident]
        if entry.kind == GROUP:
            if entry.block is not None:
                self.end_group(entry.block)
            for member, _ in entry.contents:
                self.ids[member].group_users -= 1
                self.check(member)
        entry.kind, entry.contents, entry.withdrawn, entry.block = None, None, False, None

    def check(self, ident):
        entry = self.ids[ident]
        if entry.withdrawn and not entry.in_use():
            self.forget(ident)

    # --- Routes.

    def route_message(self, key, body, found):
        protocol, kind, flags = body[5], body[7], u32(body[8:12])
        ident = u32(found[RTA_NH_ID]) if RTA_NH_ID in found else None
        paths = paths_of(body[0], flags, found)
        mtu = attributes(found.get(RTA_METRICS, b"")).get(RTAX_MTU)
        contents = protocol, kind, ident, paths, found.get(RTA_PREFSRC), mtu
        self.count["drop" if kind != UNICAST else "paths" if ident is None else "by_id"] += 1
        is_new = key not in self.routes
        route = self.routes.setdefault(key, Route())
        same = "new" if is_new else "again" if route.contents == contents else "changed"
        self.count["route_" + same] += 1
        self.leaving = [other for other in self.leaving if other != key]
        self.peak_routes = max(self.peak_routes, len(self.routes))
        before, route.contents, route.ident = route.ident, contents, ident if kind == UNICAST else None
        if route.ident is not None:
            self.ids[route.ident].route_users += 1
        self.move(route, self.way_of(kind, ident, paths))
        self.count["waited_for_id"] += is_new and route.way == UNKNOWN
        if before is not None:
            self.ids[before].route_users -= 1
            self.check(before)

    def way_of(self, kind, ident, paths):
        if kind != UNICAST:
            return DROP
        if ident is not None:
            return self.way_by_id(ident)
        if not paths or any(identity[1] == 0 for identity, _ in paths):
            return NONE
        return Way("hop", paths[0][0]) if len(paths) == 1 else Way("group", block_of(paths))

    def way_by_id(self, ident):
        entry = self.ids[ident]
        return {None: UNKNOWN, BLACKHOLE: DROP, GROUP: GROUP_ID, SINGLE: Way("hop", entry.contents)}[entry.kind]

    def move(self, route, way):
        before, route.way = route.way, way
        if before.kind == way.kind == "group":
            self.change_group(before.what, way.what)
            return
        if way.kind == "hop":
            self.use_hop(self.ingress, way.what)
        if way.kind == "group":
            self.use_group(way.what)
        # Nothing that leads packets is replaced by something that does not, which would have to wait.
        waits = way.kind in ("unknown", "none") or (way == GROUP_ID and self.ids[route.ident].block is None)
        assert not waits or before.kind in ("unknown", "none")
        self.leave_way(before)

    def leave(self, route):
        self.leave_way(route.way)
        if route.ident is not None:
            self.ids[route.ident].route_users -= 1
            self.check(route.ident)

    def leave_way(self, way):
        if way.kind == "hop":
            self.ingress.end(way.what)
        if way.kind == "group":
            self.end_group(way.what)

    # --- What these need.

    def use_hop(self, rows, identity):
        rows.use(identity)
        interfaces = {hop[1] for hop in list(self.ingress.users) + list(self.ecmp.users)}
        self.peak_interfaces = max(self.peak_interfaces, len(interfaces))

    def use_block(self, block):
        if self.blocks.use(block, sum(rows for _, rows in block)):
            for identity, _ in block:
                self.use_hop(self.ecmp, identity)

    def end_block(self, block):
        if self.blocks.end(block, sum(rows for _, rows in block)):
            for identity, _ in block:
                self.ecmp.end(identity)

    def use_group(self, block):
        if self.groups.use(block):
            self.use_block(block)

    def end_group(self, block):
        if self.groups.end(block):
            self.end_block(block)

    def change_group(self, before, block):
        if before == block:
            return
        if self.groups.users[before] == 1 and block not in self.groups.users:
            # The only holder takes its group along: another write of the same row.
            self.groups.writes += 1
            del self.groups.users[before]
            self.groups.users[block] = 1
            self.use_block(block)
            self.end_block(before)
        else:
            self.use_group(block)
            self.end_group(before)

    # --- What is left.

    def state(self, route):
        if route.way == GROUP_ID:
            return "forwarded" if self.ids[route.ident].block is not None else "not_in_force"
        return {"hop": "forwarded", "group": "forwarded"}.get(route.way.kind, route.way.kind)

    def stream_row(self):
        values = self.count
        group = lambda *names: "{" + ", ".join(str(values[name]) for name in names) + "}"
        states = collections.Counter(self.state(route) for route in self.routes.values())
        singles = self.live(SINGLE)
        unused = sum(entry.route_users + entry.group_users == 0 for entry in singles)
        withdrawn = sum(entry.withdrawn for entry in self.ids.values())
        return ", ".join([
            group(*(SINGLE, GROUP, BLACKHOLE, "del_" + SINGLE, "del_" + GROUP, "del_" + BLACKHOLE)),
            group("by_id", "paths", "drop", "route_del"),
            group("announced_" + SINGLE, "repeated_" + SINGLE, "announced_" + GROUP, "repeated_" + GROUP),
            group("route_new", "route_again", "route_changed", "route_del_unknown"),
            f"{{{len(singles)}, {len({entry.contents for entry in singles})}, {unused}, {len(self.live(BLACKHOLE))}, {withdrawn}}}",
            f"{{{len(self.routes)}, {states['forwarded']}, {states['drop']}, {states['unknown']}, {states['none']}}}",
            f"{len(self.ingress.users)}",
            f"{{{values['deferred']}, {values['waited_for_id']}, {self.peak_ids}, {self.peak_routes}, {self.peak_interfaces}}}",
            f"{{{self.ingress.writes}, {self.ingress.deletes}, {self.ingress.peak}}}"])

    def group_row(self):
        groups = self.live(GROUP)
        complete = sum(group.block is not None for group in groups)
        rows = sum(rows for block in self.blocks.users for _, rows in block)
        calls = ", ".join(f"{{{rows.writes}, {rows.deletes}}}" for rows in (self.ecmp, self.blocks, self.groups))
        return (f"{self.count['waited']}, {self.count['unknown_weights']}, "
                f"{{{len(groups)}, {complete}, {len(self.groups.users)}, {rows}, {len(self.ecmp.users)}}}, {calls}")


def main():
    groups = []
    for path in sys.argv[1:]:
        with open(path, "rb") as file:
            data = file.read()
        frames = frames_of(data)
        model = Model(frames)
        name = os.path.basename(path)
        print(f'    {{"{name}", {len(data)}, {len(frames)}, {model.count["messages"]}, {model.stream_row()}}},')
        groups.append(f'    {{"{name}", {model.group_row()}}},')
    print()
    print("\n".join(groups))


if __name__ == "__main__":
    main()
