"""Network namespaces, packets and a routing daemon's messages for the tests over a real kernel."""

import ctypes
import json
import os
import shutil
import socket
import struct
import subprocess
import tempfile
import threading
import time

PREFIX = "ovk2-"
ROUTER, PLANE, PEERS, HOST = (PREFIX + name for name in ("r", "f", "x", "h"))
LINKS = 8
FIRST_ID = 1000000
PROTOCOL = 200


def run(*command, check=True):
    done = subprocess.run([str(part) for part in command], check=False, capture_output=True,
                          text=True, timeout=60)
    if check and done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}: {done.stderr}")
    return done.stdout


def ip(namespace, *words, check=True):
    return run("ip", "-n", namespace, *words, check=check)


def reason_to_skip():
    """Why there can be no such test here; empty where there can."""
    if os.geteuid() != 0:
        return "namespaces take root"
    if shutil.which("ip") is None:
        return "iproute2 is not installed"
    probe = PREFIX + "probe"
    try:
        run("ip", "netns", "add", probe)
        try:
            ip(probe, "link", "add", "probe0", "type", "veth", "peer", "name", "probe1")
            ip(probe, "link", "set", "probe0", "up")
            ip(probe, "link", "set", "probe1", "up")
            ip(probe, "nexthop", "add", "id", "1", "dev", "probe0")
        finally:
            run("ip", "netns", "del", probe, check=False)
    except (AssertionError, OSError) as failure:
        return f"no namespaces with veth links and next-hop objects: {failure}"
    return ""


def until(condition, what, seconds=20):
    """Waits until the condition holds."""
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise AssertionError("in vain: " + what)
        time.sleep(0.02)


def in_namespace(namespace, function):
    """What the function returns when it runs in the namespace, on a thread of its own."""
    result = []

    def enter():
        libc = ctypes.CDLL(None, use_errno=True)
        with open(f"/run/netns/{namespace}", "rb") as file:
            if libc.setns(file.fileno(), 0x40000000) != 0:
                result.append(OSError(ctypes.get_errno(), "setns"))
                return
        try:
            result.append(function())
        except Exception as failure:  # pylint: disable=broad-except
            result.append(failure)

    thread = threading.Thread(target=enter)
    thread.start()
    thread.join()
    if isinstance(result[0], Exception):
        raise result[0]
    return result[0]


