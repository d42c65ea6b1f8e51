"""What the demonstration of packets judges by: its reading of netlink messages and of streams, its
plan of who has which links, and its counting of probes."""

import pathlib
import struct
import sys
import unittest

PACKETS = pathlib.Path(__file__).resolve().parents[2] / "examples/packets"
sys.path.insert(0, str(PACKETS))

# pylint: disable=wrong-import-position
import bgp_speaker
import kernel_lists
import plan
from netlink import DELNEXTHOP, DELROUTE, NEWNEXTHOP, NEWROUTE, Ways, way_of
from probes import Failure, Outcome, addresses
from recorder import segment
from recording import Stream, percentiles


def attribute(kind, data):
    return struct.pack("=HH", len(data) + 4, kind) + data + b"\0" * (-len(data) % 4)


def number(kind, value):
    return attribute(kind, struct.pack("=I", value))


def message(kind, payload):
    return struct.pack("=IHHII", len(payload) + 16, kind, 0, 0, 0) + payload


def hop(identity, interface, last, kind=NEWNEXTHOP):
    return message(kind, struct.pack("=BBBBI", 2, 0, 11, 0, 0) + number(1, identity)
                   + number(5, interface) + attribute(6, bytes((10, 0, last, 2))))


def group(identity, *members):
    packed = b"".join(struct.pack("=IBBH", member, weight - 1, 0, 0) for member, weight in members)
    return message(NEWNEXTHOP, struct.pack("=BBBBI", 0, 0, 11, 0, 0) + number(1, identity)
                   + attribute(2, packed))


def gone(identity):
    return message(DELNEXTHOP, struct.pack("=BBBBI", 0, 0, 0, 0, 0) + number(1, identity))


def route(last, identity, kind=NEWROUTE, protocol=186):
    payload = struct.pack("=BBBBBBBBI", 2, 24, 0, 0, 254, protocol, 0, 1, 0)
    payload += attribute(1, bytes((192, 0, last, 0)))
    return message(kind, payload + (number(30, identity) if identity else b""))


class Followed:
    def __init__(self, **options):
        self.changes, self.groups = [], []
        self.ways = Ways({1: "e1", 2: "e2"}, lambda *change: self.changes.append(change),
                         lambda *state: self.groups.append(state), **options)

    def feed(self, moment, *parts):
        self.ways.feed(moment, b"".join(parts))


E1, E2 = ("e1", "10.0.1.2", 1), ("e2", "10.0.2.2", 1)


class WaysOfMessages(unittest.TestCase):
    def test_a_route_leads_over_its_groups_members(self):
        it = Followed()
        it.feed(1, hop(5, 1, 1), hop(6, 2, 2), group(9, (5, 1), (6, 1)), route(7, 9))
        self.assertEqual([(1, "192.0.7.0/24", (E1, E2))], it.changes)
        self.assertEqual([(1, (E1, E2))], it.groups)

    def test_a_changed_group_changes_its_routes(self):
        it = Followed()
        it.feed(1, hop(5, 1, 1), hop(6, 2, 2), group(9, (5, 1), (6, 1)), route(7, 9))
        it.feed(2, group(9, (6, 1)))
        self.assertEqual((2, "192.0.7.0/24", (E2,)), it.changes[-1])

    def test_a_stream_may_name_a_member_before_it_comes(self):
        it = Followed(is_kernel=False)
        it.feed(1, group(9, (5, 1), (6, 1)), route(7, 9), hop(5, 1, 1))
        self.assertEqual([(1, "192.0.7.0/24", None)], it.changes)
        it.feed(2, hop(6, 2, 2))
        self.assertEqual((2, "192.0.7.0/24", (E1, E2)), it.changes[-1])
        self.assertEqual([(2, (E1, E2))], it.groups)

    def test_a_kernels_routes_go_with_their_next_hop(self):
        it = Followed()
        it.feed(1, hop(5, 1, 1), route(7, 5))
        it.feed(2, gone(5))
        it.feed(3, hop(5, 1, 1))
        self.assertEqual([(1, "192.0.7.0/24", (E1,)), (2, "192.0.7.0/24", None)], it.changes)

    def test_a_streams_route_stays_when_its_next_hop_is_withdrawn(self):
        it = Followed(is_kernel=False)
        it.feed(1, hop(5, 1, 1), route(7, 5))
        it.feed(2, gone(5))
        it.feed(3, route(7, 0, DELROUTE))
        self.assertEqual([(1, "192.0.7.0/24", (E1,)), (3, "192.0.7.0/24", None)], it.changes)

    def test_routes_of_other_protocols_do_not_count(self):
        it = Followed(takes=lambda protocol: protocol == 186)
        it.feed(1, hop(5, 1, 1), route(7, 5, protocol=4), route(8, 5))
        self.assertEqual([(1, "192.0.8.0/24", (E1,))], it.changes)

    def test_weights_are_divided_by_what_they_have_in_common(self):
        self.assertEqual((("e1", "a", 1), ("e2", "b", 2)),
                         way_of([("e2", "b", 2), ("e1", "a", 1), ("e2", "b", 2), ("e1", "a", 1)]))
        self.assertNotEqual(way_of([("e1", "a", 1), ("e2", "b", 2)]),
                            way_of([("e1", "a", 1), ("e2", "b", 1)]))

    def test_half_a_message_is_an_error(self):
        with self.assertRaises(ValueError):
            Followed().feed(1, hop(5, 1, 1)[:-8])


