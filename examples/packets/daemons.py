"""FRRouting's zebra, staticd and bgpd in the router's namespace, and the agent beside them."""

import shutil
import subprocess

import plan
from namespaces import Failure, run, wait_until

DAEMONS = "/usr/lib/frr"
KEEP_SECONDS = 2  # for which zebra keeps a group that nothing uses
HOLD_SECONDS = 4  # until the agent removes what a new connection did not announce


class Router:
    def __init__(self, world, static):
        self._world = world
        self._folder = world.folder / "frr"
        self._running = {}
        self._folder.mkdir()
        self._write("zebra", ["hostname router", f"zebra nexthop-group keep {KEEP_SECONDS}",
                              "fpm address 127.0.0.1 port 2620", "fpm use-next-hop-groups"])
        self._write("staticd", self._routes(static))
        self._write("bgpd", self._bgp())
        self._write("vtysh", [])
        # The daemons run under a user of their own.
        shutil.chown(self._folder, "frr", "frr")

    @staticmethod
    def _routes(static):
        return [f"ip route {prefix} {plan.gateway(link)}"
                for prefix, links in static.items() for link in sorted(links)]

    def change_routes(self, before, now):
        """Static routes, {prefix: links} of them all; also for a start that comes later."""
        old, new = self._routes(before), self._routes(now)
        self._write("staticd", new)
        self.configure(*(line for line in new if line not in old),
                       *(f"no {line}" for line in old if line not in new))

    def _bgp(self):
        neighbors = [plan.gateway(link) for link in range(1, self._world.links + 1)]
        return ["router bgp 65000", " bgp router-id 192.0.2.1", " no bgp ebgp-requires-policy",
                " bgp bestpath as-path multipath-relax",
                # After a start, routes are chosen when every peer has said all.
                " update-delay 30 20",
                " neighbor peers peer-group", " neighbor peers remote-as external",
                " neighbor peers timers 30 90", " neighbor peers timers connect 1",
                " neighbor peers advertisement-interval 0",
                *(f" neighbor {neighbor} peer-group peers" for neighbor in neighbors),
                " address-family ipv4 unicast", "  maximum-paths 64",
                "  neighbor peers route-map none out", " exit-address-family",
                "route-map none deny 10"]

    def _write(self, daemon, lines):
        (self._folder / f"{daemon}.conf").write_text("".join(line + "\n" for line in lines))

    def start(self, *daemons):
        for daemon in daemons:
            options = {"zebra": ["-M", "dplane_fpm_nl", "-s", "90000000", "-K", "60"],
                       "bgpd": []}.get(daemon, [])
            self._running[daemon] = self._world.start(
                "router", daemon, f"{DAEMONS}/{daemon}",
                "-f", self._folder / f"{daemon}.conf", "-i", self._folder / f"{daemon}.pid",
                "-z", self._folder / "zserv", "--vty_socket", self._folder, "-P", "0", *options)
            wait_until(lambda daemon=daemon: self._answers(daemon), lambda daemon=daemon:
                       f"{daemon} answers: {self._running[daemon].errors()}")

    def _answers(self, daemon):
        return self._vtysh("show version", daemon).returncode == 0

    def _vtysh(self, command, *daemon):
        chosen = ["-d", *daemon] if daemon else []
        return subprocess.run(["vtysh", "--vty_socket", self._folder, "--config_dir", self._folder,
                               *chosen, *(word for line in command.split("\n")
                                          for word in ("-c", line))],
                              stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              check=False, timeout=60)

    def configure(self, *lines):
        ended = self._vtysh("\n".join(["configure terminal", *lines]))
        if ended.returncode != 0 or "%" in ended.stdout:
            raise Failure(f"vtysh: {ended.stdout} {ended.stderr}")

    def cpu_seconds(self, daemon):
        return self._running[daemon].cpu_seconds()

    def kill(self, *daemons):
        for daemon in daemons:
            self._running.pop(daemon).kill()


class Agent:
    """`orvia-l3-agent serve` in the router's namespace, over the kernel of the forwarding plane."""

    def __init__(self, world, program, options):
        self._world = world
        self._program = program
        self._options = options
        self._process = None
        self._control = world.folder / "agent.control"
        self._toggles = world.folder / "toggles"
        self._toggles.mkdir()
        # After a restart, groups of before forward until the new agent has made its own.
        (self._toggles / "OrviaAsicUtils.json").write_text('{"ClearHwTableOnRestart": false}')

    def start(self):
        self._process = self._world.start(
            "router", "agent", self._program, "serve", "--control", self._control,
            f"--kernel={self._world['forwarding']}", "--hold", HOLD_SECONDS,
            "--toggles", self._toggles, *self._options)
        wait_until(self._answers, lambda: f"the agent answers: {self.log(10)}")

    def _answers(self):
        if self._process.process.poll() is not None:
            raise Failure(f"the agent has ended: {self.log(10)}")
        return self.ctl("show", "stream", must=False) is not None

    def kill(self):
        self._process.kill()

    def cpu_seconds(self):
        return self._process.cpu_seconds()

    def ctl(self, *words, must=True):
        ended = subprocess.run([self._program, "ctl", "--socket", self._control, *words],
                               stdin=subprocess.DEVNULL, capture_output=True, text=True,
                               check=False, timeout=60)
        if ended.returncode != 0 and must:
            raise Failure(f"ctl {' '.join(words)}: {ended.stderr}")
        return ended.stdout if ended.returncode == 0 else None

    def explain(self):
        """What the agent itself says about what is not programmed."""
        if self._process.process.poll() is not None:
            return f"the agent has ended with {self._process.process.returncode}: {self.log(10)}"
        return self.ctl("why", must=False) or self.log(10)

    def log(self, lines):
        return "\n".join(self._process.errors().splitlines()[-lines:])
