"""How long new groups take until they are in the forwarding plane's kernel, beside what zebra itself
takes to program the same ones into the router's, in one run. `run measure` starts it; README.md says
what the figures mean.
"""

import sys
import time

import arguments
from demo import supervised
from namespaces import Namespaces, run
from situation import Situation, percentile_text

LINKS = 32


class Measurement(Situation):
    def __init__(self, world, options, groups):
        super().__init__(world, options.agent.resolve(), options.agent_option, groups, options.width,
                         {})

    def tell(self, what, times):
        """Of the (stream, zebra, forwarding plane) moments of each prefix."""
        said, zebra, there = zip(*times)
        begin = min(said + zebra)

        def milliseconds(moment):
            return f"{(moment - begin) / 1e6:.0f} ms"
        print(f"\n{what}, {len(times)} routes, each over a group of its own, {self.width} wide")
        print(f"  zebra's kernel       first after {milliseconds(min(zebra))},"
              f" last after {milliseconds(max(zebra))}")
        print(f"  stream               first after {milliseconds(min(said))},"
              f" last after {milliseconds(max(said))}")
        print(f"  forwarding plane     first after {milliseconds(min(there))},"
              f" last after {milliseconds(max(there))}")
        print("  stream to kernel    ",
              percentile_text([at - before for before, _, at in times]))
        print("  behind zebra's own  ",
              percentile_text([at - before for _, before, at in times]), flush=True)

    def cpu_seconds(self):
        return self.router.cpu_seconds("zebra"), self.agent.cpu_seconds()

    def announced_anew(self):
        """All at once: bgpd has heard all that the peers say before it chooses."""
        before = self.cpu_seconds()
        self.speaker.ask(f"announce {self.groups}")
        event = time.monotonic_ns()
        self.announced = self.groups
        self.router.start("bgpd")
        self.settle(120)
        self.tell("New", self.arrivals(event, {}))
        zebra, agent = (now - then for now, then in zip(self.cpu_seconds(), before))
        print(f"  processor time       zebra {zebra:.2f} s, agent {agent:.2f} s", flush=True)

    def replayed(self):
        """An empty kernel, and a daemon that has it all ready."""
        self.agent.kill()
        run("ip", "-n", self.world["forwarding"], "nexthop", "flush")
        self.recording.rest()
        connections = self.recording.connections
        event = time.monotonic_ns()
        self.agent.start()
        self.wait_for_connection(connections)
        self.settle(120)
        expected = self.expected()
        said = self.recording.arrivals("stream", event, expected)
        there = self.recording.arrivals("forwarding", event, expected)
        first = self.recording.first_of_stream
        print(f"\nSaid again to a new agent over an empty kernel, {len(expected)} routes")
        print(f"  stream               last after {(max(said.values()) - first) / 1e6:.0f} ms")
        print(f"  forwarding plane     last after {(max(there.values()) - first) / 1e6:.0f} ms")
        print(f"  processor time       agent {self.agent.cpu_seconds():.2f} s", flush=True)

    def run(self):
        self.start()
        self.wait_for_connection(0)
        self.wait_for_resynchronisation()
        self.announced_anew()
        self.replayed()
        self.recorder.finish()


def options():
    parser = arguments.parser("examples/packets/run measure")
    parser.add_argument("--groups", type=arguments.numbers(1), default=[1000, 10000], metavar="N,...",
                        help="how many, for each run [1000,10000]")
    # 65,536 rows for members: 10,000 groups of 6 have room.
    parser.add_argument("--width", type=arguments.number(2), default=6, metavar="N",
                        help="of each group [6]")
    given = parser.parse_args()
    arguments.require_sets(parser, max(given.groups), LINKS, given.width)
    arguments.end_if_checked(given)
    return given


def measure(world, given):
    for groups in given.groups:
        world.folder = given.folder / str(groups)
        world.folder.mkdir()
        Measurement(world, given, groups).run()
        world.remove()


if __name__ == "__main__":
    chosen = options()
    namespaces = Namespaces(LINKS, chosen.folder)
    sys.exit(supervised(namespaces, lambda: measure(namespaces, chosen)))