class Segments(unittest.TestCase):
    def test_a_stream_is_put_together_in_order(self):
        frames = []
        stream = Stream(100, lambda moment, data: frames.append((moment, data)))
        data = bytes((1, 1, 0, 8)) + b"abcd" + bytes((1, 1, 0, 6)) + b"ef"
        stream.take(1, 105, data[5:10])
        stream.take(2, 100, data[:5])
        stream.take(3, 100, data[:5])  # said again
        stream.take(4, 110, data[10:])
        self.assertEqual([(2, b"abcd"), (4, b"ef")], frames)

    def test_only_what_goes_to_the_port_is_taken(self):
        def packet(port):
            tcp = struct.pack("!HHIIBBHHH", 4000, port, 77, 0, 0x50, 0x18, 0, 0, 0) + b"hello"
            return struct.pack("!BBHHHBBH4s4s", 0x45, 0, 20 + len(tcp), 0, 0, 64, 6, 0, b"\x7f\0\0\1",
                               b"\x7f\0\0\1") + tcp
        self.assertEqual((4000, 0x18, 77, b"hello"), segment(packet(2620)))
        self.assertIsNone(segment(packet(2621)))


class Probes(unittest.TestCase):
    def test_loss_duplicates_and_reordering_are_counted(self):
        outcome = Outcome([10, 20, 30_000_000, 40_000_000, 50_000_000], [0, 3, 1, 3])
        self.assertEqual((5, 2, 1, 1), (outcome.sent, outcome.lost, outcome.duplicates,
                                        outcome.reordered))
        self.assertEqual([30_000_000, 50_000_000], outcome.lost_times)
        self.assertEqual(20.0, outcome.milliseconds())

    def test_a_probe_that_nobody_sent_is_an_error(self):
        with self.assertRaises(Failure):
            Outcome([10], [0, 1])

    def test_a_networks_hosts_are_its_addresses(self):
        hosts = addresses("203.0.113.64/26")
        self.assertEqual(("203.0.113.65", "203.0.113.126", 62), (hosts[0], hosts[-1], len(hosts)))

    def test_percentiles_are_values_that_occurred(self):
        self.assertEqual([50, 90, 99, 100], percentiles(range(1, 101)))
        self.assertEqual([2, 3, 3, 3], percentiles([3, 1, 2]))
        self.assertEqual([7] * 4, percentiles([7]))


class Plan(unittest.TestCase):
    def test_every_prefix_has_a_set_of_its_own(self):
        sets = plan.sets(1000, 16, 8)
        self.assertEqual(1000, len(set(sets)))
        for links in sets:
            self.assertTrue(1 in links and len(links) == 8 and max(links) < 16)

    def test_more_prefixes_leave_the_sets_of_the_first_ones_alone(self):
        self.assertEqual(plan.sets(10, 16, 8), plan.sets(1000, 16, 8)[:10])

    def test_too_many_are_an_error(self):
        with self.assertRaises(ValueError):
            plan.sets(10, 6, 4)

    def test_prefixes_do_not_overlap(self):
        self.assertEqual("100.64.0.0/26", plan.prefix(0))
        self.assertEqual("100.64.255.192/26", plan.prefix(1023))
        self.assertEqual("100.65.0.0/26", plan.prefix(1024))
        self.assertEqual(bytes((26, 100, 65, 0, 64)), bgp_speaker.prefix_bytes(1025))

    def test_a_prefix_that_leads_elsewhere_is_told(self):
        told = kernel_lists.differences({"a": (E1,), "b": (E1, E2)}, {"b": (E1,), "c": ()}, "here")
        self.assertEqual(["here: a leads nowhere, expected over e1 10.0.1.2",
                          "here: b leads over e1 10.0.1.2, expected over e1 10.0.1.2, e2 10.0.2.2",
                          "here: c leads to a drop, expected nowhere"], told)


if __name__ == "__main__":
    unittest.main()
