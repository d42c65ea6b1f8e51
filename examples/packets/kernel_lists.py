"""Where the kernel's own list says that prefixes lead: `ip -j nexthop` and `ip -j route`."""

import json

from namespaces import run
from netlink import way_of


def read(namespace):
    """({prefix: way} of the routes over a next-hop object, by the name of their protocol; the number
    of groups)."""
    hops = {hop["id"]: hop for hop in json.loads(run("ip", "-n", namespace, "-j", "nexthop"))}
    routes = json.loads(run("ip", "-n", namespace, "-j", "route"))

    def members(number, weight):
        hop = hops[number]
        if "blackhole" in hop:
            return []
        if "group" in hop:
            return [part for member in hop["group"]
                    for part in members(member["id"], member.get("weight", 1))]
        return [(hop["dev"], hop.get("gateway"), weight)]

    found = {}
    for route in routes:
        if "nhid" in route:
            ways = found.setdefault(route.get("protocol", "boot"), {})
            ways[route["dst"]] = way_of(members(route["nhid"], 1))
    return found, sum("group" in hop for hop in hops.values())


def differences(expected, found, what):
    """Each prefix that leads elsewhere than expected, as text."""
    return [f"{what}: {prefix} leads {text(found.get(prefix))}, expected {text(expected.get(prefix))}"
            for prefix in sorted({*expected, *found})
            if expected.get(prefix) != found.get(prefix)]


def text(way):
    if way is None:
        return "nowhere"
    if not way:
        return "to a drop"
    return "over " + ", ".join(f"{interface} {gateway}" + (f" x{weight}" if weight > 1 else "")
                               for interface, gateway, weight in way)
