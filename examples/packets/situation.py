"""The set-up at work: the namespaces, the router, the agent, and where everything has to lead by now.

It knows by itself where every prefix has to lead, and expects three things to agree: that, what zebra
installed in the router's kernel, and what the agent made of zebra's stream in the forwarding plane's
kernel.
"""

import json
import time

import kernel_lists
import plan
from daemons import Agent, Router
from namespaces import Failure, wait_until
from recording import Recording, percentiles

ROUTE_PROTOCOLS = ("static", "bgp")


class Situation:
    def __init__(self, world, program, agent_options, groups, width, static):
        self.world = world
        self.static = static  # {prefix: links}
        self.router = Router(world, static)
        self.agent = Agent(world, program, agent_options)
        self.groups = groups
        self.width = width
        self.sets = plan.sets(groups, world.links, width)
        self.announced = 0
        self.cut = set()
        self.comparisons = 0
        self.began = time.monotonic()
        self.speaker = self.recording = self.recorder = None

    def start(self):
        self.world.make()
        path = self.world.folder / "recording"
        self.recorder = self.world.helper(None, "recorder", "recorder.py", path,
                                          self.world["router"], self.world["forwarding"])
        self.recording = Recording(self.world, path)
        self.speaker = self.world.helper("peers", "speaker", "bgp_speaker.py", self.world.links,
                                         self.width, self.groups)
        self.agent.start()
        self.router.start("zebra", "staticd")

    # -- what has to be ------------------------------------------------------------------------

    def expected(self):
        """{prefix: way} of the static and the BGP routes."""
        links = self.static | {plan.prefix(number): self.sets[number]
                               for number in range(self.announced)}
        return {prefix: plan.way(own - self.cut) for prefix, own in links.items() if own - self.cut}

    def others(self):
        """What the forwarding plane has besides: the router's connected routes."""
        return {f"10.0.{link}.0/24": ((plan.interface(link), None, 1),)
                for link in range(1, self.world.links + 1) if link not in self.cut}

    def cut_link(self, link):
        """The moment when the router's kernel told."""
        self.cut.add(link)
        return self._link_is(link, self.world.cut, False)

    def mend_link(self, link):
        self.cut.remove(link)
        return self._link_is(link, self.world.mend, True)

    def _link_is(self, link, make_so, runs):
        begun = time.monotonic_ns()
        make_so(link)

        def told():
            self.recording.read()
            return self.recording.link_moment(begun, plan.interface(link), runs)
        return wait_until(told, f"the router's link {link} {'returns' if runs else 'fails'}")

    def configure(self, prefix, links):
        changed = self.static | {prefix: links}
        self.router.change_routes(self.static, changed)
        self.static = changed

    # -- what is -------------------------------------------------------------------------------

    def follows(self):
        self.recording.read()
        ways = self.recording.ways["forwarding"]
        return all(ways.way(prefix) == way for prefix, way in self.expected().items())

    def differences(self):
        """Of the kernels' own lists, and the number of groups in the forwarding plane."""
        expected = self.expected()
        router, _ = kernel_lists.read(self.world["router"])
        forwarding, groups = kernel_lists.read(self.world["forwarding"])
        zebra = {prefix: way for protocol in ROUTE_PROTOCOLS
                 for prefix, way in router.get(protocol, {}).items()}
        programmed = {prefix: way for ways in forwarding.values() for prefix, way in ways.items()}
        found = kernel_lists.differences(expected, zebra, "zebra's kernel")
        found += kernel_lists.differences(expected | self.others(), programmed,
                                          "the forwarding plane's kernel")
        return found, groups

    def what_differs(self):
        found, _ = self.differences()
        return "\n  ".join([f"{len(found)} prefixes lead elsewhere", *found[:5],
                            "the agent says:", *self.agent.explain().split("\n")])

    def wait_to_follow(self, seconds=20):
        wait_until(self.follows, self.what_differs, seconds)

    def settle(self, seconds=20):
        """Waits until all leads where it has to and nothing moves any more, and compares. Returns
        (routes, different ways, groups in the forwarding plane)."""
        self.wait_to_follow(seconds)
        self.recording.rest()
        # Both kernels have said all; what has to go may go a little later than what has to come.
        end = time.monotonic() + 5
        found, groups = self.differences()
        while found and time.monotonic() < end:
            time.sleep(0.1)
            found, groups = self.differences()
        if found:
            raise Failure(self.what_differs())
        strange = self.recording.strange()
        if strange:
            raise Failure("\n  ".join(["the forwarding plane had for a while, and zebra never announced,"
                                       f" {len(strange)} times a group",
                                       *(kernel_lists.text(way) for _, way in strange[:5])]))
        self.comparisons += 1
        expected = self.expected()
        return len(expected), len(set(expected.values())), groups

    def arrivals(self, event, before):
        """What led elsewhere before the event: [(stream, zebra's kernel, forwarding plane)], the
        moments when it came to lead where it does now."""
        changed = {prefix: way for prefix, way in self.expected().items()
                   if before.get(prefix) != way}
        found = [self.recording.arrivals(source, event, changed)
                 for source in ("stream", "router", "forwarding")]
        missing = [prefix for prefix in changed if not all(prefix in times for times in found)]
        if missing:
            raise Failure(f"no record of how {missing[:5]} changed")
        return [tuple(times[prefix] for times in found) for prefix in changed]

    # -- the stream ----------------------------------------------------------------------------

    def wait_for_connection(self, connections):
        """After so many connections of before."""
        def connected():
            self.recording.read()
            return self.recording.connections > connections
        wait_until(connected, "zebra connects to the agent")

    def wait_for_resynchronisation(self):
        def done():
            shown = json.loads(self.agent.ctl("--json", "show", "stream"))
            return not shown["stream"]["resynchronising"]
        wait_until(done, lambda: f"the agent compares with before: {self.agent.log(5)}", 60, 0.1)

    def wait_for_no_leftovers(self):
        """Until the forwarding plane has the groups that are used, and no others."""
        used = sum(len(way) > 1 for way in set(self.expected().values()))

        def groups():
            return self.differences()[1]
        wait_until(lambda: groups() == used,
                   lambda: f"the forwarding plane has {groups()} groups, {used} are used", 20, 0.2)
        return used


def percentile_text(times):
    p50, p90, p99, most = (f"{value / 1e6:.1f}" for value in percentiles(times))
    return f"p50 {p50} ms, p90 {p90} ms, p99 {p99} ms, max {most} ms"
