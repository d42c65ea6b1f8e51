"""The options of `run` and of `run measure`. What `run` takes itself is here for --help alone."""

import argparse
import math
import pathlib
import sys

# As many networks as plan.prefix() has.
MOST_PREFIXES = 1 << 16


def parser(program):
    options = argparse.ArgumentParser(prog=program, allow_abbrev=False, epilog=(
        "Needs root. Exit codes: 0 all is as it has to be, 1 something is not, 2 wrong usage, 77 it "
        "cannot be run here."))
    options.add_argument("--agent", metavar="FILE", type=pathlib.Path,
                         help="the agent's program [build/release/bin/orvia-l3-agent, which is built]")
    options.add_argument("--agent-option", action="append", default=[], metavar="OPTION",
                         help="one more option for `serve`, as --agent-option=--hold=3; may be given "
                         "often")
    options.add_argument("--keep", metavar="FOLDER", help="keep the logs and the recording there")
    options.add_argument("--folder", type=pathlib.Path, help=argparse.SUPPRESS)
    # Whether the options are right, and nothing else.
    options.add_argument("--check", action="store_true", help=argparse.SUPPRESS)
    return options


def number(least):
    """What is a number from that on."""
    def parse(text):
        if not text.isascii() or not text.isdigit() or int(text) < least:
            raise argparse.ArgumentTypeError(f"{text!r} is not a number from {least} on")
        return int(text)
    return parse


def numbers(least):
    return lambda text: [number(least)(one) for one in text.split(",")]


def require_sets(options, groups, links, width):
    """So many groups can differ, each `width` of the links, with the first and without the last."""
    if not 2 <= width < links:
        options.error(f"argument --width: {width} is not from 2 to {links - 1}")
    most = min(MOST_PREFIXES, math.comb(links - 2, width - 1))
    if groups > most:
        options.error(f"argument --groups: {groups} are too many: {links} links have {most} different"
                      f" sets of {width}")


def end_if_checked(given):
    if given.check:
        sys.exit(0)
