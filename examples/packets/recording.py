"""What the recorder wrote, read while it goes on: where each prefix led at every moment, in the stream
and in both kernels, and what never may be."""

import time

import recorder
from netlink import Ways, link_states

STREAM_PROTOCOLS = {186, 196}  # BGP and static, as FRRouting numbers them


class Stream:
    """One connection of the routing daemon, put together from its segments."""

    def __init__(self, number, feed):
        self._next = number
        self._feed = feed
        self._waiting = {}  # segments that came out of turn
        self._data = b""

    def take(self, at, number, contents):
        self._waiting[number] = contents
        while self._next in self._waiting:
            part = self._waiting.pop(self._next)
            self._next = (self._next + len(part)) & 0xFFFFFFFF
            self._data += part
        # A frame: version, type, length with this header, then netlink messages.
        while len(self._data) >= 4:
            length = int.from_bytes(self._data[2:4], "big")
            if len(self._data) < length:
                break
            self._feed(at, self._data[4:length])
            self._data = self._data[length:]


class Recording:
    """`changes[SOURCE]` is the list of (time, prefix, way) of a source, in the order of time."""

    SOURCES = {recorder.ROUTER: "router", recorder.FORWARDING: "forwarding",
               recorder.STREAM: "stream"}

    def __init__(self, world, path):
        self._path = path
        self._at = 0
        self._rest = b""
        self._streams = {}
        self.connections = 0
        self.last = 0             # when anything was recorded
        self.first_of_stream = 0  # when the connection of now said its first
        self.changes = {name: [] for name in self.SOURCES.values()}
        self.announced = set()  # the ways of the stream's groups, and of its routes
        self.links = []         # (time, name, whether it runs) of the router's
        self._groups = []       # states of the forwarding plane's groups that are to be judged
        self._names = {name: world.interfaces(name) for name in ("router", "forwarding")}
        self.ways = {name: self._ways(name) for name in self.SOURCES.values()}

    def _ways(self, name):
        changes = self.changes[name]
        names = self._names["forwarding" if name == "forwarding" else "router"]
        grouped = {"stream": lambda at, way: self.announced.add(way),
                   "forwarding": self._grouped}.get(name, lambda at, way: None)
        takes = {"router": lambda protocol: protocol in STREAM_PROTOCOLS,
                 "forwarding": lambda protocol: protocol != 2}.get(name, lambda protocol: True)
        return Ways(names, lambda at, prefix, way: changes.append((at, prefix, way)), grouped, takes,
                    is_kernel=name != "stream")

    def _grouped(self, at, way):
        self._groups.append((at, way))

    def strange(self):
        """States of the forwarding plane's groups that the stream never announced, after a rest."""
        found = [(at, way) for at, way in self._groups if way not in self.announced]
        self._groups.clear()
        return found

    def read(self):
        with open(self._path, "rb") as file:
            file.seek(self._at)
            data = self._rest + file.read()
            self._at = file.tell()
        at, header = 0, recorder.RECORD
        while at + header.size <= len(data):
            moment, source, length = header.unpack_from(data, at)
            if at + header.size + length > len(data):
                break
            self._take(moment, source, data[at + header.size:at + header.size + length])
            at += header.size + length
        self._rest = data[at:]

    def _take(self, moment, source, contents):
        self.last = moment
        if source in (recorder.ROUTER, recorder.FORWARDING):
            self.ways[self.SOURCES[source]].feed(moment, contents)
            if source == recorder.ROUTER:
                self.links += [(moment, self._names["router"].get(number), runs)
                               for number, runs in link_states(contents)]
            return
        port, number = recorder.STREAM_HEADER.unpack_from(contents)
        if source == recorder.ENDED:
            # Ids of a new connection may mean something else, and it says all again.
            self.connections += 1
            self.first_of_stream = 0
            self.ways["stream"] = self._ways("stream")
            self._streams = {port: Stream(number, self._feed_stream)}
        elif port in self._streams:
            part = contents[recorder.STREAM_HEADER.size:]
            self.first_of_stream = self.first_of_stream or moment
            self._streams[port].take(moment, number, part)

    def _feed_stream(self, moment, data):
        self.ways["stream"].feed(moment, data)

    def link_moment(self, since, name, runs):
        """When the router's kernel told that the link is, or is no more, since a moment."""
        return next((moment for moment, which, state in self.links
                     if moment >= since and which == name and state == runs), None)

    def rest(self, seconds=0.4):
        """Reads until nothing has happened for so long."""
        while True:
            self.read()
            quiet = seconds - (time.monotonic_ns() - self.last) / 1e9
            if quiet <= 0:
                return
            time.sleep(max(quiet, 0.02))

    def arrivals(self, source, since, expected):
        """{prefix: when it came to lead its way to stay}"""
        found = {}
        for moment, prefix, way in self.changes[source]:
            if moment < since or prefix not in expected:
                continue
            if way != expected[prefix]:
                found.pop(prefix, None)
            else:
                found.setdefault(prefix, moment)
        return found


def percentiles(values):
    """50, 90, 99 and 100 of hundred, each a value that occurred."""
    ordered = sorted(values)
    return [ordered[max(0, -(-len(ordered) * share // 100) - 1)] for share in (50, 90, 99, 100)]
