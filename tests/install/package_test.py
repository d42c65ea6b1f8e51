"""find_package(OrviaL3Unicast) in a project that knows nothing but where the tree is."""

import pathlib
import re
import unittest

import installed
from installed import AGENT, INCLUDE, LIB, ROOT, build, run

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


if __name__ == "__main__":
    unittest.main()
