"""Counts what is in recorded streams and what a replay of them should do, without any code of the agent.

    python3 tests/agent/count_streams.py examples/streams/*.fpm

prints the rows of the tables in RecordedStreamsTest.cpp and RecordedGroupsTest.cpp. It reads the bytes by itself and models a replay with default
options in a few lines: 16 messages a turn, an MTU profile programmed one turn and an interface two turns after its first
use, writes answered at the end of their turn.
"""

import math
import os
import struct
import sys

NEWNEXTHOP, DELNEXTHOP, NEWROUTE, DELROUTE = 104, 105, 24, 25
NHA_ID, NHA_GROUP, NHA_BLACKHOLE, NHA_OIF, NHA_GATEWAY, RTA_NH_ID = 1, 2, 4, 5, 6, 30
SLICE, INTERFACE_DELAY, MTU_DELAY = 16, 2, 1


def attributes(data):
    found, at = {}, 0
    while at < len(data):
        length, number = struct.unpack_from("<HH", data, at)
        found[number & 0x3FFF] = data[at + 4:at + length]
        at += (length + 3) & ~3
    return found


def messages_of(data):
    """The (type, body) of every message, and the number of frames."""
    messages, frames, at = [], 0, 0
    while at < len(data):
        version, kind, length = struct.unpack_from(">BBH", data, at)
        assert version == 1 and kind == 1
        frames += 1
        payload, inner = data[at + 4:at + length], 0
        while inner < len(payload):
            size, number = struct.unpack_from("<IH", payload, inner)
            messages.append((number, payload[inner + 16:inner + size]))
            inner += (size + 3) & ~3
        at += length
    return messages, frames


class Model:
    def __init__(self, messages):
        self.messages = messages
        self.kinds, self.live, self.parked = {}, {}, set()
        self.due, self.mtu_due, self.unanswered = {}, None, set()
        names = ("single group blackhole del_single del_group del_blackhole by_id paths drop route_del "
                 "announced repeated waited writes deletes overtaken").split()
        self.count = dict.fromkeys(names, 0)
        self.peak = self.peak_parked = self.peak_interfaces = 0
        self.turn = 0

    def ready(self, interface):
        return self.due[interface] <= self.turn and self.mtu_due <= self.turn

    def write(self, ident):
        self.count["writes"] += 1
        self.unanswered.add(ident)

    def run(self):
        at = 0
        while at < len(self.messages) or self.parked:
            self.turn += 1
            for ident in [i for i in self.parked if self.ready(self.live[i][1])]:
                self.parked.discard(ident)
                self.write(ident)
            for number, body in self.messages[at:at + SLICE]:
                self.message(number, body)
            at += SLICE
            self.unanswered.clear()
        return self

    def message(self, number, body):
        if number in (NEWNEXTHOP, DELNEXTHOP):
            found = attributes(body[8:])
            ident = struct.unpack("<I", found[NHA_ID])[0]
            if number == DELNEXTHOP:
                self.withdraw(ident)
            elif NHA_GROUP in found:
                self.count["group"] += 1
                self.kinds[ident] = "del_group"
            elif NHA_BLACKHOLE in found:
                self.count["blackhole"] += 1
                self.kinds[ident] = "del_blackhole"
            else:
                self.announce(ident, (body[0], struct.unpack("<I", found[NHA_OIF])[0],
                                      found.get(NHA_GATEWAY), body[4] & 4))
        elif number == NEWROUTE:
            found = attributes(body[12:])
            self.count["by_id" if RTA_NH_ID in found else "paths" if body[7] == 1 else "drop"] += 1
        else:
            assert number == DELROUTE
            self.count["route_del"] += 1

    def announce(self, ident, contents):
        self.count["single"] += 1
        if ident in self.live:
            assert self.live[ident] == contents
            self.count["repeated"] += 1
            return
        self.count["announced"] += 1
        self.kinds[ident], self.live[ident] = "del_single", contents
        self.due.setdefault(contents[1], self.turn + INTERFACE_DELAY)
        if self.mtu_due is None:
            self.mtu_due = self.turn + MTU_DELAY
        if self.ready(contents[1]):
            self.write(ident)
        else:
            self.parked.add(ident)
            self.count["waited"] += 1
        self.peak = max(self.peak, len(self.live))
        self.peak_parked = max(self.peak_parked, len(self.parked))
        self.peak_interfaces = max(self.peak_interfaces, len(self.due))

    def withdraw(self, ident):
        kind = self.kinds.pop(ident)
        self.count[kind] += 1
        if kind != "del_single":
            return
        del self.live[ident]
        if ident in self.parked:
            self.parked.discard(ident)
        else:
            self.count["deletes"] += 1
            self.count["overtaken"] += ident in self.unanswered
            self.unanswered.discard(ident)
        used = {contents[1] for contents in self.live.values()}
        self.due = {interface: turn for interface, turn in self.due.items() if interface in used}
        if not self.live:
            self.mtu_due = None


