"""tools/mutate: applies simple mutations to the library, one at a time, and expects a failing test.

All mutants are built at once, in a copy of the tree: each is a switch that an environment variable
turns on. A first run of every suite, with all switches off, shows which suite reaches which mutant;
then each mutant is turned on and the suites that reach it are run, the quickest first, until one
fails. A mutant under which none fails survives; tools/mutation/survivors.txt says why some do.
"""

import argparse
import concurrent.futures
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

import mutants

SUITES = ["engine", "ingress", "chain", "restart", "reflection", "text", "interleaving", "model"]
# Of random steps, so many find what the others let pass; each mutant of those costs this much time.
STEPS = "20000"
# Very many keys find no mutant that few do not find, and take long.
LEFT_OUT = "-*Scale*:*HundredThousand*"
EXPLAINED = pathlib.Path("tools/mutation/survivors.txt")


def options():
    parser = argparse.ArgumentParser(prog="tools/mutate", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--list", action="store_true", help="list the mutants and end")
    parser.add_argument("--only", metavar="TEXT", help="only mutants whose line contains this")
    parser.add_argument("--every", type=int, default=1, metavar="N", help="only every Nth mutant")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), metavar="N",
                        help="suites run at the same time (default: the processors)")
    parser.add_argument("--suites", default=",".join(SUITES), metavar="NAMES",
                        help=f"the suites to ask (default: {','.join(SUITES)})")
    parser.add_argument("--directory", type=pathlib.Path, default=pathlib.Path("build/mutation"),
                        help="where the copy is built (default: build/mutation)")
    return parser.parse_args()


def copy_tree(root, to):
    """What git knows of and has not been told to ignore. Files that did not change keep their time,
    so that nothing is built in vain."""
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=root, check=True,
                            capture_output=True, text=True).stdout.splitlines()
    for name in listed:
        source, copy = root / name, to / name
        if not source.is_file():
            continue
        write(copy, source.read_bytes())
        shutil.copymode(source, copy)
    kept = set(listed) | {"OrviaL3Unicast/Mutant.h"}
    for path in to.rglob("*"):
        if path.is_file() and str(path.relative_to(to)) not in kept:
            path.unlink()


def write(path, content):
    if path.is_file() and path.read_bytes() == content:
        return
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(content)


class Build:
    def __init__(self, root, directory, suites):
        self.root = root
        self.source = directory / "source"
        self.build = directory / "build"
        self.log = directory / "build.log"
        self.suites = [s for s in suites if any((root / "tests" / s).glob("*.cpp"))]

    def make(self, files):
        """Builds all mutants; returns the numbers of those that are no valid C++."""
        copy_tree(self.root, self.source)
        write(self.source / "OrviaL3Unicast/Mutant.h",
              (self.root / "tools/mutation/Mutant.h").read_bytes())
        configured = subprocess.run(
            ["cmake", "--preset", "dev", "-B", str(self.build), "-DCMAKE_CXX_FLAGS=-O1 -w"],
            cwd=self.source, capture_output=True, text=True)
        if configured.returncode != 0:
            raise SystemExit(configured.stdout + configured.stderr)
        left_out = set()
        targets = ["OrviaL3Unicast"]  # first, since that is where errors are
        while True:
            for file in files.values():
                write(self.source / file.path, mutants.rendered(file, left_out).encode())
            command = ["cmake", "--build", str(self.build), "--target", *targets, "--", "-k", "0"]
            built = subprocess.run(command, cwd=self.source, capture_output=True, text=True)
            self.log.write_text(built.stdout + built.stderr)
            suites = [f"test-{suite}" for suite in self.suites]
            if built.returncode == 0 and targets == suites:
                return left_out
            if built.returncode == 0:
                targets = suites
                continue
            wrong = self.wrong(files, built.stdout + built.stderr, left_out)
            if not wrong:
                raise SystemExit(f"mutate: the mutants do not build: see {self.log}")
            left_out |= wrong

    @staticmethod
    def wrong(files, output, left_out):
        """Mutants on the lines that the compiler complains about: of one kind at a time, the kind
        that is most often wrong first. The copy has one line more."""
        found = set()
        for path, line in set(re.findall(r"(OrviaL3Unicast/[^\s:]+):(\d+):\d+: error", output)):
            file = files.get(path)
            suspects = [m for m in (file.mutants if file else [])
                        if m.number not in left_out
                        and m.line <= int(line) - 1 <= file.line_of(m.end)]
            for kinds in (("shift", "flip"), ("negate",), ("drop", "swap")):
                wrong = {m.number for m in suspects if m.kind in kinds}
                if wrong:
                    found |= wrong
                    break
        return found

    def run(self, suite, mutant, limit, reached=None):
        """The suite's result under a mutant, "passed", "failed" or "late", and its seconds."""
        environment = dict(os.environ, ORVIA_MUTANT=str(mutant), GTEST_BRIEF="1", GTEST_FILTER=LEFT_OUT,
                           ORVIA_MODEL_STEPS=STEPS,
                           GTEST_FAIL_FAST="0" if mutant == 0 else "1")
        if reached:
            environment["ORVIA_MUTANTS_REACHED"] = str(reached)
        begin = time.monotonic()
        process = subprocess.Popen([str(self.build / "bin" / f"test-{suite}")], cwd=self.source,
                                   env=environment, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                   start_new_session=True)
        try:
            output, _ = process.communicate(timeout=limit)
            result = "passed" if process.returncode == 0 else "failed"
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            output, _ = process.communicate()
            result = "late"
        return result, time.monotonic() - begin, output.decode(errors="replace")


