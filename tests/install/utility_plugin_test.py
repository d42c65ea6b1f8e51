"""The vendor's plug-in, built from the installed copy of the example and installed into a plug-in
root of its own, is found by its host program and by the stand-alone agent."""

import re
import shutil
import subprocess
import unittest

from installed import AGENT, CONFIG, EXAMPLES, LIB, PLACE, ROOT, build, environment, run

PLUGIN_ROOT = PLACE / "plugin-root"
STREAM = ROOT / "examples/streams/w1-static.0.fpm"


def section(report, heading):
    """The lines of a replay's report that stand under the heading."""
    match = re.search(rf"^{heading}\b.*\n((?:[ \t].*\n)*)", report, re.MULTILINE)
    return match.group(0) if match else ""


class TheVendorsPlugin(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = build(EXAMPLES / "utility-plugin", "utility-plugin")
        shutil.rmtree(PLUGIN_ROOT, ignore_errors=True)
        run(CONFIG["cmake"], "--install", cls.folder, "--prefix", PLUGIN_ROOT)

    def test_serves_the_tables_of_its_host(self):
        printed = run(self.folder / "example-host",
                      env=environment(ORVIA_PLUGIN_ROOT=str(PLUGIN_ROOT)))
        self.assertEqual((EXAMPLES / "utility-plugin/output.txt").read_text(), printed)

    def test_serves_the_tables_of_the_agent(self):
        report = run(AGENT, "--plugin-root", PLUGIN_ROOT, "replay", STREAM, "--verify",
                     "--check-forwarding")
        self.assertIn("Not simulated OrviaL3Unicast::L3EcmpGroupTable by ", report)
        # The chip answers for its rows, and what it was asked for is written down.
        self.assertRegex(section(report, "Next hops of routes"), r" 9: 9 programmed, 0 parked")
        self.assertRegex(section(report, "Next hops of groups"), r" 8: 8 programmed, 0 parked")
        self.assertRegex(section(report, "Groups"), r" 3: 3 programmed, 0 parked")
        hardware = section(report, "Hardware")
        self.assertEqual(
            [("ingress", "9", "9", "9"), ("ecmp", "8", "8", "8"), ("member", "14", "14", "0"),
             ("group", "3", "3", "3")],
            re.findall(r"(\w+) +(\d+) writes, 0 deletes, (\d+) rows in force; answers: (\d+) "
                       r"accepted, 0 refused", hardware), hardware)
        self.assertIn("no group ever led anywhere but where its record said", report)
        self.assertIn("3 groups, 8 ECMP next hops, 9 other next hops verified: no difference", report)

    def test_is_missed_by_an_agent_that_looks_elsewhere(self):
        empty = PLACE / "empty-root"
        empty.mkdir(exist_ok=True)
        ended = subprocess.run([AGENT, "--plugin-root", empty, "replay", STREAM], check=False,
                               env=environment(), capture_output=True, text=True, timeout=60)
        self.assertNotEqual(0, ended.returncode)
        self.assertIn("has no utility: looked in " + str(empty), ended.stderr)

    def test_is_named_with_the_directory_when_one_table_lacks_it(self):
        mixed = PLACE / "mixed-root"
        shutil.rmtree(mixed, ignore_errors=True)
        shutil.copytree(PLUGIN_ROOT, mixed)
        shutil.rmtree(mixed / "OrviaFeaturePlugin" / "OrviaL3Unicast::L3EcmpMemberTable")
        ended = self.host(ORVIA_PLUGIN_ROOT=str(mixed))
        self.assertEqual(1, ended.returncode)
        self.assertIn("OrviaL3Unicast::L3EcmpMemberTable has no utility: looked in ", ended.stderr)
        self.assertIn("no such directory", ended.stderr)

    def host(self, **changes):
        return subprocess.run([self.folder / "example-host"], check=False, timeout=60,
                              env=environment(**changes), capture_output=True, text=True)

    def test_needs_to_be_looked_for_in_its_root(self):
        for changes in ({}, {"ORVIA_PLUGIN_ROOT": ""}):
            ended = self.host(**changes)
            self.assertEqual((2, ""), (ended.returncode, ended.stdout))
            self.assertEqual("example-host: set ORVIA_PLUGIN_ROOT to the folder that the plug-in "
                             "is installed in\n", ended.stderr)

    def test_is_named_with_the_table_when_its_utility_cannot_be_made(self):
        # The simulated hardware's plug-ins serve no host that has none.
        table = "OrviaL3Unicast::IngL3NextHop1Table"
        file = LIB / "OrviaFeaturePlugin" / table / "soft-asic.so"
        ended = self.host(ORVIA_PLUGIN_ROOT=str(LIB))
        self.assertEqual((1, ""), (ended.returncode, ended.stdout))
        self.assertEqual(
            f"example-host: {table}: its utility from {file} could not be made: the utilities of "
            "the simulated ASIC are made by SoftDevice::attach, and no device is attaching a "
            "table; who wants the utilities of another plug-in sets the plug-in root\n",
            ended.stderr)

    def test_gives_way_to_a_file_whose_name_comes_first(self):
        shared = PLACE / "shared-root"
        shutil.rmtree(shared, ignore_errors=True)
        shutil.copytree(PLUGIN_ROOT, shared)
        table = "OrviaL3Unicast::L3EcmpGroupTable"
        folder = shared / "OrviaFeaturePlugin" / table
        shutil.copy(folder / "chip.so", folder / "a-chip.so")
        printed = self.host(ORVIA_PLUGIN_ROOT=str(shared)).stdout
        self.assertIn(f'{table}: served by "chip" from a-chip.so\n', printed)
        self.assertEqual(3, printed.count('served by "chip" from chip.so\n'), printed)


if __name__ == "__main__":
    unittest.main()
