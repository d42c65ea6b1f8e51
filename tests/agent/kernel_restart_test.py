"""The agent over a real kernel is killed and comes back, with packets going on meanwhile."""

import os
import time

import kernel_plane as plane
from kernel_case import HOPS, STREAMS, WAYS, OverAKernel, Watch, equal, main
from kernel_plane import Probes, until


class ARestart(OverAKernel):
    GROUPS = [plane.group(200, 101, 102), plane.group(201, 101, 102, 103, 104),
              plane.group(202, 105, 106)]
    ROUTES = [plane.route("203.0.113.0/25", 200), plane.route("203.0.113.128/25", 201),
              plane.route("198.18.0.0/24", 202), plane.route("198.18.1.0/24", 107)]

    def world(self, turned=False):
        order = -1 if turned else 1
        return HOPS + b"".join(self.GROUPS[::order]) + b"".join(self.ROUTES[::order])

    def killed(self, clears, address):
        agent = self.serve("--toggles", self.toggles(clears), say=self.world())
        until(lambda: len(self.plane.routes()) == 4, "routes")
        ingress = self.plane.routes()["198.18.1.0/24"]["nhid"]
        probes, watch = Probes(address), Watch()
        until(lambda: probes.sent > 100, "packets")
        agent.kill()
        agent.start()
        agent.connect(self.world(turned=True))
        until(lambda: "were asked for again" in agent.text(), "the hold time passes")
        until(lambda: len(self.plane.next_hops()) == 10, "what is from before goes")
        self.assertEqual(ingress, self.plane.routes()["198.18.1.0/24"]["nhid"])
        self.assertIn("of 1 next hops from before the restart 1 were asked for again and 0 removed",
                      agent.text())
        for prefix, ways in (("203.0.113.0/25", equal(1, 2)), ("198.18.0.0/24", equal(5, 6)),
                             ("203.0.113.128/25", equal(1, 2, 3, 4)), ("198.18.1.0/24", WAYS[7])):
            self.assertEqual(ways, self.plane.ways(prefix))
        return probes.lost(), [line for line in watch.end() if line.startswith("Deleted")]

    def test_that_leaves_groups_in_place_loses_no_packet(self):
        self.assertEqual((0, []), self.killed(False, "203.0.113.9"))

    def test_that_clears_groups_is_without_them_until_they_are_announced_again(self):
        agent = self.serve("--toggles", self.toggles(True), say=self.world())
        until(lambda: len(self.plane.routes()) == 4, "routes")
        agent.kill()
        agent.start()
        until(lambda: list(self.plane.routes()) == ["198.18.1.0/24"], "groups are cleared")
        agent.connect(self.world(turned=True))
        until(lambda: len(self.plane.routes()) == 4, "routes")
        self.leads("203.0.113.128/25", equal(1, 2, 3, 4))

    def test_reads_next_hops_of_routes_back_and_loses_no_packet_of_theirs(self):
        lost, deleted = self.killed(True, "198.18.1.9")
        self.assertEqual(0, lost)
        self.assertFalse([line for line in deleted if "198.18.1.0/24" in line])

    def test_removes_what_nobody_announces_again_after_the_hold(self):
        agent = self.serve("--toggles", self.toggles(False), say=self.world())
        until(lambda: len(self.plane.routes()) == 4, "routes")
        agent.kill()
        agent.start()
        agent.connect(HOPS + self.GROUPS[0] + self.ROUTES[0])
        until(lambda: len(self.plane.routes()) == 1, "routes that nobody announced")
        self.assertIn("1 removed", agent.text())
        until(lambda: len(self.plane.next_hops()) == 3, "their objects")
        self.leads("203.0.113.0/25", equal(1, 2))

    def test_keeps_all_until_a_daemon_comes(self):
        agent = self.serve("--toggles", self.toggles(False), say=self.world())
        until(lambda: len(self.plane.routes()) == 4, "routes")
        agent.kill()
        before = (self.plane.routes(), self.plane.next_hops())
        agent.start()
        agent.ctl("show", "tables")
        self.assertEqual(before, (self.plane.routes(), self.plane.next_hops()))


class AKill(OverAKernel):
    def test_at_any_moment_is_made_up_for(self):
        self.more_links()
        with open(os.path.join(STREAMS, "bgp-1k-distinct16.0.fpm"), "rb") as file:
            stream = file.read()
        agent = self.serve("--toggles", self.toggles(False), say=stream)

        def settled():
            return "asked for again" in agent.text() or "resynchronised" in agent.text()

        until(lambda: len(self.plane.routes()) + len(self.plane.routes("-6")) == 1032, "all routes")
        until(lambda: len(self.plane.next_hops()) == 1063, "the objects")
        ways = self.plane.all_ways()
        for moment in (0.05, 0.1, 0.2, 0.4, 0.8):
            agent.kill()
            agent.start()
            agent.connect(stream)
            time.sleep(moment)
        until(settled, "the hold time passes", 60)
        until(lambda: len(self.plane.next_hops()) == 1063, "nothing is left from before", 60)
        self.assertEqual(ways, self.plane.all_ways())

if __name__ == "__main__":
    main()