def judge(build, mutant, suites, seconds):
    """The suite that tells the mutant from the program, or none."""
    for suite in suites:
        result, _, _ = build.run(suite, mutant.number, 20 + 4 * seconds[suite])
        if result != "passed":
            return suite if result == "failed" else f"{suite} (no end)"
    return None


def explained(root):
    """The survivors that are known, with the reason for each: "KEY  # REASON"."""
    known = {}
    path = root / EXPLAINED
    for line in path.read_text().splitlines() if path.is_file() else []:
        if line.strip() and not line.startswith("#"):
            key, _, reason = line.partition("  # ")
            known[key.strip()] = reason.strip()
    return known


def told(mutant):
    return f"{mutant.path}:{mutant.line}: {mutant.kind}: {mutant.text} -> {mutant.becomes}"


def main():
    chosen = options()
    root = pathlib.Path.cwd()
    files = mutants.find(root, mutants.units(root), mutants.targets(root))
    everything = [m for file in files.values() for m in file.mutants]
    wanted = [m for m in everything
              if chosen.only is None or chosen.only in f"{m.path}:{m.line}: {m.key()}"]
    wanted = wanted[::chosen.every]
    if chosen.list:
        for m in wanted:
            print(told(m))
        print(f"{len(wanted)} mutants")
        return 0

    directory = chosen.directory.resolve()
    directory.mkdir(parents=True, exist_ok=True)
    build = Build(root, directory, chosen.suites.split(","))
    print(f"building {len(everything)} mutants of {len(files)} files", flush=True)
    no_code = build.make(files)
    wanted = [m for m in wanted if m.number not in no_code]

    seconds, reach = {}, {}
    for suite in build.suites:
        reached = directory / f"reached-{suite}"
        reached.write_bytes(bytes(len(everything) + 1))
        result, seconds[suite], output = build.run(suite, 0, 900, reached)
        if result != "passed":
            print(output[-3000:])
            raise SystemExit(f"mutate: test-{suite} {result} without a mutation")
        flags = reached.read_bytes()
        reach[suite] = {i for i, flag in enumerate(flags) if flag}
        print(f"test-{suite}: {seconds[suite]:.1f} s, reaches {len(reach[suite])}", flush=True)

    quickest = sorted(build.suites, key=seconds.get)
    killed, survivors = {}, []
    with concurrent.futures.ThreadPoolExecutor(chosen.jobs) as pool:
        work = {pool.submit(judge, build, m, [s for s in quickest if m.number in reach[s]],
                            seconds): m for m in wanted}
        for done, future in enumerate(concurrent.futures.as_completed(work), 1):
            by = future.result()
            if by is None:
                survivors.append(work[future])
                print(f"no test fails: {told(work[future])}", flush=True)
            else:
                killed[by] = killed.get(by, 0) + 1
            if done % 50 == 0:
                print(f"{done} of {len(wanted)}, {len(survivors)} survive", flush=True)

    known = explained(root)
    survivors.sort(key=lambda m: (m.path, m.line, m.start))
    for m in survivors:
        is_reached = any(m.number in reach[s] for s in build.suites)
        why = known.get(m.key())
        state = "explained" if why else "SURVIVES" if is_reached else "NOT REACHED"
        print(f"{state}: {told(m)}")
    without = [m for m in survivors if m.key() not in known]
    if chosen.only is None and chosen.every == 1:
        for key in sorted(set(known) - {m.key() for m in survivors}):
            print(f"explained, but gone or killed: {key}")
    print("killed by: " + ", ".join(f"{suite} {n}" for suite, n in sorted(killed.items())))
    print(f"{len(wanted)} mutants ({len(no_code)} more are no valid code): "
          f"{sum(killed.values())} killed, {len(survivors)} survive, "
          f"{len(survivors) - len(without)} of them explained")
    return 1 if without else 0


if __name__ == "__main__":
    sys.exit(main())
