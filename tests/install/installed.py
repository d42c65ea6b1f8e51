"""Where the installed tree is, and how things are built with it: for the tests beside this file.

The first argument of each test is the file config.json of the build under test.
"""

import json
import os
import pathlib
import shlex
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
CONFIG = json.loads(pathlib.Path(sys.argv.pop(1)).read_text())
BINARY_DIR = pathlib.Path(CONFIG["binary_dir"])
# Where the tests put things; TREE is the installed tree after its move.
PLACE = BINARY_DIR / "installed"
TREE = PLACE / "tree"
LIB = TREE / CONFIG["libdir"]
INCLUDE = TREE / CONFIG["include_dir"]
EXAMPLES = TREE / CONFIG["doc_dir"] / "examples"
AGENT = TREE / CONFIG["bindir"] / "orvia-l3-agent"

WARNINGS = "-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror"


class Failed(AssertionError):
    """A command failed; the text says which and shows its output."""


def environment(**changes):
    """This process's, without what would lead a program to another library or plug-in."""
    found = {name: value for name, value in os.environ.items()
             if name not in ("LD_LIBRARY_PATH", "LD_PRELOAD", "ORVIA_PLUGIN_ROOT",
                             "CMAKE_PREFIX_PATH", "OrviaL3Unicast_DIR", "CXXFLAGS", "LDFLAGS")}
    return found | changes


def run(*command, env=None, cwd=None):
    """The command's standard output; raises Failed unless it succeeds."""
    words = [str(word) for word in command]
    ended = subprocess.run(words, env=env or environment(), cwd=cwd, stdin=subprocess.DEVNULL,
                           capture_output=True, text=True, errors="replace", timeout=240,
                           check=False)
    if ended.returncode != 0:
        raise Failed(f"{shlex.join(words)}\nended with {ended.returncode}\n"
                     f"{ended.stdout[-4000:]}{ended.stderr[-4000:]}")
    return ended.stdout


def build(source, name, *options):
    """Configures and builds a project against the installed tree, afresh; the build folder."""
    folder = PLACE / name
    shutil.rmtree(folder, ignore_errors=True)
    run(CONFIG["cmake"], "-S", source, "-B", folder, "-G", CONFIG["generator"],
        f"-DCMAKE_PREFIX_PATH={TREE}", f"-DCMAKE_CXX_COMPILER={CONFIG['compiler']}",
        f"-DCMAKE_CXX_COMPILER_LAUNCHER={CONFIG['launcher']}",
        f"-DCMAKE_BUILD_TYPE={CONFIG['build_type']}",
        f"-DCMAKE_CXX_FLAGS={CONFIG['flags']} {WARNINGS}",
        # Of this machine's, it is to find this one and no other.
        "-DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF", "-DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=OFF", *options)
    run(CONFIG["cmake"], "--build", folder)
    return folder


def objects_of(program, env=None):
    """Our shared objects that the dynamic linker finds for a program or shared object."""
    found = {}
    for line in run("ldd", program, env=env).splitlines():
        name, arrow, rest = line.strip().partition(" => ")
        if arrow and name.startswith("libOrvia"):
            found[name] = pathlib.Path(rest.rsplit(" (", 1)[0])
    return found
