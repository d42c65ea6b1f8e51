"""The agent over a real kernel: objects and routes in a namespace of their own, with packets."""

import json
import os
import re
import shutil
import signal
import subprocess
import unittest

import kernel_plane as plane
from kernel_case import (BINARY, HOPS, STREAMS, WAYS, OverAKernel, TemporaryFolder, Watch, equal,
                         main)
from kernel_plane import FIRST_ID, PLANE, Probes, ip, run, until


class TheStream(OverAKernel):
    def test_becomes_objects_and_routes_over_links_of_the_same_names(self):
        self.serve(say=HOPS + plane.group(200, 101, 102) + plane.route("203.0.113.0/24", 200)
                   + plane.route("198.18.0.0/24", 103))
        self.leads("203.0.113.0/24", equal(1, 2))
        self.leads("198.18.0.0/24", WAYS[3])
        route = self.plane.routes()["203.0.113.0/24"]
        self.assertEqual(20, route["metric"])
        self.assertGreaterEqual(route["nhid"], FIRST_ID)
        devices = {hop["dev"] for hop in self.plane.next_hops().values() if "dev" in hop}
        self.assertEqual({"eth1", "eth2", "eth3"}, devices)

    def test_leads_packets_over_all_members(self):
        self.serve(say=HOPS + plane.group(200, 101, 102, 103, 104)
                   + plane.route("203.0.113.0/24", 200))
        self.leads("203.0.113.0/24", equal(1, 2, 3, 4))
        probes = Probes("203.0.113.9", ports=64)
        until(lambda: probes.sent >= 600, "packets")
        self.assertEqual(0, probes.lost())
        for number in range(1, 5):
            shown = json.loads(ip(PLANE, "-s", "-j", "link", "show", f"eth{number}"))
            self.assertGreater(shown[0]["stats64"]["tx"]["packets"], 20, shown)

    def test_keeps_weights(self):
        self.serve(say=HOPS + plane.group(200, (101, 3), (102, 1)) + plane.route("203.0.113.0/24", 200))
        self.leads("203.0.113.0/24", [(WAYS[1], 3), (WAYS[2], 1)])

    def test_drops_where_it_says_so(self):
        self.serve(say=plane.route("203.0.113.0/24", kind=6))
        self.leads("203.0.113.0/24", "blackhole")

    def test_takes_ipv6(self):
        ip(PLANE, "addr", "add", "2001:db8:1::1/64", "dev", "eth1", "nodad")
        self.serve(say=plane.next_hop(300, 2, "2001:db8:1::2") + plane.route("2001:db8:99::/48", 300))
        until(lambda: "2001:db8:99::/48" in self.plane.routes("-6"), "an IPv6 route")

    def test_withdraws_routes_and_then_what_they_led_over(self):
        agent = self.serve(say=HOPS + plane.group(200, 101, 102) + plane.route("203.0.113.0/24", 200))
        self.leads("203.0.113.0/24", equal(1, 2))
        agent.say(plane.route("203.0.113.0/24", gone=True))
        agent.say(plane.next_hop_gone(200))
        until(lambda: self.plane.routes() == {} and self.plane.next_hops() == {}, "nothing is left")

    def test_touches_nothing_of_others(self):
        ip(PLANE, "nexthop", "add", "id", "7", "via", WAYS[1], "dev", "eth1")
        ip(PLANE, "route", "add", "203.0.113.0/25", "nhid", "7", "proto", "static")
        agent = self.serve(say=HOPS + plane.route("203.0.113.0/24", 102))
        self.leads("203.0.113.0/24", WAYS[2])
        agent.say(plane.route("203.0.113.0/24", gone=True))
        until(lambda: self.plane.routes() == {}, "the route goes")
        self.assertEqual([7], list(self.plane.next_hops()))
        self.assertIn("nhid 7", ip(PLANE, "route", "show", "203.0.113.0/25"))

    def test_puts_ids_where_it_is_told(self):
        self.serve("--kernel-ids", "5000", say=HOPS + plane.route("203.0.113.0/24", 102))
        self.leads("203.0.113.0/24", WAYS[2])
        self.assertEqual([5000 + 16384], list(self.plane.next_hops()))


