"""The mutations themselves: on a small program, each is found, compiles, changes what it is to change
and nothing when it is off."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools/mutation"))

try:
    import mutants
except ImportError:  # the bindings of clang: tools/install-packages mutation
    mutants = None

PROGRAM = """#include <cstdio>

bool isSmall(int n) {
  return n < 3;
}

int count(int n) {
  int result = 0;
  for (int i = 0; i != n; ++i) result += 1;
  return result;
}

void say() {
  std::puts("one");
  std::puts("two");
}

void sayIf(bool a, bool b) {
  if (a && b) std::puts("both");
  if (!a) return;
  std::puts("a");
}

struct Plain {
  int value;
  friend bool operator==(Plain const&, Plain const&) = default;
};

int main() {
  say();
  sayIf(true, false);
  sayIf(false, true);
  std::printf("%d %d %d\\n", isSmall(2), isSmall(3), count(4));
  return Plain{1} == Plain{1} ? 0 : 1;
}
"""
PLAIN_OUTPUT = "one\ntwo\na\n1 0 4\n"


@unittest.skipUnless(mutants, "python3-clang-14 is not installed")
class Mutants(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.root = pathlib.Path(cls.folder.name)
        (cls.root / "OrviaL3Unicast").mkdir()
        (cls.root / "OrviaL3Unicast/small.cpp").write_text(PROGRAM)
        (cls.root / "OrviaL3Unicast/Mutant.h").write_bytes(
            (ROOT / "tools/mutation/Mutant.h").read_bytes())
        before = os.getcwd()
        os.chdir(cls.root)
        try:
            paths = ["OrviaL3Unicast/small.cpp"]
            cls.file = mutants.find(cls.root, paths, paths)[paths[0]]
        finally:
            os.chdir(before)
        cls.program = cls.built(set())

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    @classmethod
    def built(cls, left_out):
        source, program = cls.root / "mutated.cpp", cls.root / "mutated"
        source.write_text(mutants.rendered(cls.file, left_out))
        subprocess.run(["g++", "-std=c++20", "-w", f"-I{cls.root}", str(source), "-o",
                        str(program)], check=True)
        return program

    def output(self, number, reached=None):
        environment = dict(os.environ, ORVIA_MUTANT=str(number))
        environment.pop("ORVIA_MUTANTS_REACHED", None)
        if reached:
            environment["ORVIA_MUTANTS_REACHED"] = str(reached)
        try:
            return subprocess.run([str(self.program)], env=environment, capture_output=True,
                                  text=True, timeout=2).stdout
        except subprocess.TimeoutExpired:
            return "no end"

    def number(self, kind, text):
        found = [m.number for m in self.file.mutants if (m.kind, m.text) == (kind, text)]
        self.assertEqual(1, len(found), f"{kind}: {text}")
        return found[0]

    def test_nothing_changes_when_all_are_off(self):
        self.assertEqual(PLAIN_OUTPUT, self.output(0))

    def test_each_kind_does_what_it_says(self):
        for kind, text, output in (
            ("negate", "a && b", "one\ntwo\nboth\na\nboth\n1 0 4\n"),
            ("flip", "a && b", "one\ntwo\nboth\na\nboth\n1 0 4\n"),
            ("negate", "!a", "one\ntwo\na\n1 0 4\n"),
            ("drop", "return", "one\ntwo\na\na\n1 0 4\n"),
            ("drop", 'std::puts("one")', "two\na\n1 0 4\n"),
            ("swap", 'std::puts("one"); std::puts("two")', "two\none\na\n1 0 4\n"),
            ("shift", "n < 3", "one\ntwo\na\n1 1 4\n"),
            ("shift", "4", "one\ntwo\na\n1 0 5\n"),
            ("flip", "result += 1", "one\ntwo\na\n1 0 -4\n"),
        ):
            with self.subTest(kind=kind, text=text):
                self.assertEqual(output, self.output(self.number(kind, text)))

    def test_every_mutant_compiles_and_nearly_all_show(self):
        silent = [m.key() for m in self.file.mutants if self.output(m.number) == PLAIN_OUTPUT]
        # One shows in the program's status only; the other says "a" for the other of two calls.
        self.assertEqual(["OrviaL3Unicast/small.cpp: negate: !a -> not so",
                          "OrviaL3Unicast/small.cpp: negate: Plain{1} == Plain{1} -> not so"],
                         [key for key in silent if ": negate: " in key])

    def test_a_defaulted_function_is_left_alone(self):
        line = PROGRAM.split("\n").index(
            "  friend bool operator==(Plain const&, Plain const&) = default;") + 1
        self.assertEqual([], [m.key() for m in self.file.mutants if m.line == line])

    def test_what_was_reached_is_noted_in_the_file(self):
        reached = self.root / "reached"
        reached.write_bytes(bytes(len(self.file.mutants) + 1))
        self.output(0, reached)
        flags = reached.read_bytes()
        self.assertEqual(0, flags[0])
        self.assertEqual(1, flags[self.number("drop", 'std::puts("one")')])
        self.assertEqual(0, flags[self.number("drop", 'std::puts("both")')])

    def test_a_mutant_that_is_left_out_changes_nothing(self):
        number = self.number("drop", 'std::puts("one")')
        self.assertNotEqual(PLAIN_OUTPUT, self.output(number))
        self.built({number})  # in the place of the program that the others run
        self.addCleanup(self.built, set())
        self.assertEqual(PLAIN_OUTPUT, self.output(number))


if __name__ == "__main__":
    unittest.main()
