"""Numbered UDP probes.

    probe.py send FILE PER-SECOND ADDRESSES...     so many probes a second into each stream
    probe.py receive FILE STREAMS

A stream's addresses are separated by commas and used in turn, from source ports in turn: each probe is
as good as a flow of its own to a plane that hashes ports. A probe holds its stream and its number there.
Both print "ready" and end with their input. The file then has for each stream the times when its probes
were sent (CLOCK_MONOTONIC, ns), or the numbers that arrived, in their order.
"""

import array
import json
import os
import select
import socket
import struct
import sys
import time

PORT = 4789
SOURCES = 128
PROBE = struct.Struct("=BQ")
_RECEIVE_BUFFER_FORCE = 33


def input_ended():
    return select.select([0], [], [], 0)[0] and not os.read(0, 4096)


def write(path, streams):
    with open(path, "w") as file:
        json.dump([list(stream) for stream in streams], file)


def send(path, per_second, *streams):
    targets = [[(address, PORT) for address in stream.split(",")] for stream in streams]
    sockets = []
    for _ in range(SOURCES):
        sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        sock.bind(("", 0))
        sockets.append(sock)
    sent = [array.array("Q") for _ in targets]
    pause = 1_000_000_000 // int(per_second)
    print("ready", flush=True)
    number, due = 0, time.monotonic_ns()
    while number % 64 or not input_ended():
        sock = sockets[number % SOURCES]
        for stream, addresses in enumerate(targets):
            sent[stream].append(time.monotonic_ns())
            sock.sendto(PROBE.pack(stream, number), addresses[number % len(addresses)])
        number += 1
        # What was late is caught up with, but no burst is made of a long delay.
        due = max(due + pause, time.monotonic_ns() - 20_000_000)
        wait = due - time.monotonic_ns()
        if wait > 0:
            time.sleep(wait / 1e9)
    write(path, sent)


def receive(path, streams):
    sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    sock.setsockopt(socket.SOL_SOCKET, _RECEIVE_BUFFER_FORCE, 64 << 20)
    sock.bind(("", PORT))
    sock.setblocking(False)
    arrived = [array.array("Q") for _ in range(int(streams))]
    print("ready", flush=True)
    buffer = bytearray(64)
    while True:
        readable, _, _ = select.select([sock, 0], [], [])
        if sock in readable:
            try:
                for _ in range(256):
                    sock.recv_into(buffer)
                    stream, number = PROBE.unpack_from(buffer)
                    arrived[stream].append(number)
            except BlockingIOError:
                pass
        elif not os.read(0, 4096):  # and the socket is empty
            break
    write(path, arrived)


if __name__ == "__main__":
    {"send": send, "receive": receive}[sys.argv[1]](*sys.argv[2:])