class GroupModel:
    """What groups become when nothing waits: interfaces are ready, writes are answered at once."""

    def __init__(self, messages):
        self.singles, self.groups, self.chains = {}, {}, {}
        self.blocks, self.hops = {}, {}
        self.count = dict.fromkeys("waited hop_writes hop_dels member_writes member_dels group_writes group_dels"
                                   .split(), 0)
        for number, body in messages:
            if number in (NEWNEXTHOP, DELNEXTHOP):
                self.message(number, body, attributes(body[8:]))

    def message(self, number, body, found):
        ident = struct.unpack("<I", found[NHA_ID])[0]
        if number == DELNEXTHOP:
            self.singles.pop(ident, None)
            if self.groups.pop(ident, None) is not None:
                self.leave(ident)
        elif NHA_GROUP in found:
            group = found[NHA_GROUP]
            members = [struct.unpack_from("<IB", group, at) for at in range(0, len(group), 8)]
            assert ident not in self.groups
            self.groups[ident] = members
            self.count["waited"] += not self.enter(ident)
        elif NHA_BLACKHOLE not in found:
            self.singles[ident] = (body[0], found[NHA_OIF], found.get(NHA_GATEWAY), body[4] & 4)
            for group, members in self.groups.items():
                if group not in self.chains and ident in [member for member, _ in members]:
                    self.enter(group)

    def enter(self, ident):
        members = self.groups[ident]
        if any(member not in self.singles for member, _ in members):
            return False
        divisor = math.gcd(*[weight + 1 for _, weight in members])
        block = tuple(sorted(path for member, weight in members
                             for path in [repr(self.singles[member])] * ((weight + 1) // divisor)))
        assert len(block) <= 512
        self.chains[ident] = block
        if not self.blocks.setdefault(block, 0):
            self.count["member_writes"] += len(block)
            for hop in set(block):
                self.count["hop_writes"] += not self.hops.setdefault(hop, 0)
                self.hops[hop] += 1
        self.blocks[block] += 1
        self.count["group_writes"] += 1
        return True

    def leave(self, ident):
        block = self.chains.pop(ident, None)
        if block is None:
            return
        self.count["group_dels"] += 1
        self.blocks[block] -= 1
        if self.blocks[block]:
            return
        del self.blocks[block]
        self.count["member_dels"] += len(block)
        for hop in set(block):
            self.hops[hop] -= 1
            if not self.hops[hop]:
                del self.hops[hop]
                self.count["hop_dels"] += 1

    def row(self, name):
        count = self.count
        return (f'    {{"{name}", {count["waited"]}, {{{len(self.groups)}, {len(self.chains)}, {len(self.blocks)}, '
                f'{sum(map(len, self.blocks))}, {len(self.hops)}}}, '
                f'{{{count["hop_writes"]}, {count["hop_dels"]}}}, {{{count["member_writes"]}, '
                f'{count["member_dels"]}}}, {{{count["group_writes"]}, {count["group_dels"]}}}}},')


def main():
    groups = []
    for path in sys.argv[1:]:
        with open(path, "rb") as file:
            data = file.read()
        messages, frames = messages_of(data)
        model = Model(messages).run()
        group = lambda *names: "{" + ", ".join(str(model.count[name]) for name in names) + "}"
        print(f'    {{"{os.path.basename(path)}", {len(data)}, {frames}, {len(messages)},',
              group("single", "group", "blackhole", "del_single", "del_group", "del_blackhole") + ",",
              group("by_id", "paths", "drop", "route_del") + ",",
              group("announced", "repeated", "waited") + ",",
              f"{{{len(model.live)}, {model.peak}, {model.peak_parked}, {model.peak_interfaces}}},",
              group("writes", "deletes", "overtaken") + "},")
        groups.append(GroupModel(messages).row(os.path.basename(path)))
    print()
    print("\n".join(groups))


if __name__ == "__main__":
    main()