class AChange(OverAKernel):
    PREFIX = "203.0.113.0/24"

    def changes(self, begin, change, ways):
        """Makes the change under packets, and finds that none is lost and no route deleted."""
        agent = self.serve(say=HOPS + begin)
        until(lambda: self.plane.ways(self.PREFIX) is not None, "a route")
        probes, watch = Probes("203.0.113.9"), Watch()
        until(lambda: probes.sent > 100, "packets")
        agent.say(change)
        self.leads(self.PREFIX, ways)
        sent = probes.sent
        until(lambda: probes.sent > sent + 100, "packets")
        self.assertEqual(0, probes.lost())
        deleted = [line for line in watch.end() if line.startswith("Deleted")]
        self.assertEqual([], deleted)

    def test_of_a_group_loses_no_packet(self):
        self.changes(plane.group(200, 101, 102) + plane.route(self.PREFIX, 200),
                     plane.group(200, 102, 103, 104), equal(2, 3, 4))

    def test_of_a_group_to_others_members_loses_no_packet(self):
        self.changes(plane.group(200, 101, 102) + plane.group(201, 103, 104)
                     + plane.route("198.18.0.0/24", 201) + plane.route(self.PREFIX, 200),
                     plane.group(200, 103, 104), equal(3, 4))

    def test_from_group_to_group_loses_no_packet(self):
        self.changes(plane.group(200, 101, 102) + plane.group(201, 103, 104)
                     + plane.route(self.PREFIX, 200),
                     plane.route(self.PREFIX, 201) + plane.next_hop_gone(200), equal(3, 4))

    def test_from_a_next_hop_to_a_group_and_its_rows_to_others_loses_no_packet(self):
        self.changes(plane.route(self.PREFIX, 105),
                     plane.group(201, 103, 104) + plane.route(self.PREFIX, 201)
                     + plane.next_hop_gone(105) + plane.route("198.18.1.0/24", 108), equal(3, 4))

    def test_in_one_frame_that_withdraws_first_loses_no_packet(self):
        self.changes(plane.group(200, 101, 102) + plane.route(self.PREFIX, 200) + plane.group(201, 105),
                     plane.group(200, 101) + plane.group(200, 106, 107), equal(6, 7))

    def test_after_change_leads_packets_where_it_led_before_or_leads_now(self):
        # Groups come and go meanwhile, and take the rows of those before.
        agent = self.serve(say=HOPS + plane.group(200, 101, 102) + plane.route(self.PREFIX, 200)
                           + plane.group(300, 107, 108) + plane.route("198.18.0.0/24", 300))
        self.leads("198.18.0.0/24", equal(7, 8))
        still, moving = Probes("198.18.0.1"), Probes("203.0.113.9")
        until(lambda: still.sent > 100 and moving.sent > 100, "packets")
        before = self.sent_over(3)
        for turn in range(1, 150):
            identifier = 400 + turn
            pair = (101, 102) if turn % 3 else (105, 106)
            agent.say(plane.group(identifier, *pair, 104 if turn % 2 else 102),
                      plane.route(self.PREFIX, identifier),
                      plane.next_hop_gone(identifier - 1 if turn > 1 else 200),
                      plane.group(300, (107, 1 + turn % 2), 108))
            if turn % 10 == 0:
                agent.say(plane.route(f"198.18.{turn}.0/24", 108))
        agent.say(plane.route("198.18.200.0/24", 107))
        self.leads("198.18.200.0/24", WAYS[7])
        self.assertEqual((0, 0), (still.lost(), moving.lost()))
        # Nobody named the third one, whose neighbours say a word now and then.
        self.assertLess(self.sent_over(3), before + 20)

    @staticmethod
    def sent_over(number):
        shown = json.loads(ip(PLANE, "-s", "-j", "link", "show", f"eth{number}"))
        return shown[0]["stats64"]["tx"]["packets"]

    def test_of_many_routes_by_one_group_moves_them_all(self):
        prefixes = [f"198.18.{number // 64}.{number % 64 * 4}/30" for number in range(3000)]
        agent = self.serve(say=HOPS + plane.group(200, 101, 102) + plane.group(201, 103, 104)
                           + plane.route("203.0.113.0/24", 201)
                           + b"".join(plane.route(prefix, 200) for prefix in prefixes))
        until(lambda: len(self.plane.routes()) == 3001, "all routes")
        probes = Probes("198.18.0.1")
        before = self.plane.routes()["198.18.0.0/30"]["nhid"]
        agent.say(plane.group(200, 103, 104))
        until(lambda: {route["nhid"] for route in self.plane.routes().values()}
              == {self.plane.routes()["203.0.113.0/24"]["nhid"]}, "all have moved")
        until(lambda: before not in self.plane.next_hops(), "the group of before goes")
        self.assertEqual(0, probes.lost())