class Plane:
    """Namespaces for the routing daemon's interfaces and for forwarding, with links of the same
    names and other numbers, a host that sends into the one, and the peers behind it."""

    NAMES = (ROUTER, PLANE, PEERS, HOST)

    def __init__(self, missing=()):
        self.delete()
        for name in self.NAMES:
            run("ip", "netns", "add", name)
            ip(name, "link", "set", "lo", "up")
        for link in range(1, LINKS + 1):
            ip(ROUTER, "link", "add", f"eth{link}", "index", link + 1, "type", "veth", "peer",
               "name", f"r{link}", "netns", PEERS)
            ip(ROUTER, "link", "set", f"eth{link}", "up")
            ip(PEERS, "link", "set", f"r{link}", "up")
        for link in range(LINKS, 0, -1):
            if link not in missing:
                self.link(link, 50 - link)
        ip(HOST, "link", "add", "out", "type", "veth", "peer", "name", "in", "netns", PLANE)
        for namespace, link, address in ((HOST, "out", "10.9.0.2/24"), (PLANE, "in", "10.9.0.1/24")):
            ip(namespace, "addr", "add", address, "dev", link)
            ip(namespace, "link", "set", link, "up")
        ip(HOST, "route", "add", "default", "via", "10.9.0.1")
        for word in ("ip_forward=1", "fib_multipath_hash_policy=1", "conf.all.rp_filter=0"):
            key, value = word.split("=")
            self.write(PLANE, "net.ipv4." + key, value)
        self.write(PEERS, "net.ipv4.conf.all.rp_filter", "0")
        self.write(PEERS, "net.ipv4.ip_nonlocal_bind", "1")
        ip(PEERS, "route", "add", "local", "203.0.113.0/24", "dev", "lo")
        ip(PEERS, "route", "add", "local", "198.18.0.0/15", "dev", "lo")

    @staticmethod
    def write(namespace, key, value):
        path = "/proc/sys/" + key.replace(".", "/")

        def write():
            with open(path, "w", encoding="ascii") as file:
                file.write(value)

        in_namespace(namespace, write)

    @staticmethod
    def link(link, index):
        """A link of the forwarding namespace, up and with addresses at both ends."""
        ip(PLANE, "link", "add", f"eth{link}", "index", index, "type", "veth", "peer", "name",
           f"f{link}", "netns", PEERS)
        ip(PEERS, "link", "set", f"f{link}", "up")
        ip(PEERS, "addr", "add", f"10.0.{link}.2/24", "dev", f"f{link}")
        Plane.up(link)

    @staticmethod
    def up(link):
        ip(PLANE, "addr", "replace", f"10.0.{link}.1/24", "dev", f"eth{link}")
        ip(PLANE, "link", "set", f"eth{link}", "up")

    @classmethod
    def delete(cls):
        for name in cls.NAMES:
            run("ip", "netns", "del", name, check=False)

    @staticmethod
    def next_hops():
        """The kernel's next-hop objects by id."""
        return {hop["id"]: hop for hop in json.loads(ip(PLANE, "-j", "nexthop") or "[]")}

    @staticmethod
    def routes(family="-4"):
        """The routes of the agent's by prefix."""
        listed = json.loads(run("ip", "-n", PLANE, family, "-j", "route", "show", "proto", PROTOCOL)
                            or "[]")
        return {route["dst"]: route for route in listed}

    @classmethod
    def members(cls, identifier):
        """Gateway and weight of each member of a group."""
        hops = cls.next_hops()
        return sorted((hops[member["id"]]["gateway"], member.get("weight", 1))
                      for member in hops[identifier]["group"])

    @classmethod
    def ways(cls, prefix):
        """Where a route leads: gateways with weights, or the device of a connected one."""
        route = cls.routes().get(prefix)
        if route is None:
            return None
        if route.get("type") == "blackhole":
            return "blackhole"
        hop = cls.next_hops()[route["nhid"]]
        return cls.members(route["nhid"]) if "group" in hop else hop.get("gateway", hop["dev"])


    @classmethod
    def all_ways(cls):
        """Where each route leads, as ways() tells one."""
        hops = cls.next_hops()

        def name(identifier):
            return hops[identifier].get("gateway", hops[identifier].get("dev"))

        found = {}
        for prefix, route in (cls.routes() | cls.routes("-6")).items():
            if "nhid" not in route:
                found[prefix] = route["type"]
            elif "group" in hops[route["nhid"]]:
                found[prefix] = sorted((name(member["id"]), member.get("weight", 1))
                                       for member in hops[route["nhid"]]["group"])
            else:
                found[prefix] = name(route["nhid"])
        return found


class Probes:
    """Numbered packets from the host to an address behind the plane, from several ports."""

    def __init__(self, address, ports=16, gap=0.001):
        self.address, self.gap = address, gap
        self.senders = in_namespace(HOST, lambda: [
            socket.socket(socket.AF_INET, socket.SOCK_DGRAM) for _ in range(ports)])
        self.receiver = in_namespace(PEERS, lambda: socket.socket(socket.AF_INET,
                                                                  socket.SOCK_DGRAM))
        self.receiver.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
        self.receiver.bind((address, 7777))
        self.receiver.settimeout(0.5)
        self.sent, self.received, self.going = 0, set(), True
        self.threads = [threading.Thread(target=self.send), threading.Thread(target=self.receive)]
        for thread in self.threads:
            thread.start()

    def send(self):
        while self.going:
            sender = self.senders[self.sent % len(self.senders)]
            try:
                sender.sendto(struct.pack("!I", self.sent), (self.address, 7777))
            except OSError:
                pass
            self.sent += 1
            time.sleep(self.gap)

    def receive(self):
        while True:
            try:
                self.received.add(struct.unpack("!I", self.receiver.recv(16))[0])
            except socket.timeout:
                if not self.going:
                    return

    def lost(self):
        """Ends, and returns how many did not arrive."""
        self.going = False
        for thread in self.threads:
            thread.join()
        for one in self.senders + [self.receiver]:
            one.close()
        assert self.sent > 0
        return self.sent - len(self.received)


