"""The manual page: well-formed, and complete: every command, option and verb that there is."""

import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

import tree

PAGE = tree.ROOT / "docs/orvia-l3-agent.1"
COMMANDS = {"replay", "serve", "ctl", "ring", "compare", "catalogue"}
OPTION = re.compile(r"(?<![\w-])--[a-z][a-z-]*")


def run(*command, text=None):
    return subprocess.run([str(word) for word in command], input=text, capture_output=True,
                          text=True, timeout=60, check=False)


def rendered(page):
    """What a reader sees, without overstrikes and line breaks within words."""
    text = run("mandoc", "-T", "utf8", "-O", "width=200", page).stdout
    return re.sub(r".\x08", "", text).replace("\N{MINUS SIGN}", "-").replace("\u2010", "-")


def options_of(command):
    """The options that --help lists, at the beginnings of its lines."""
    ended = run(PROGRAM, command, "--help")
    assert ended.returncode == 0, ended.stderr
    found = set()
    for line in ended.stdout.splitlines():
        if match := re.match(r"\s*((-\w,)?--[a-z][a-z-]*)", line):
            found |= set(OPTION.findall(match.group(1)))
    return found


def verbs_of_an_agent():
    with tempfile.TemporaryDirectory() as folder:
        control = f"{folder}/control"
        agent = subprocess.Popen([PROGRAM, "serve", "--listen", "127.0.0.1:0", "--control", control],
                                 stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            end = time.monotonic() + 60
            while (ended := run(PROGRAM, "ctl", "--socket", control, "--json", "verbs")).returncode:
                assert agent.poll() is None and time.monotonic() < end, ended.stderr
                time.sleep(0.1)
        finally:
            agent.terminate()
            agent.wait(60)
    return [row["verb"] for row in json.loads(ended.stdout)["verbs"]]


@unittest.skipUnless(shutil.which("mandoc"), "mandoc is not installed")
class ThePage(unittest.TestCase):
    def test_is_well_formed(self):
        ended = run("mandoc", "-T", "lint", "-W", "warning", PAGE)
        self.assertEqual((0, ""), (ended.returncode, ended.stdout + ended.stderr))

    def section(self, title):
        text = rendered(PAGE)
        match = re.search(rf"^{title}\n(.*?)(?=^\S)", text, re.DOTALL | re.MULTILINE)
        self.assertTrue(match, f"no section {title}")
        return match.group(1)

    def test_has_every_command(self):
        helped = run(PROGRAM, "--help").stdout
        listed = set(re.findall(r"^  ([a-z]+) {2,}\S", helped[helped.index("Subcommands"):],
                                re.MULTILINE))
        self.assertEqual(COMMANDS, listed)
        for command in listed:
            self.assertRegex(self.section("COMMANDS"), rf"(?m)^ +{command}\b")

    def test_has_every_option_and_no_other(self):
        known = {"--help"} | set(OPTION.findall(run(PROGRAM, "--help").stdout))
        for command in COMMANDS:
            known |= options_of(command)
        self.assertGreater(len(known), 40)
        self.assertEqual(sorted(known), sorted(set(OPTION.findall(rendered(PAGE)))))

    def test_has_the_options_of_each_command_at_that_command(self):
        shared = set(OPTION.findall(self.section("OPTIONS OF REPLAY AND SERVE")))
        for command, own in (("replay", "OPTIONS OF REPLAY"), ("serve", "OPTIONS OF SERVE")):
            found = set(OPTION.findall(self.section(own)))
            self.assertEqual(set(), found & shared, command)
            self.assertEqual(sorted(options_of(command) - {"--help"}), sorted(found | shared))

    def test_has_every_verb_and_its_first_words_only(self):
        section = self.section("VERBS OF CTL")
        # The heads of the list: what stands at its first indentation, before what they mean.
        heads = re.findall(r"^ {5}(\S+(?: \S+)*)", section, re.MULTILINE)
        # Several verbs of one head are separated by commas.
        shown = [part for head in heads for part in re.split(r", (?!\.\.\.)", head)]
        verbs = verbs_of_an_agent()
        self.assertGreater(len(verbs), 20)
        for verb in verbs:
            self.assertTrue(any(re.match(rf"{verb}( |$)", part) for part in shown), verb)
        for part in shown[1:]:
            self.assertTrue(any(re.match(rf"{verb}( |$)", part) for verb in verbs), part)


class TheCheck(unittest.TestCase):
    @unittest.skipUnless(shutil.which("mandoc"), "mandoc is not installed")
    def test_notices_a_page_that_is_not_well_formed(self):
        ended = run("mandoc", "-T", "lint", "-W", "warning", text=".Dd\n.Dt\n.Xx nothing\n")
        self.assertNotEqual(0, ended.returncode)

    def test_knows_an_option_from_a_dash(self):
        self.assertEqual(["--a-b", "--c"], OPTION.findall("x --a-b, [--c] a--b -d ---"))


if __name__ == "__main__":
    PROGRAM = pathlib.Path(sys.argv.pop(1)).resolve() / "bin/orvia-l3-agent"
    unittest.main()
