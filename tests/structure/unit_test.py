"""The systemd unit: well-formed, hardened, and with a command that runs."""

import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

import tree

UNIT = tree.ROOT / "packaging/orvia-l3-agent.service"
SECTIONS = {
    "Unit": {"Description", "Documentation", "After"},
    "Service": None,  # systemd itself knows what may stand there
    "Install": {"WantedBy"},
}
# In tenths; what `systemd-analyze security` gives an unhardened service is 96.
MOST_EXPOSURE = 20
PATIENCE = 60


def settings(text):
    """The settings as (section, name, value); raises ValueError for a line that is none."""
    section = None
    found = []
    for number, line in enumerate(text.splitlines(), 1):
        if not line.strip() or line.startswith(("#", ";")):
            continue
        if match := re.fullmatch(r"\[([A-Z][A-Za-z]*)\]", line):
            section = match.group(1)
        elif (match := re.fullmatch(r"([A-Z][A-Za-z]*)=(.*)", line)) and section:
            found.append((section, match.group(1), match.group(2)))
        else:
            raise ValueError(f"line {number}: {line}")
    return found


def values(name):
    return [value for _, its_name, value in settings(UNIT.read_text()) if its_name == name]


class TheUnit(unittest.TestCase):
    def test_is_well_formed(self):
        found = settings(UNIT.read_text())
        self.assertEqual(list(SECTIONS), list(dict.fromkeys(section for section, _, _ in found)))
        for section, name, _ in found:
            known = SECTIONS[section]
            self.assertTrue(known is None or name in known, f"{section}: {name}")

    def test_starts_again_after_a_failure_and_only_then(self):
        self.assertEqual(["exec"], values("Type"))
        self.assertEqual(["on-failure"], values("Restart"))
        self.assertEqual(["2"], values("RestartPreventExitStatus"))

    def test_gives_no_privilege(self):
        self.assertEqual([""], values("AmbientCapabilities"))
        self.assertEqual([""], values("CapabilityBoundingSet"))
        self.assertEqual(["yes"], values("NoNewPrivileges"))

    def in_place(self, folder):
        """A copy that starts the program under test."""
        text = UNIT.read_text()
        self.assertIn("\nExecStart=orvia-l3-agent ", text)
        copy = pathlib.Path(folder) / UNIT.name
        copy.write_text(text.replace("\nExecStart=orvia-l3-agent ", f"\nExecStart={PROGRAM} "))
        return copy

    @unittest.skipUnless(shutil.which("systemd-analyze"), "systemd-analyze is not installed")
    def test_is_one_that_systemd_takes(self):
        with tempfile.TemporaryDirectory() as folder:
            ended = subprocess.run(
                ["systemd-analyze", "verify", "--man=no", self.in_place(folder)],
                capture_output=True, text=True, timeout=PATIENCE, check=False)
        said = ended.stdout + ended.stderr
        self.assertEqual((0, ""), (ended.returncode, "".join(
            line for line in said.splitlines(keepends=True) if UNIT.name in line)), said)

    @unittest.skipUnless(shutil.which("systemd-analyze"), "systemd-analyze is not installed")
    def test_is_hardened(self):
        with tempfile.TemporaryDirectory() as folder:
            ended = subprocess.run(
                ["systemd-analyze", "security", "--offline=yes", "--no-pager",
                 f"--threshold={MOST_EXPOSURE}", self.in_place(folder)],
                capture_output=True, text=True, timeout=PATIENCE, check=False)
        if "unrecognized option" in ended.stderr:
            self.skipTest("this systemd-analyze cannot look at a unit offline")
        self.assertIn("Overall exposure level", ended.stdout, ended.stderr)
        self.assertEqual(0, ended.returncode, ended.stdout[-200:])


class ItsCommand(unittest.TestCase):
    """What ExecStart says, with folders of this test."""

    def start(self, folder, **environment):
        [command] = values("ExecStart")
        for specifier in ("%t", "%S"):
            self.assertIn(specifier, command)
            command = command.replace(specifier, folder)
        os.mkdir(f"{folder}/orvia-l3-agent")
        words = []
        for word in shlex.split(command):
            words += (["--listen", "127.0.0.1:0"] if word == "$ORVIA_L3_AGENT_OPTIONS" else [word])
        self.assertEqual("orvia-l3-agent", words[0])
        self.assertIn("127.0.0.1:0", words)
        return subprocess.Popen([PROGRAM, *words[1:]], env=os.environ | environment,
                                stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)

    def test_runs_until_it_is_asked_to_end(self):
        with tempfile.TemporaryDirectory() as folder:
            agent = self.start(folder)
            control = pathlib.Path(folder) / "orvia-l3-agent/control"
            end = time.monotonic() + PATIENCE
            while not control.exists() and agent.poll() is None and time.monotonic() < end:
                time.sleep(0.01)
            there = control.is_socket()
            agent.send_signal(signal.SIGTERM)
            _, log = agent.communicate(timeout=PATIENCE)
            self.assertTrue(there, log)
            self.assertEqual(0, agent.returncode, log)
            self.assertFalse(control.exists())
            self.assertTrue((pathlib.Path(folder) / "orvia-l3-agent/asic").is_file())

    def test_is_no_better_with_a_wrong_option(self):
        ended = subprocess.run([PROGRAM, "serve", "--no-such-option"], stdin=subprocess.DEVNULL,
                               capture_output=True, timeout=PATIENCE, check=False)
        self.assertEqual(int(values("RestartPreventExitStatus")[0]), ended.returncode)


class TheCheck(unittest.TestCase):
    def test_notices_lines_that_are_none(self):
        self.assertEqual([("A", "B", "c=d")], settings("# x\n\n[A]\nB=c=d\n"))
        for text in ("B=c", "[A]\nB c", "[A]\n b=c", "[A"):
            with self.assertRaises(ValueError, msg=text):
                settings(text)


if __name__ == "__main__":
    PROGRAM = pathlib.Path(sys.argv.pop(1)).resolve() / "bin/orvia-l3-agent"
    unittest.main()
