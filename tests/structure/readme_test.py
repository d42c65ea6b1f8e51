"""Every command block of README.md and docs/*.md that is marked as tested runs and succeeds.

A block is marked by its fence, three backquotes and "sh test". It runs in bash; build/release in it
stands for the build that is under test. Blocks of README.md run at the root of the tree, those of a
page of docs/ one after another in an empty folder that has the tree's examples/.
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import tree

BLOCK = re.compile(r"^```sh test\n(.*?)^```$", re.DOTALL | re.MULTILINE)


def blocks(text):
    return BLOCK.findall(text)


def run(block, binary_dir, folder=tree.ROOT):
    command = block.replace("build/release", str(binary_dir))
    return subprocess.run(["bash", "-euo", "pipefail", "-c", command], cwd=folder,
                          stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          errors="replace", timeout=240, check=False)


class Pages(unittest.TestCase):
    def expect_success(self, block, folder):
        with self.subTest(block=block):
            ended = run(block, BINARY_DIR, folder)
            self.assertEqual(0, ended.returncode, ended.stdout[-2000:] + ended.stderr[-2000:])
            self.assertTrue(ended.stdout.strip(), "a marked command prints something")

    def test_marked_commands_of_the_readme_succeed(self):
        marked = blocks((tree.ROOT / "README.md").read_text())
        self.assertTrue(marked, "README.md marks no command")
        for block in marked:
            self.expect_success(block, tree.ROOT)

    def test_marked_commands_of_the_documentation_succeed(self):
        pages = sorted((tree.ROOT / "docs").glob("*.md"))
        marking = [page for page in pages if blocks(page.read_text())]
        self.assertTrue(marking, "no page of docs/ marks a command")
        for page in marking:
            with tempfile.TemporaryDirectory() as folder:
                (pathlib.Path(folder) / "examples").symlink_to(tree.ROOT / "examples")
                for block in blocks(page.read_text()):
                    self.expect_success(block, folder)


class TheCheck(unittest.TestCase):
    def test_finds_marked_blocks_only(self):
        fence = "`" * 3
        text = (f"{fence}sh test\nfirst\n{fence}\n\n{fence}sh\nsecond\n{fence}\n"
                f"{fence}sh test\nthird\n{fence}\n")
        self.assertEqual(["first\n", "third\n"], blocks(text))

    def test_notices_a_command_that_fails(self):
        self.assertNotEqual(0, run("false\ntrue\n", "build").returncode)

    def test_puts_the_build_under_test_in_place(self):
        self.assertEqual("elsewhere/bin\n", run("echo build/release/bin", "elsewhere").stdout)


if __name__ == "__main__":
    BINARY_DIR = pathlib.Path(sys.argv.pop(1)).resolve()
    unittest.main()
