"""find_package(OrviaL3Unicast) in a project that knows nothing but where the tree is."""

import pathlib
import re
import shutil
import subprocess
import unittest

import installed
from installed import AGENT, INCLUDE, LIB, PLACE, ROOT, build, environment, run

VERSION = re.search(r"project\(OrviaL3Unicast VERSION ([0-9.]+)",
                    (ROOT / "CMakeLists.txt").read_text()).group(1)


class ThePackage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = build(pathlib.Path(__file__).parent / "programs", "consumer",
                           f"-DEXPECTED_VERSION={VERSION}")

    def test_says_where_things_are(self):
        places = (self.folder / "places.txt").read_text().split()
        self.assertEqual([str(AGENT), str(LIB / "libOrviaL3Unicast.so"), str(LIB)], places[:3])
        self.assertEqual({str(INCLUDE), str(INCLUDE / "platform")}, set(places[3:]))

    def test_serves_a_program_that_links_the_library_and_the_simulated_hardware(self):
        program = self.folder / "consumer"
        self.assertEqual("programmed 0, then 1, in row 1\n", run(program))
        used = installed.objects_of(program)
        self.assertEqual({"libOrviaL3Unicast.so", "libOrviaPlatform.so", "libOrviaSoftAsic.so"},
                         set(used))
        for path in used.values():
            self.assertEqual(LIB.resolve(), path.resolve().parent)

    def test_serves_a_program_that_loads_the_library(self):
        program = self.folder / "loading"
        self.assertEqual({"libOrviaPlatform.so"}, set(installed.objects_of(program)))
        self.assertEqual("OrviaL3Unicast::L3EcmpGroupTable\n",
                         run(program, LIB / "libOrviaL3Unicast.so"))

    def test_lets_mistakes_show_as_the_page_on_embedding_says(self):
        self.assertEqual("""\
no hardware table: writes 0, answers 0, programmed 0, row given 0
no hardware table, then one: writes 0, answers 0, programmed 0, row given 0
no hardware table, handleEntry: writes 1, answers 0, programmed 0, row given 0
not ready: writes 0, answers 0, programmed 0, row given 0
not ready, then ready: writes 0, answers 0, programmed 0, row given 0
not ready, handleEntry: writes 1, answers 1, programmed 1, row given 1
no hardware table, ordinary next hop: writes 0, answers 1, programmed 1, row given 1
not ready, ordinary next hop: writes 0, answers 1, programmed 1, row given 1
no rows, next hops: Vek::RangeException: rows 0 to 0 are no rows of a table of 0 rows
no rows, groups: Vek::RangeException: rows 0 to 0 are no rows of a table of 0 rows
no rows, members: nothing thrown
no rows, a block: Asic::NoRowException
more rows after doInitComplete: Asic::NoRowException
a member is not set: Vek::Exception: Unsupported behavior
five paths over a block of two: writes 3, answers 1, programmed 1, row given 1
a block of size 0: writes 0, answers 0, programmed 0, row given 0
a block of size 0: 1 block and 1 group wait
a group number twice: same handle 1, answers 0 and 1, writes 1
no row is free: Asic::NoRowException
no row is free, after that: writes 2, answers 0, programmed 0, row given 0
no row is free, then one is: writes 2, answers 0, programmed 0, row given 0
no row is free, handleEntry: writes 3, answers 1, programmed 1, row given 1
""", run(self.folder / "mistakes"))

    def test_names_table_and_file_of_a_utility_that_cannot_be_made(self):
        root = PLACE / "throwing-root"
        shutil.rmtree(root, ignore_errors=True)
        plugins = "OrviaFeaturePlugin"
        shutil.copytree(LIB / plugins, root / plugins)
        # The modules look for what they share in their root.
        shutil.copy(LIB / "libOrviaSoftAsic.so", root)
        file = root / plugins / "OrviaL3Unicast::L3EcmpGroupTable/chip.so"
        shutil.copy(self.folder / "chip.so", file)
        ended = subprocess.run(
            [AGENT, "--plugin-root", root, "replay", ROOT / "examples/streams/forms.0.fpm"],
            env=environment(), capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual(1, ended.returncode)
        self.assertEqual(f"orvia-l3-agent: OrviaL3Unicast::L3EcmpGroupTable: its utility from "
                         f"{file} could not be made: no memory on chip\n", ended.stderr)


if __name__ == "__main__":
    unittest.main()