class Agent:
    """A serving agent, and what stands before it: the connection of a routing daemon."""

    def __init__(self, binary, *options, hold=1):
        self.folder = tempfile.mkdtemp(prefix="ovk2-")
        self.binary, self.options, self.hold = binary, options, hold
        self.process = self.connection = None
        self.start()

    def start(self):
        control = os.path.join(self.folder, "control")
        if os.path.exists(control):
            os.remove(control)
        self.log = os.path.join(self.folder, "log")
        with open(self.log, "w", encoding="utf-8") as log:
            self.process = subprocess.Popen(
                [self.binary, "serve", f"--kernel={PLANE}", "--daemon-netns", ROUTER, "--listen",
                 "0", "--control", control, "--hold", str(self.hold), *map(str, self.options)],
                stdout=log, stderr=log)
        until(lambda: "control socket" in self.text() or self.process.poll() is not None, "start")
        assert self.process.poll() is None, self.text()
        self.port = int(self.text().split("routing daemon at 127.0.0.1:")[1].split()[0])

    def text(self):
        with open(self.log, encoding="utf-8") as log:
            return log.read()

    def connect(self, data=b""):
        self.connection = socket.create_connection(("127.0.0.1", self.port))
        self.connection.sendall(data)

    def say(self, *messages):
        self.connection.sendall(b"".join(messages))

    def ctl(self, *words):
        return run(self.binary, "ctl", "--socket", os.path.join(self.folder, "control"), *words)

    def kill(self):
        self.process.kill()
        self.process.wait()
        if self.connection:
            self.connection.close()

    def end(self):
        self.kill()
        shutil.rmtree(self.folder)


def attribute(kind, data):
    return struct.pack("=HH", 4 + len(data), kind) + data + bytes(-len(data) % 4)


def frame(kind, flags, body):
    netlink = struct.pack("=IHHII", 16 + len(body), kind, flags, 0, 0) + body
    return struct.pack("!BBH", 1, 1, 4 + len(netlink)) + netlink


def address(text):
    family = socket.AF_INET6 if ":" in text else socket.AF_INET
    return family, socket.inet_pton(family, text)


def next_hop(identifier, interface, gateway=None, family=socket.AF_INET):
    """RTM_NEWNEXTHOP of a single next hop."""
    data = attribute(1, struct.pack("=I", identifier)) + attribute(5, struct.pack("=I", interface))
    if gateway:
        family, packed = address(gateway)
        data += attribute(6, packed)
    return frame(104, 0x505, struct.pack("=BBBBI", family, 0, 11, 0, 0) + data)


def group(identifier, *members):
    """RTM_NEWNEXTHOP of a group: ids, or pairs of an id and its weight."""
    pairs = [member if isinstance(member, tuple) else (member, 1) for member in members]
    data = attribute(1, struct.pack("=I", identifier)) + attribute(
        2, b"".join(struct.pack("=IBBH", member, weight - 1, 0, 0) for member, weight in pairs))
    return frame(104, 0x505, struct.pack("=BBBBI", 0, 0, 11, 0, 0) + data)


def next_hop_gone(identifier):
    data = attribute(1, struct.pack("=I", identifier))
    return frame(105, 1, struct.pack("=BBBBI", 0, 0, 11, 0, 0) + data)


def route(prefix, identifier=None, metric=20, kind=1, gone=False):
    """A route by id, or without one of a kind that drops."""
    text, length = prefix.split("/")
    family, packed = address(text)
    body = struct.pack("=BBBBBBBBI", family, int(length), 0, 0, 254, 11, 0, kind, 0)
    body += attribute(1, packed) + attribute(6, struct.pack("=I", metric))
    if identifier is not None:
        body += attribute(30, struct.pack("=I", identifier))
    return frame(25 if gone else 24, 1 if gone else 0x501, body)
