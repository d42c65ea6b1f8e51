"""What the demonstration is about, in numbers: links, prefixes, and which prefix has which links.

Link i joins the router's e<i> (10.0.i.1) to peer i (10.0.i.2). Prefixes of static routes are 2, 4, 8
and 16 wide and have the first links; the widest one is the only user of the last link. Each prefix of
BGP has link 1 and others, but not the last one: every one another set.
"""

import random

STATIC = {width: f"203.0.113.{base}/26" for width, base in ((2, 0), (4, 64), (8, 128), (16, 192))}
FOREIGN = "192.0.2.0/24"  # which neither the router nor the agent knows


def interface(link):
    return f"e{link}"


def gateway(link):
    return f"10.0.{link}.2"


def way(links):
    """The way over links, as netlink.py writes it."""
    return tuple(sorted((interface(link), gateway(link), 1) for link in links))


def prefix(number):
    """The BGP prefix of a number: one of the /26 networks of 100.64.0.0/10."""
    base = number << 6
    return f"100.{64 + (base >> 16)}.{base >> 8 & 255}.{base & 255}/26"


def sets(count, links, width):
    """The sets of links of the first `count` BGP prefixes: the same ones whoever asks."""
    chance = random.Random(1)
    found = {}
    for _ in range(100 * count):
        if len(found) == count:
            return list(found)
        found[frozenset((1, *chance.sample(range(2, links), width - 1)))] = None
    raise ValueError(f"{links} links have no {count} different sets of {width}")