class AnInterface(OverAKernel):
    missing = (3,)

    def test_that_is_not_there_keeps_next_hops_waiting_until_it_comes(self):
        agent = self.serve(say=HOPS + plane.group(200, 101, 103) + plane.route("203.0.113.0/24", 200)
                           + plane.route("198.18.0.0/24", 101))
        self.leads("198.18.0.0/24", WAYS[1])
        self.assertNotIn("203.0.113.0/24", self.plane.routes())
        self.assertIn("the forwarding namespace has no eth3", agent.ctl("why"))
        self.assertIn("not-programmed: the forwarding namespace has no eth3",
                      agent.ctl("why", "203.0.113.0"))
        self.plane.link(3, 70)
        self.leads("203.0.113.0/24", equal(1, 3))
        self.assertNotIn("eth3", agent.ctl("why"))

    def test_that_is_down_is_waited_for(self):
        ip(PLANE, "link", "set", "eth2", "down")
        agent = self.serve(say=HOPS + plane.route("203.0.113.0/24", 102))
        until(lambda: "eth2 is down in the forwarding namespace" in agent.ctl("why"), "says why")
        self.plane.up(2)
        self.leads("203.0.113.0/24", WAYS[2])

    def test_that_fails_and_returns_has_its_next_hops_groups_and_routes_again(self):
        agent = self.serve(say=HOPS + plane.group(200, 101, 102) + plane.route("203.0.113.0/24", 200)
                           + plane.route("198.18.0.0/24", 102))
        self.leads("203.0.113.0/24", equal(1, 2))
        self.leads("198.18.0.0/24", WAYS[2])
        ip(PLANE, "link", "set", "eth2", "down")
        until(lambda: "refused" in agent.ctl("why"), "the agent knows")
        self.plane.up(2)
        self.leads("203.0.113.0/24", equal(1, 2))
        self.leads("198.18.0.0/24", WAYS[2])

    def test_that_comes_back_as_another_one_is_followed(self):
        agent = self.serve(say=HOPS + plane.group(200, 101, 102) + plane.route("203.0.113.0/24", 200)
                           + plane.route("198.18.0.0/24", 102))
        self.leads("203.0.113.0/24", equal(1, 2))
        ip(PLANE, "link", "del", "eth2")
        until(lambda: "refused" in agent.ctl("why"), "the agent knows")
        self.plane.link(2, 90)
        self.leads("203.0.113.0/24", equal(1, 2))
        self.leads("198.18.0.0/24", WAYS[2])


class WhatSomebodyElseDeletes(OverAKernel):
    BEGIN = (HOPS + plane.group(200, 101, 102) + plane.route("203.0.113.0/24", 200)
             + plane.route("198.18.0.0/24", 103))

    def damaged(self):
        agent = self.serve(say=self.BEGIN + plane.route("198.18.1.0/24", 104))
        self.leads("203.0.113.0/24", equal(1, 2))
        self.leads("198.18.0.0/24", WAYS[3])
        for identifier in self.plane.next_hops():
            ip(PLANE, "nexthop", "del", "id", identifier, check=False)
        self.assertEqual(({}, {}), (self.plane.next_hops(), self.plane.routes()))
        return agent

    def is_mended(self):
        self.leads("203.0.113.0/24", equal(1, 2))
        self.leads("198.18.0.0/24", WAYS[3])

    def test_is_back_after_a_retry(self):
        agent = self.damaged()
        agent.ctl("retry")
        self.is_mended()

    def test_is_back_when_the_daemon_has_said_all_again(self):
        agent = self.damaged()
        agent.connection.close()
        agent.connect(self.BEGIN)
        self.is_mended()
        self.assertEqual(2, len(self.plane.routes()))


