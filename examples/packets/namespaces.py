"""The network namespaces of the demonstration and the processes in them.

    router      FRRouting's daemons and the agent; e1.. lead to the peers
    peers       the far ends: r1.. of the router's links, f1.. of the forwarding plane's
    forwarding  the forwarding plane, which nobody but the agent programs: e1.. and `gate`
    host        sends traffic into `gate`

The router's links and the forwarding plane's have the same names and addresses, and are apart: that a
link of the router fails, the forwarding plane learns from the agent only.

Names of namespaces carry the number of the process that made them. What such a process left behind,
because it was killed, the next run removes.
"""

import ctypes
import os
import pathlib
import re
import signal
import subprocess
import sys
import time

import plan

PREFIX = "ovp"
PROGRAMS = (b"packets/demo.py", b"packets/measure.py")
ROLES = ("router", "peers", "forwarding", "host")
_DIE_WITH_PARENT = 1
HEARS, IS_DEAF = "02:00:00:00:01", "02:00:00:00:02"  # the far ends of the forwarding plane's links


class Failure(Exception):
    """The demonstration cannot go on, or found something wrong."""


def run(*words, given=None):
    ended = subprocess.run([str(word) for word in words], input=given, text=True,
                           stdin=None if given else subprocess.DEVNULL,
                           capture_output=True, check=False, timeout=60)
    if ended.returncode != 0:
        raise Failure(f"{' '.join(map(str, words))}: {ended.stderr.strip() or ended.stdout.strip()}")
    return ended.stdout


def _die_with_parent():
    ctypes.CDLL(None).prctl(_DIE_WITH_PARENT, signal.SIGKILL)
    # One of its own: what a terminal sends to the demonstration, that passes on as it sees fit.
    os.setpgid(0, 0)


def wait_until(condition, what, seconds=20, pause=0.02):
    """Returns what the condition returns, once that is true."""
    end = time.monotonic() + seconds
    while not (found := condition()):
        if time.monotonic() > end:
            raise Failure(f"waited {seconds} s in vain: {what() if callable(what) else what}")
        time.sleep(pause)
    return found


class Process:
    """A process of ours; its errors go to a file."""

    def __init__(self, name, words, folder, **streams):
        self.name = name
        self._errors = folder / f"{name}.log"
        with open(self._errors, "ab") as log:
            self.process = subprocess.Popen(
                [str(word) for word in words], preexec_fn=_die_with_parent, text=True,
                stdin=streams.get("stdin", subprocess.DEVNULL),
                stdout=streams.get("stdout", log), stderr=log)

    def errors(self):
        return self._errors.read_text(errors="replace")

    def ask(self, line):
        """Its answer to a command, or its first line where there is none."""
        if line:
            self.process.stdin.write(line + "\n")
            self.process.stdin.flush()
        answer = self.process.stdout.readline().strip()
        if not answer:
            raise Failure(f"{self.name} ended: {self.errors()}")
        return answer

    def cpu_seconds(self):
        """Of the process so far, its threads and its time in the kernel included."""
        fields = pathlib.Path(f"/proc/{self.process.pid}/stat").read_text().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def finish(self, seconds=20):
        """Ends a process that ends with its input, and expects that all was well."""
        self.process.stdin.close()
        if self.process.wait(seconds) != 0:
            raise Failure(f"{self.name} failed: {self.errors()}")

    def kill(self, number=signal.SIGKILL):
        if self.process.poll() is None:
            self.process.send_signal(number)
            self.process.wait(20)


