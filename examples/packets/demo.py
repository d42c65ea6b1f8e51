"""The demonstration: see README.md. `run` starts it, and cleans up if it is killed."""

import json
import random
import signal
import sys
import time

import arguments
import plan
from daemons import KEEP_SECONDS
from namespaces import Failure, Namespaces, run
from probes import Traffic, addresses
from situation import Situation, percentile_text

LINKS, WIDTH = 16, 8  # of the links, and of the BGP prefixes
PER_SECOND = 800      # probes, for each stream
SPREAD_PER_SECOND = 4000
# A group that zebra still keeps when its link returns it uses again, without looking: the kernel has
# taken the member out meanwhile, and zebra's own list would be wrong.
DOWN_SECONDS = KEEP_SECONDS + 0.4
# Probes may be lost so long after the forwarding plane's kernel told of the change.
AFTER_CHANGE = 20_000_000


class Demonstration(Situation):
    def __init__(self, world, options):
        static = {prefix: set(range(1, width + 1)) for width, prefix in plan.STATIC.items()}
        super().__init__(world, options.agent.resolve(), options.agent_option, options.groups, WIDTH,
                         static)
        self.flaps = options.flaps

    def start(self):
        super().start()
        # Somebody else's, which the agent leaves alone.
        self.world.batch("forwarding", [f"nexthop add id 7 via {plan.gateway(2)} dev e2",
                                        f"route add {plan.FOREIGN} nhid 7"])

    def others(self):
        return super().others() | {plan.FOREIGN: plan.way([2])}

    # -- what is told --------------------------------------------------------------------------

    def step(self, what):
        print(f"\n{time.monotonic() - self.began:5.1f} s  {what}", flush=True)

    @staticmethod
    def say(what, text):
        print(f"         {what:12} {text}", flush=True)

    def tell_times(self, what, times):
        groups = f"{len(times)} group" + ("s" if len(times) > 1 else "")
        self.say(what, f"{percentile_text(times)}  ({groups})")

    def compare(self, seconds=20):
        routes, ways, groups = self.settle(seconds)
        self.say("lists", f"equal, member by member: {routes} routes, {ways} different sets of "
                          f"members; the forwarding plane has {groups} groups")

    def tell_traffic(self, traffic, may_lose=(), windows=None):
        """Probes may be lost in these streams only, and only within the windows of time."""
        outcomes = traffic.outcomes
        self.say("probes", ", ".join(
            f"{sum(getattr(found, what) for found in outcomes.values())} {what}"
            for what in ("sent", "lost", "duplicates", "reordered")))
        for name, found in outcomes.items():
            if found.lost:
                self.say("", f"{name}: {found.lost} of {found.sent} lost"
                             + (f", within {found.milliseconds():.1f} ms" if not windows
                                or len(windows) == 1 else ""))
        for name, found in outcomes.items():
            if found.duplicates:
                raise Failure(f"{found.duplicates} duplicates, {name}")
            if found.lost and name not in may_lose:
                raise Failure(f"{found.lost} probes lost, {name}")
            late = [moment for moment in found.lost_times if windows and not any(
                first <= moment <= last + AFTER_CHANGE for first, last in windows)]
            if late:
                raise Failure(f"{len(late)} probes lost while nothing was in the way, {name}")

    def traffic(self):
        streams = {f"{width} wide": addresses(prefix) for width, prefix in plan.STATIC.items()}
        if self.announced:
            targets = [addresses(plan.prefix(number))[0] for number in range(self.announced)]
            # Neighbours change together; probes that follow each other are of different ones.
            random.Random(1).shuffle(targets)
            streams["BGP"] = targets
        return Traffic(self.world, streams, PER_SECOND)

    # -- the steps -----------------------------------------------------------------------------

    def static_groups(self):
        self.step("static routes, 2, 4, 8 and 16 wide")
        self.compare()
        for width, prefix in plan.STATIC.items():
            before = self.counters()
            with Traffic(self.world, {"": addresses(prefix)}, SPREAD_PER_SECOND) as traffic:
                time.sleep(0.7)
            out = {name: count - before[name] for name, count in self.counters().items()}
            self.say(f"{width} wide", " ".join(f"{name}:{count}" for name, count in out.items()
                                               if count))
            self.tell_traffic(traffic)
            each = traffic.outcomes[""].sent / width
            for link in range(1, LINKS + 1):
                count = out[plan.interface(link)]
                least, most = (0.6 * each, 1.4 * each) if link in self.static[prefix] else (0, 0)
                if not least <= count <= most:
                    raise Failure(f"{count} probes went out of {plan.interface(link)},"
                                  f" {least:.0f} to {most:.0f} expected")

    def counters(self):
        links = json.loads(run("ip", "-n", self.world["forwarding"], "-s", "-j", "link"))
        return {link["ifname"]: link["stats64"]["tx"]["packets"] for link in links
                if link["ifname"].startswith(plan.interface(""))}

    def bgp_groups(self):
        self.step(f"{self.groups} BGP routes, each with its own {WIDTH} of {LINKS} links")
        before = self.expected()
        self.speaker.ask(f"announce {self.groups}")
        self.announced = self.groups
        event = time.monotonic_ns()
        self.router.start("bgpd")
        self.compare(40)
        self.tell_times("by stream", [there - said for said, _, there in
                                      self.arrivals(event, before)])

    def link(self, event, link):
        """Returns (the window in which probes may be lost, the times from the moment when the router's
        kernel told, the times from the stream)."""
        before, begun = self.expected(), time.monotonic_ns()
        moment = event(link)
        self.wait_to_follow()
        times = self.arrivals(begun, before)
        return ((begun, max(there for _, _, there in times)), [there - moment for _, _, there in times],
                [there - said for said, _, there in times])

    def one_group(self):
        self.step(f"link e{LINKS}, of 1 group, fails and returns, {self.flaps} times")
        failures, returns, stream, windows = [], [], [], []
        with self.traffic() as traffic:
            for _ in range(self.flaps):
                window, times, said = self.link(self.cut_link, LINKS)
                windows.append(window)
                failures += times
                stream += said
                time.sleep(DOWN_SECONDS)
                _, times, said = self.link(self.mend_link, LINKS)
                returns += times
                stream += said
                time.sleep(0.3)
        self.tell_traffic(traffic, ["16 wide"], windows)
        self.tell_times("failure", failures)
        self.tell_times("return", returns)
        self.tell_times("by stream", stream)
        self.compare()

    def all_groups(self):
        self.step(f"link e1, of all {self.groups + len(self.static)} groups, fails")
        with self.traffic() as traffic:
            window, failures, said = self.link(self.cut_link, 1)
            time.sleep(DOWN_SECONDS)
        self.tell_traffic(traffic, traffic.outcomes, [window])
        if not any(found.lost for found in traffic.outcomes.values()):
            raise Failure("no probe was lost: the link did not fail")
        self.tell_times("failure", failures)
        self.tell_times("by stream", said)
        self.compare()
        self.step("link e1 returns")
        with self.traffic() as traffic:
            _, returns, said = self.link(self.mend_link, 1)
            time.sleep(0.5)
        self.tell_traffic(traffic)
        self.tell_times("return", returns)
        self.tell_times("by stream", said)
        self.compare()

    def change(self):
        self.step("the 8 wide group goes without e2 and e3, and over e9 and e10 instead")
        before = self.expected()
        prefix = plan.STATIC[8]
        with self.traffic() as traffic:
            moment = time.monotonic_ns()
            self.configure(prefix, self.static[prefix] - {2, 3} | {9, 10})
            self.wait_to_follow()
            time.sleep(0.5)
        self.tell_traffic(traffic)
        self.tell_times("by stream", [there - said for said, _, there in
                                      self.arrivals(moment, before)])
        self.compare()

    def agent_restart(self):
        self.step("the agent is killed and started again")
        connections = self.recording.connections
        with self.traffic() as traffic:
            self.agent.kill()
            time.sleep(0.5)
            self.agent.start()
            self.wait_for_connection(connections)
            self.wait_for_resynchronisation()
            self.wait_for_no_leftovers()
            time.sleep(0.5)
        self.tell_traffic(traffic)
        self.compare()

    def daemon_restart(self):
        self.step("zebra, staticd and bgpd are killed and started again")
        connections = self.recording.connections
        with self.traffic() as traffic:
            # zebra first: it would withdraw what the others announced.
            self.router.kill("zebra", "staticd", "bgpd")
            time.sleep(0.5)
            self.router.start("zebra", "staticd", "bgpd")
            self.wait_for_connection(connections)
            self.wait_for_resynchronisation()
            self.wait_for_no_leftovers()
            time.sleep(0.5)
        self.tell_traffic(traffic)
        self.compare()

    def withdrawal(self):
        self.step("the 4 wide route and all BGP routes are withdrawn")
        with self.traffic() as traffic:
            self.announced = 0
            self.speaker.ask("withdraw")
            self.configure(plan.STATIC[4], set())
            time.sleep(1)
        self.tell_traffic(traffic, ["4 wide", "BGP"])
        self.compare()
        self.say("groups", f"{self.wait_for_no_leftovers()} are left in the forwarding plane")

    def run(self):
        self.start()
        for step in (self.static_groups, self.bgp_groups, self.one_group, self.all_groups,
                     self.change, self.agent_restart, self.daemon_restart, self.withdrawal):
            step()
        self.recorder.finish()
        print(f"\nAll is as it has to be: the lists were compared {self.comparisons} times in "
              f"{time.monotonic() - self.began:.0f} s.")


