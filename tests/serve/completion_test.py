"""bash completes the words of `ctl` with what the running agent has."""

import subprocess
import unittest

from live_agent import PROGRAM, ROOT, LiveAgent

SCRIPT = ROOT / "packaging/bash-completion/orvia-l3-agent"
STREAM = "w1-static.0.fpm"
# Loads the completion, makes the line that COMP_WORDS has, and prints what is offered.
DRIVER = """
source "$1"; shift
COMP_WORDS=("$@"); COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
_orvia_l3_agent
printf '%s\\n' "${COMPREPLY[@]}"
"""


def completed(*words):
    ended = subprocess.run(["bash", "-c", DRIVER, "bash", SCRIPT, PROGRAM, *words],
                           capture_output=True, text=True, timeout=120, check=True)
    assert not ended.stderr, ended.stderr
    return ended.stdout.split("\n")[:-1]


class WithoutAnAgent(unittest.TestCase):
    def test_offers_commands(self):
        self.assertEqual(["replay", "ring"], completed("r"))
        self.assertIn("serve", completed(""))
        self.assertEqual(["catalogue", "compare", "ctl"], sorted(completed("c")))

    def test_offers_the_options_of_a_command(self):
        offered = completed("serve", "--con")
        self.assertEqual(["--control"], offered)

    def test_offers_no_words_of_ctl_and_says_nothing(self):
        self.assertEqual([""], completed("ctl", "--socket", "/nowhere/socket", "sh"))


class WithAnAgent(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.agent = LiveAgent()
        cls.addClassCleanup(cls.agent.__exit__, None, None, None)
        cls.agent.__enter__()
        cls.agent.send_sample(STREAM)
        cls.agent.rest((ROOT / "examples/streams" / STREAM).stat().st_size)

    def offered(self, *words):
        return completed("ctl", "--socket", self.agent.control, *words)

    def test_offers_verbs_word_by_word(self):
        verbs = [row["verb"] for row in self.agent.ctl("verbs")["verbs"]]
        self.assertEqual(sorted({verb.split()[0] for verb in verbs}), sorted(self.offered("")))
        self.assertEqual(sorted(verb.split()[1] for verb in verbs if verb.startswith("show ")),
                         sorted(self.offered("show", "")))
        self.assertEqual(["follow"], self.offered("trace", "f"))
        self.assertEqual(["ingress"], self.offered("who", "i"))

    def test_knows_the_socket_in_one_word_as_well(self):
        # The shell cuts at "=".
        self.assertEqual(["follow"], completed("ctl", "--socket", "=", self.agent.control,
                                               "trace", "f"))

    def test_offers_names(self):
        self.assertEqual(["ingress", "ecmp", "member", "group"], self.offered("ls", ""))
        names = [row["name"] for row in self.agent.ctl("ls", "group")["names"]]
        self.assertIn("numEntries", names)
        self.assertEqual([f"group.{name}" for name in names], self.offered("get", "group."))
        self.assertEqual(["group.numEntries"], self.offered("get", "group.numE"))

    def test_offers_elements_by_their_position_and_what_they_have(self):
        count = len(self.agent.ctl("ls", "group.entry")["names"])
        self.assertGreater(count, 0)
        self.assertEqual([f"group.entry[#{i + 1}]" for i in range(count)],
                         self.offered("ls", "group.entry["))
        self.assertIn("group.entry[#1].numPaths", self.offered("set", "group.entry[#1]."))
        value = self.agent.ctl("get", self.offered("get", "group.entry[#1].numP")[0])
        self.assertGreater(int(value["get"]["value"]), 0)

    def test_offers_what_there_is_of_groups_interfaces_and_handles(self):
        groups = [str(row["group"]) for row in self.agent.ctl("show", "groups")["groups"]]
        self.assertEqual(groups, self.offered("show", "group", ""))
        interfaces = self.agent.ctl("show", "interfaces")["interfaces"]
        self.assertEqual([str(row["interface"]) for row in interfaces],
                         self.offered("interface", ""))
        self.assertEqual(["down", "up"], self.offered("interface", "3", ""))
        handles = [row["name"] for row in self.agent.ctl("show", "trace")["handles"]]
        self.assertEqual(handles, self.offered("trace", "level", ""))


if __name__ == "__main__":
    unittest.main()