class Namespaces:
    def __init__(self, links, folder):
        self.links = links
        self.folder = pathlib.Path(folder)
        self._processes = []
        self._name = {role: f"{PREFIX}-{os.getpid()}-{role}" for role in ROLES}

    def __getitem__(self, role):
        return self._name[role]

    # -- the set-up ----------------------------------------------------------------------------

    def make(self):
        remove_leftovers()
        for role in ROLES:
            run("ip", "netns", "add", self[role])
            # No chatter: interface counters count probes.
            self.set(role, "ipv6.conf.all.disable_ipv6=1", "ipv6.conf.default.disable_ipv6=1",
                     "ipv4.conf.all.rp_filter=0", "ipv4.conf.default.rp_filter=0")
        self.set("router", "ipv4.ip_forward=1")
        # Ports are hashed too, so that flows between the same two hosts spread.
        self.set("forwarding", "ipv4.ip_forward=1", "ipv4.fib_multipath_hash_policy=1")
        self._make_links()

    def set(self, role, *settings):
        run("ip", "netns", "exec", self[role], "sysctl", "-q", "-w",
            *(f"net.{setting}" for setting in settings))

    def _make_links(self):
        peers, router, forwarding, host = [], [], [], []
        # The same name has another number in the forwarding plane than in the router.
        forwarding += [f"link add gate type veth peer name out netns {self['host']}",
                       "addr add 198.51.100.1/24 dev gate", "link set gate up"]
        host += ["addr add 198.51.100.2/24 dev out", "link set out up",
                 "route add default via 198.51.100.1"]
        for link in range(1, self.links + 1):
            name = plan.interface(link)
            own, gateway = f"10.0.{link}.1", plan.gateway(link)
            hears = f"{HEARS}:{link:02x}"
            peers += [f"link add r{link} type veth peer name {name} netns {self['router']}",
                      f"link add f{link} address {hears} type veth"
                      f" peer name {name} netns {self['forwarding']}",
                      f"addr add {gateway}/24 dev r{link}",
                      f"link set r{link} up", f"link set f{link} up"]
            router += [f"addr add {own}/24 dev {name}", f"link set {name} up"]
            forwarding += [f"addr add {own}/24 dev {name}", f"link set {name} up",
                           f"neigh replace {gateway} lladdr {hears} dev {name} nud permanent"]
        # The peers take whatever the prefixes are for.
        peers += ["route add local 203.0.113.0/24 dev lo", "route add local 100.64.0.0/10 dev lo"]
        # The forwarding plane's own link comes first and shifts the numbers of the others there.
        for role, lines in (("forwarding", forwarding[:3]), ("host", host), ("peers", peers),
                            ("router", router), ("forwarding", forwarding[3:])):
            self.batch(role, ["link set lo up", *lines])

    def batch(self, role, lines):
        run("ip", "-n", self[role], "-batch", "-", given="".join(line + "\n" for line in lines))

    def interfaces(self, role):
        """Name by number."""
        return {int(number): name for number, name in re.findall(
            r"^(\d+): ([^:@]+)", run("ip", "-n", self[role], "-o", "link"), re.MULTILINE)}

    # -- what happens to links -----------------------------------------------------------------

    def cut(self, link):
        """The link fails: what goes to its far end is lost, and the router loses the carrier. The
        forwarding plane's own link keeps it, so that the kernel there does nothing by itself."""
        self.batch("peers", [f"link set f{link} address {IS_DEAF}:{link:02x}",
                             f"link set r{link} down"])

    def mend(self, link):
        self.batch("peers", [f"link set f{link} address {HEARS}:{link:02x}",
                             f"link set r{link} up"])

    # -- processes -----------------------------------------------------------------------------

    def start(self, role, name, *words, **streams):
        found = Process(name, ["ip", "netns", "exec", self[role], *words], self.folder, **streams)
        self._processes.append(found)
        return found

    def helper(self, role, name, *words, say_ready=True):
        """One of the Python programs beside this file, with a pipe to talk to it."""
        script = pathlib.Path(__file__).parent / words[0]
        command = ["/usr/bin/python3", "-B", script, *words[1:]]
        streams = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE}
        if role:
            found = self.start(role, name, *command, **streams)
        else:
            found = Process(name, command, self.folder, **streams)
            self._processes.append(found)
        if say_ready and found.ask(None) != "ready":
            raise Failure(f"{name}: {found.errors()}")
        return found

    def remove(self):
        """Ends our processes and what they may have started, and removes the namespaces."""
        for process in reversed(self._processes):
            process.kill()
        self._processes.clear()
        failures = []
        for role in ROLES:
            try:
                remove_namespace(self[role])
            except Failure as failure:
                failures.append(str(failure))
        if failures:
            raise Failure("; ".join(failures))


def remove_namespace(name):
    """The namespaces' names are ours alone, and so are the processes in them."""
    if not pathlib.Path(f"/run/netns/{name}").exists():
        return
    for number in run("ip", "netns", "pids", name).split():
        try:
            os.kill(int(number), signal.SIGKILL)
        except ProcessLookupError:
            pass
    run("ip", "netns", "del", name)


def runs(number):
    """Whether the process is there, and one of this demonstration, from whatever tree: its number may
    be another's by now."""
    try:
        command = pathlib.Path(f"/proc/{number}/cmdline").read_bytes().split(b"\0")
    except OSError:
        return False
    return any(word.endswith(PROGRAMS) for word in command)


def remove_leftovers(of=None):
    """Removes the namespaces of a run, or of all runs that have ended without removing theirs."""
    for path in pathlib.Path("/run/netns").glob(f"{PREFIX}-*-*"):
        _, owner, role = path.name.split("-", 2)
        if role in ROLES and (owner == str(of) if of else not runs(owner)):
            remove_namespace(path.name)


if __name__ == "__main__":
    remove_leftovers(of=int(sys.argv[1]))
