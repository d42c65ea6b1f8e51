"""The router's BGP peers, all in one process: one on each link, in the namespace of the peers.

    bgp_speaker.py LINKS WIDTH MOST

Peer i has the address 10.0.i.2 and the number 65100 + i, and announces those of MOST prefixes whose
set of links (see plan.py) has its own. It reads commands from its input and answers each with one
line: "announce COUNT" makes the first COUNT prefixes known, on all sessions that are up and on those
to come, and "withdraw" takes them back; "sessions" tells how many are up. It ends with its input.
"""

import selectors
import socket
import struct
import sys
import time

import plan

PORT, VERSION, ROUTER_NUMBER = 179, 4, 65000
OPEN, UPDATE, NOTIFICATION, KEEPALIVE = 1, 2, 3, 4
HOLD_SECONDS = 90
MARKER = b"\xff" * 16
# Of a message of 4096 bytes at most, for prefixes.
ROOM = 3900


def message(kind, body=b""):
    return MARKER + struct.pack("!HB", 19 + len(body), kind) + body


def attribute(flags, kind, value):
    return bytes((flags, kind, len(value))) + value


def prefix_bytes(number):
    address, length = plan.prefix(number).split("/")
    return bytes((int(length),)) + socket.inet_aton(address)[:(int(length) + 7) // 8]


class Session:
    def __init__(self, sock, link):
        self.sock = sock
        self.link = link
        self.is_up = False
        self._in = b""
        self._out = bytearray()

    @property
    def wants_to_write(self):
        return bool(self._out)

    def flush(self):
        sent = self.sock.send(self._out)
        del self._out[:sent]

    def open(self):
        capability = bytes((2, 6, 1, 4)) + struct.pack("!HBB", 1, 0, 1)  # IPv4 unicast
        self._out += message(OPEN, struct.pack(
            "!BHH4sB", VERSION, 65100 + self.link, HOLD_SECONDS,
            socket.inet_aton(f"10.0.{self.link}.2"), len(capability)) + capability)
        self._out += message(KEEPALIVE)

    def keepalive(self):
        if self.is_up:
            self._out += message(KEEPALIVE)

    def announce(self, numbers):
        attributes = (attribute(0x40, 1, b"\0")
                      + attribute(0x40, 2, struct.pack("!BBH", 2, 1, 65100 + self.link))
                      + attribute(0x40, 3, socket.inet_aton(f"10.0.{self.link}.2")))
        for part in self._parts(numbers):
            self._out += message(UPDATE, struct.pack("!HH", 0, len(attributes)) + attributes + part)
        self._out += message(UPDATE, b"\0\0\0\0")  # the end of what there is

    def withdraw(self, numbers):
        for part in self._parts(numbers):
            self._out += message(UPDATE, struct.pack("!H", len(part)) + part + b"\0\0")

    @staticmethod
    def _parts(numbers):
        part = b""
        for number in numbers:
            part += prefix_bytes(number)
            if len(part) > ROOM:
                yield part
                part = b""
        if part:
            yield part

    def take(self, data):
        """The kinds of the messages that are complete now."""
        self._in += data
        kinds = []
        while len(self._in) >= 19:
            length, kind = struct.unpack_from("!HB", self._in, 16)
            if len(self._in) < length:
                break
            self._in = self._in[length:]
            kinds.append(kind)
        return kinds


class Speaker:
    def __init__(self, links, width, most):
        self._selector = selectors.DefaultSelector()
        self._sessions = {}  # link -> Session
        self._own = {link: [] for link in range(1, links + 1)}
        for number, own in enumerate(plan.sets(most, links, width)):
            for link in own:
                self._own[link].append(number)
        self._count = 0
        listener = socket.create_server(("", PORT), backlog=links)
        self._selector.register(listener, selectors.EVENT_READ, self._accept)
        self._selector.register(sys.stdin.buffer, selectors.EVENT_READ, self._command)
        self._commands = b""
        self._runs = True

    def _announced(self, link):
        return [number for number in self._own[link] if number < self._count]

    def _accept(self, listener, _):
        sock, _ = listener.accept()
        sock.setblocking(False)
        link = int(sock.getsockname()[0].split(".")[2])
        if link in self._sessions:  # the router has begun anew
            self._drop(self._sessions[link])
        session = self._sessions[link] = Session(sock, link)
        self._selector.register(sock, selectors.EVENT_READ,
                                lambda _, events: self._serve(session, events))

    def _drop(self, session):
        self._selector.unregister(session.sock)
        session.sock.close()
        if self._sessions.get(session.link) is session:
            del self._sessions[session.link]

    def _serve(self, session, events):
        if self._sessions.get(session.link) is not session:
            return  # dropped by what was served just before
        try:
            if events & selectors.EVENT_READ:
                data = session.sock.recv(65536)
                if not data:
                    raise ConnectionError
                for kind in session.take(data):
                    self._take(session, kind)
            if session.wants_to_write:
                session.flush()
        except BlockingIOError:
            pass
        except OSError:
            self._drop(session)
            return
        self._listen(session)

    def _listen(self, session):
        events = selectors.EVENT_READ | (selectors.EVENT_WRITE if session.wants_to_write else 0)
        key = self._selector.get_key(session.sock)
        if key.events != events:
            self._selector.modify(session.sock, events, key.data)

    def _take(self, session, kind):
        if kind == OPEN:
            session.open()
        elif kind == KEEPALIVE and not session.is_up:
            session.is_up = True
            session.announce(self._announced(session.link))
        elif kind == NOTIFICATION:
            raise ConnectionError

    def _command(self, _, __):
        data = sys.stdin.buffer.raw.read(4096)
        if not data:
            self._runs = False
            return
        self._commands += data
        while b"\n" in self._commands:
            line, self._commands = self._commands.split(b"\n", 1)
            print(self._obey(line.decode().split()), flush=True)

    def _obey(self, words):
        up = [session for session in self._sessions.values() if session.is_up]
        if words[0] == "announce":
            self._count = int(words[1])
            for session in up:
                session.announce(self._announced(session.link))
                self._listen(session)
        elif words[0] == "withdraw":
            for session in up:
                session.withdraw(self._announced(session.link))
                self._listen(session)
            self._count = 0
        elif words[0] != "sessions":
            return f"unknown: {words}"
        return str(len(up))

    def run(self):
        print("ready", flush=True)
        alive = time.monotonic()
        while self._runs:
            for key, events in self._selector.select(1):
                key.data(key.fileobj, events)
            if time.monotonic() - alive > HOLD_SECONDS / 6:
                alive = time.monotonic()
                for session in list(self._sessions.values()):
                    session.keepalive()
                    self._listen(session)


if __name__ == "__main__":
    Speaker(*map(int, sys.argv[1:])).run()
