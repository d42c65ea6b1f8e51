"""Traffic through the forwarding plane while something happens, and what became of it."""

import json
import time

from namespaces import Failure

# For what is under way when the last probe has been sent.
SETTLE_SECONDS = 0.2


class Outcome:
    """What became of one stream's probes."""

    def __init__(self, sent, arrived):
        self.sent = len(sent)
        seen = set(arrived)
        if not seen <= set(range(len(sent))):
            raise Failure("a probe arrived that nobody sent")
        self.lost_times = [time for number, time in enumerate(sent) if number not in seen]
        self.lost = len(self.lost_times)
        self.duplicates = len(arrived) - len(seen)
        self.reordered = 0
        highest = -1
        for number in arrived:
            self.reordered += number < highest
            highest = max(highest, number)

    def milliseconds(self):
        """From the first lost probe to the last."""
        return (self.lost_times[-1] - self.lost_times[0]) / 1e6 if self.lost else 0.0

    def milliseconds_after(self, event):
        """From the event to the last lost probe."""
        return (self.lost_times[-1] - event) / 1e6 if self.lost else 0.0


class Traffic:
    """with Traffic(world, {"2 wide": addresses}, 500) as traffic: ...; then traffic.outcomes"""

    def __init__(self, world, streams, per_second):
        self._world = world
        self._streams = streams
        self._per_second = per_second
        self._files = [world.folder / f"probes.{end}" for end in ("sent", "arrived")]
        self.outcomes = {}

    def __enter__(self):
        self._receiver = self._world.helper("peers", "receiver", "probe.py", "receive",
                                            self._files[1], len(self._streams))
        self._sender = self._world.helper("host", "sender", "probe.py", "send", self._files[0],
                                          self._per_second, *map(",".join, self._streams.values()))
        time.sleep(0.3)
        return self

    def __exit__(self, kind, *_):
        if kind:
            return
        self._sender.finish()
        time.sleep(SETTLE_SECONDS)
        self._receiver.finish()
        sent, arrived = (json.loads(file.read_text()) for file in self._files)
        self.outcomes = {name: Outcome(*ends) for name, *ends in zip(self._streams, sent, arrived)}


def addresses(prefix):
    """The hosts of a /26 network."""
    network, _ = prefix.split("/")
    start, last = network.rsplit(".", 1)
    return [f"{start}.{int(last) + host}" for host in range(1, 63)]