def options():
    parser = arguments.parser("examples/packets/run")
    parser.add_argument("--groups", type=arguments.number(1), default=1000, metavar="N",
                        help="BGP prefixes, each with a group of its own [1000]")
    parser.add_argument("--flaps", type=arguments.number(1), default=5, metavar="N",
                        help="failures of the link of one group [5]")
    parsed = parser.parse_args()
    arguments.require_sets(parser, parsed.groups, LINKS, WIDTH)
    arguments.end_if_checked(parsed)
    return parsed


def supervised(world, work):
    """Does the work and removes everything again, whatever happens; the exit code."""
    def interrupted(number, _):
        raise Failure(f"ended by signal {number}")
    signals = (signal.SIGTERM, signal.SIGINT, signal.SIGHUP)
    for number in signals:
        signal.signal(number, interrupted)
    try:
        work()
        return 0
    except Failure as failure:
        print(f"\nFAILED: {failure}", flush=True)
        return 1
    finally:
        for number in signals:
            signal.signal(number, signal.SIG_IGN)
        try:
            world.remove()
        except Failure as failure:
            print(f"Something is left behind: {failure}", file=sys.stderr)


if __name__ == "__main__":
    given = options()
    namespaces = Namespaces(LINKS, given.folder)
    sys.exit(supervised(namespaces, lambda: Demonstration(namespaces, given).run()))