class TheStart(OverAKernel):
    def fails(self, *before):
        """Starts an agent that must not come up, and returns what it says."""
        done = subprocess.run(
            [*before, BINARY, "serve", f"--kernel={PLANE}", "--daemon-netns", plane.ROUTER,
             "--listen", "0", "--control", os.path.join(self.folder, "control")],
            check=False, capture_output=True, text=True, timeout=60)
        self.assertEqual(1, done.returncode, done.stderr)
        return done.stderr

    def setUp(self):
        super().setUp()
        self.folder = self.enterContext(TemporaryFolder())

    def test_of_a_second_agent_on_the_same_kernel_fails_and_touches_nothing(self):
        self.serve(say=HOPS + plane.group(200, 101, 102) + plane.route("203.0.113.0/24", 200))
        self.leads("203.0.113.0/24", equal(1, 2))
        watch, before = Watch(), (self.plane.next_hops(), self.plane.routes())
        self.assertIn("another process programs next-hop objects from id 1000000 on in network "
                      f"namespace /run/netns/{PLANE}", self.fails())
        self.assertEqual(([], before),
                         (watch.end(), (self.plane.next_hops(), self.plane.routes())))

    @unittest.skipUnless(shutil.which("setpriv"), "setpriv is not installed")
    def test_without_the_rights_fails_and_names_them(self):
        self.assertIn("programming the kernel needs CAP_NET_ADMIN in network namespace "
                      f"/run/netns/{PLANE}", self.fails("setpriv", "--bounding-set", "-net_admin"))

    def test_says_which_kernel_it_programs_and_what_is_there(self):
        agent = self.serve("--toggles", self.toggles(False),
                           say=HOPS + plane.group(200, 101, 102) + plane.route("203.0.113.0/24", 200)
                           + plane.route("198.18.0.0/24", 103))
        begin = (f"programming the kernel of network namespace /run/netns/{PLANE}, ids 1000000 to "
                 "1098303, protocol 200; found ")
        self.assertIn(begin + "0 next hops, 0 groups, 0 routes\n", agent.text())
        self.leads("203.0.113.0/24", equal(1, 2))
        self.leads("198.18.0.0/24", WAYS[3])
        agent.kill()
        agent.start()
        self.assertIn(begin + "3 next hops, 1 groups, 2 routes\n", agent.text())
        self.assertIn("the 1 rows of ingress, 0 of them of nobody known, go on", agent.text())
        self.assertIn("the 3 other next hops and groups go on forwarding", agent.text())
        agent.kill()
        agent.options = ("--toggles", self.toggles(True))
        agent.start()
        self.assertIn("the 3 other next hops and groups are cleared", agent.text())


class TheEnd(OverAKernel):
    def test_says_what_is_verified_and_that_it_is_not_read_from_the_kernel(self):
        agent = self.serve("--verify", "--check-forwarding",
                           say=HOPS + plane.route("198.18.0.0/24", 103))
        self.leads("198.18.0.0/24", WAYS[3])
        agent.process.send_signal(signal.SIGTERM)
        self.assertEqual(0, agent.process.wait(20), agent.text())
        self.assertIn("Not simulated OrviaL3Unicast::L3EcmpGroupTable by kernel-nexthop: its rows "
                      "are told from what it was asked for and answered\n", agent.text())
        self.assertRegex(agent.text(), "1 other next hops? verified: no difference")


class AReplay(OverAKernel):
    def replay(self, stream, *options):
        return run(BINARY, "replay", os.path.join(STREAMS, stream), f"--kernel={PLANE}",
                   "--daemon-netns", plane.ROUTER, *options)

    def test_ends_when_the_kernel_has_answered(self):
        report = self.replay("w1-static.0.fpm", "--verify", "--until", "39")
        self.assertIn("12 routes in force; 0 routes wait for their way, 0 refused", report)
        self.assertIn("3 groups, 8 ECMP next hops, 9 other next hops verified: no difference", report)
        self.assertEqual(equal(1, 2, 3, 4), self.plane.ways("203.0.113.64/26"))

    def test_of_a_thousand_groups_puts_them_all_into_the_kernel(self):
        self.more_links()
        report = self.replay("bgp-1k-distinct16.0.fpm", "--verify")
        found = re.search(r"Kernel +(\d+) next hops, (\d+) groups, (\d+) routes in force; 0 routes "
                          r"wait for their way, 0 refused", report)
        self.assertIsNotNone(found, report)
        self.assertEqual("1000", found[2])
        self.assertIn("no difference", report)
        listed = json.loads(ip(PLANE, "-j", "nexthop"))
        self.assertEqual(1000, sum("group" in hop for hop in listed))
        self.assertEqual(int(found[3]), sum(len(self.plane.routes(family)) for family in ("-4", "-6")))

    def test_tells_what_the_kernel_refused(self):
        ip(PLANE, "addr", "flush", "dev", "eth1")
        report = self.replay("w1-static.0.fpm", "--until", "39")
        self.assertIn("10.0.1.2 on interface 2: refused", report)
        self.assertIn("group 1 (id 48): ", report)

if __name__ == "__main__":
    main()
