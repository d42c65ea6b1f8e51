"""Records, with the time of each: the kernel's notifications about links, routes and next hops in two network
namespaces, and what a routing daemon sends to port 2620 of the first one's loopback.

    recorder.py FILE ROUTER-NAMESPACE FORWARDING-NAMESPACE

Prints "ready" when nothing can be missed any longer, and ends when its input does. A record is the
time (CLOCK_MONOTONIC, ns), the source and the length of what follows. A kernel that had to leave
something out is a failure: the record would be of no use.
"""

import ctypes
import os
import select
import socket
import struct
import sys
import time

from netlink import GROUP_IPV4_ROUTE, GROUP_LINK, GROUP_NEXTHOP

FPM_PORT = 2620
ROUTER, FORWARDING, STREAM, ENDED = 1, 2, 3, 4
RECORD = struct.Struct("=QBI")
STREAM_HEADER = struct.Struct("=HI")  # before a stream's segment: the daemon's port, TCP's number

_NEWNET = 0x40000000
_RECEIVE_BUFFER_FORCE = 33
_NETLINK, _ADD_MEMBERSHIP = 270, 1
_PACKET, _PACKET_STATISTICS = 263, 6
_ALL_PROTOCOLS, _IPV4 = 3, 0x0800
_OUTGOING = 4


def enter(namespace):
    """Moves this thread into a network namespace; sockets that are open stay where they are."""
    libc = ctypes.CDLL(None, use_errno=True)
    with open(f"/run/netns/{namespace}", "rb") as file:
        if libc.setns(file.fileno(), _NEWNET) != 0:
            raise OSError(ctypes.get_errno(), f"cannot enter {namespace}")


def notifications(namespace):
    enter(namespace)
    found = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, 0)
    found.setsockopt(socket.SOL_SOCKET, _RECEIVE_BUFFER_FORCE, 256 << 20)
    # An address comes first: with none, it is left out like the sender, and getting one clears groups.
    found.bind((0, 0))
    for group in (GROUP_LINK, GROUP_IPV4_ROUTE, GROUP_NEXTHOP):
        found.setsockopt(_NETLINK, _ADD_MEMBERSHIP, group)
    found.setblocking(False)
    return found


def loopback(namespace):
    enter(namespace)
    found = socket.socket(socket.AF_PACKET, socket.SOCK_DGRAM, socket.htons(_ALL_PROTOCOLS))
    found.setsockopt(socket.SOL_SOCKET, _RECEIVE_BUFFER_FORCE, 256 << 20)
    found.bind(("lo", _IPV4))
    found.setblocking(False)
    return found


def segment(packet):
    """(daemon's port, flags, TCP's number, contents) of a segment to the port, or None."""
    if packet[0] >> 4 != 4 or packet[9] != socket.IPPROTO_TCP:
        return None
    length = int.from_bytes(packet[2:4], "big") or len(packet)
    tcp = (packet[0] & 15) * 4
    source, target, number = struct.unpack_from("!HHI", packet, tcp)
    if target != FPM_PORT:
        return None
    return source, packet[tcp + 13], number, packet[tcp + (packet[tcp + 12] >> 4) * 4:length]


class Recorder:
    def __init__(self, path, router, forwarding):
        self._file = open(path, "wb", buffering=1 << 20)
        self._kernels = {notifications(router): ROUTER, notifications(forwarding): FORWARDING}
        self._stream = loopback(router)

    def _record(self, source, data):
        self._file.write(RECORD.pack(time.monotonic_ns(), source, len(data)) + data)

    def _take_kernel(self, sock):
        # Some at a time, so that the other sources are heard too.
        for _ in range(64):
            try:
                self._record(self._kernels[sock], sock.recv(1 << 16))
            except BlockingIOError:
                return

    def _take_stream(self):
        for _ in range(64):
            try:
                packet, (_, _, kind, *_) = self._stream.recvfrom(1 << 17)
            except BlockingIOError:
                return
            # On loopback everything is seen twice: going out and coming in.
            found = None if kind == _OUTGOING else segment(packet)
            if not found:
                continue
            port, flags, number, contents = found
            if flags & 2:  # a new connection: its contents begin behind this number
                number = (number + 1) & 0xFFFFFFFF
                self._record(ENDED, STREAM_HEADER.pack(port, number))
            elif contents:
                self._record(STREAM, STREAM_HEADER.pack(port, number) + contents)

    def run(self):
        sources = [*self._kernels, self._stream, sys.stdin]
        print("ready", flush=True)
        while True:
            readable, _, _ = select.select(sources, [], [], 0.02)
            if not readable:
                self._file.flush()
            for sock in readable:
                if sock is sys.stdin:
                    if not os.read(0, 4096):
                        self._end()
                        return
                elif sock is self._stream:
                    self._take_stream()
                else:
                    self._take_kernel(sock)

    def _end(self):
        self._file.close()
        _, dropped = struct.unpack("=II", self._stream.getsockopt(_PACKET, _PACKET_STATISTICS, 8))
        if dropped:
            sys.exit(f"the recorder missed {dropped} packets of the stream")


if __name__ == "__main__":
    Recorder(*sys.argv[1:]).run()
