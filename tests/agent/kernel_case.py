"""What tests of the agent over a real kernel begin with: kernel_test.py, kernel_restart_test.py."""

import json
import os
import subprocess
import sys
import unittest

import kernel_plane as plane
from kernel_plane import PLANE, Agent, Plane, ip, until

BINARY = sys.argv[1] if len(sys.argv) > 1 else os.environ["ORVIA_AGENT_BINARY"]
STREAMS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../examples/streams")

WAYS = {number: f"10.0.{number}.2" for number in range(1, plane.LINKS + 1)}


def hop(number):
    """The next hop of id 100 + number, over the router's link of that number."""
    return plane.next_hop(100 + number, number + 1, WAYS[number])


HOPS = b"".join(hop(number) for number in WAYS)


def equal(*numbers):
    """The members of a group in equal shares, as Plane.ways() tells them."""
    return [(WAYS[number], 1) for number in numbers]


class Watch:
    """What the kernel says of routes meanwhile."""

    def __init__(self):
        # pylint: disable-next=consider-using-with
        self.process = subprocess.Popen(["ip", "-n", PLANE, "monitor", "route"], text=True,
                                        stdout=subprocess.PIPE)

    def end(self):
        # What was said before this is heard before it.
        ip(PLANE, "route", "add", "blackhole", "192.0.2.77/32")
        lines = []
        for line in self.process.stdout:
            if "192.0.2.77" in line:
                break
            lines.append(line)
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()
        ip(PLANE, "route", "del", "blackhole", "192.0.2.77/32")
        return lines


class OverAKernel(unittest.TestCase):
    missing = ()

    def setUp(self):
        self.plane = Plane(self.missing)
        self.addCleanup(self.plane.delete)
        self.agents = []

    def tearDown(self):
        for agent in self.agents:
            agent.end()

    def serve(self, *options, say=b"", **more):
        agent = Agent(BINARY, *options, **more)
        self.agents.append(agent)
        agent.connect(say)
        return agent

    def more_links(self):
        for link in range(plane.LINKS + 1, 33):
            ip(plane.ROUTER, "link", "add", f"eth{link}", "index", link + 1, "type", "veth", "peer",
               "name", f"r{link}", "netns", plane.PEERS)
            self.plane.link(link, 200 + link)

    def leads(self, prefix, ways):
        until(lambda: self.plane.ways(prefix) == ways,
              f"{prefix} leads to {ways}, and not to {self.plane.ways(prefix)}")

    def toggles(self, agent_clears):
        folder = self.enterContext(TemporaryFolder())
        with open(os.path.join(folder, "OrviaAsicUtils.json"), "w", encoding="utf-8") as file:
            json.dump({"ClearHwTableOnRestart": agent_clears}, file)
        return folder


class TemporaryFolder:
    def __enter__(self):
        import tempfile  # pylint: disable=import-outside-toplevel
        self.folder = tempfile.TemporaryDirectory(prefix="ovk2-")
        return self.folder.name

    def __exit__(self, *_):
        self.folder.cleanup()


def main():
    reason = plane.reason_to_skip()
    if reason:
        print("skipped:", reason)
        sys.exit(77)
    unittest.main(module="__main__", argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
