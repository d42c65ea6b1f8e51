"""tools/reached.py BUILD: which lines and branches of OrviaL3Unicast/ no test reached.

Reads the counters that a coverage build left in the directory BUILD. Ends with 1 when a line or a
branch was not reached and tools/coverage-exclusions.txt does not say why, and when an exclusion
there excludes nothing.

A branch is a way out of a condition. The code of a template is judged once: a line or a branch is
reached when some instantiation reaches it, in the library or in a test. The same holds for an inline
function that several sources contain. Where instantiations have different numbers of ways, those
with equal numbers are judged together, and numbers that no object of the library has are not judged:
where a source of a test contains two instantiations, the compiler may tell their ways in one list.

What only the compiler made is left out: lines that hold no more than closing brackets, where objects
end, and these ways:
- out of a call, to the caller or by an exception;
- of a condition that never ran: it counts with the way that leads to it, and what remains are
  conditions for exceptions that pass;
- of the test whether what `new` allocated is to be freed, when its constructor raises;
- of the second test of the guard of a static object, which only another thread can fail.
"""

import collections
import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import sys

FOLDER = "OrviaL3Unicast/"
EXCLUSIONS = pathlib.Path("tools/coverage-exclusions.txt")
EXCLUSION = re.compile(r"(?P<path>\S+): (?P<what>line|\d+ ways?): (?P<text>.+?)  # (?P<reason>.+)")
STATIC_OBJECT = re.compile(r"static [^(;]*[={;]")
ALLOCATION = re.compile(r"\bnew \w")
CLOSING = re.compile(r"[})\];,]+")


def counters(notes):
    """What gcov tells of one object file."""
    told = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-probabilities", str(notes)],
                          check=True, capture_output=True, text=True).stdout
    return json.loads(told)["files"]


def ways(branches):
    """How often each way out of each condition of a line was taken; a condition has two."""
    for first, second in zip(branches[::2], branches[1::2]):
        if not first["throw"] and not second["throw"]:
            yield first["count"], second["count"]


class Code:
    """A function's part of a source line, in all instantiations."""

    def __init__(self):
        self.runs = 0
        self.library = set()  # the numbers of conditions that objects of the library have
        self.shapes = {}  # number of conditions -> for each condition, how often each way was taken

    def add(self, line, is_library):
        self.runs += line["count"]
        conditions = list(ways(line["branches"]))
        if is_library:
            self.library.add(len(conditions))
        sums = self.shapes.setdefault(len(conditions), [(0, 0)] * len(conditions))
        self.shapes[len(conditions)] = [
            (was[0] + now[0], was[1] + now[1]) for was, now in zip(sums, conditions)]

    def missing(self, text):
        """The number of ways, and of ways that were not taken."""
        taken = [pair for number, sums in self.shapes.items()
                 if not self.library or number in self.library for pair in judged(sums, text)]
        return 2 * len(taken), sum(pair.count(0) for pair in taken)


def judged(sums, text):
    if allocations := len(ALLOCATION.findall(text)):
        sums = sums[:-allocations]
    ran = [pair for pair in sums if any(pair)]
    if STATIC_OBJECT.match(text) and len(ran) > 1:
        del ran[1]
    return ran


def collect(root, build):
    """(path, line) -> the Code of each function that has a part of the line."""
    library = set(build.glob("CMakeFiles/OrviaL3Unicast.dir/OrviaL3Unicast/**/*.gcno"))
    ran = {path.with_suffix(".gcno") for path in build.rglob("*.gcda")}
    code = collections.defaultdict(lambda: collections.defaultdict(Code))
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        objects = sorted(library | ran)
        for notes, files in zip(objects, pool.map(counters, objects)):
            for file in files:
                path = os.path.relpath(file["file"], root)
                if not path.startswith(FOLDER):
                    continue
                starts = {function["name"]: (function["start_line"], function["start_column"])
                          for function in file["functions"]}
                for line in file["lines"]:
                    start = starts.get(line.get("function_name"))
                    code[path, line["line_number"]][start].add(line, notes in library)
    return code


def judge(code):
    """Numbers of lines, lines reached, ways, ways reached; and what is missing, by path and line."""
    numbers = [0, 0, 0, 0]
    missing = []
    sources = {}
    for (path, number), parts in sorted(code.items()):
        parts = [part for part in parts.values() if part.library] or list(parts.values())
        if path not in sources:
            sources[path] = pathlib.Path(path).read_text(encoding="utf-8").splitlines()
        text = sources[path][number - 1].strip()
        before = sources[path][number - 2].strip()
        if CLOSING.fullmatch(text):
            continue
        statement = f"{before} {text}" if before.endswith("=") else text
        all_run = all(part.runs for part in parts)
        of, without = map(sum, zip(*(part.missing(statement) for part in parts)))
        for at, more in enumerate((1, int(all_run), of, of - without)):
            numbers[at] += more
        if not all_run:
            missing.append((path, number, "line", text))
        if without:
            missing.append((path, number, f"{without} way" + "s" * (without > 1), text))
    return numbers, missing


def exclusions():
    found = collections.Counter()
    for line in EXCLUSIONS.read_text(encoding="utf-8").splitlines():
        if line.startswith("#") or not line.strip():
            continue
        entry = EXCLUSION.fullmatch(line)
        if not entry:
            sys.exit(f"{EXCLUSIONS}: not understood, or without a reason: {line}")
        found[entry["path"], entry["what"], entry["text"]] += 1
    return found


def main():
    code = collect(pathlib.Path.cwd(), pathlib.Path(sys.argv[1]))
    if not code:
        sys.exit(f"{sys.argv[1]}: no counters of {FOLDER}")
    (lines, lines_reached, all_ways, ways_reached), missing = judge(code)
    excluded = exclusions()
    entries = excluded.total()
    wrong = []
    for path, number, what, text in missing:
        if excluded[path, what, text]:
            excluded[path, what, text] -= 1
        else:
            told = "never runs" if what == "line" else f"{what} never taken"
            wrong.append(f"{path}:{number}: {told}: {text}")
    for path, what, text in excluded.elements():
        wrong.append(f"{EXCLUSIONS}: excludes nothing: {path}: {what}: {text}")
    print(f"{FOLDER}: {lines_reached} of {lines} lines and {ways_reached} of {all_ways} branches "
          f"reached, {entries} exclusions")
    for line in wrong:
        print(line)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
