"""`cmake --install` gives a tree that is complete and can be moved."""

import re
import shutil
import unittest

import installed
from installed import BINARY_DIR, CONFIG, INCLUDE, LIB, PLACE, ROOT, TREE, run

TABLES = ["IngL3NextHop1Table", "EcmpIngL3NextHop1Table", "L3EcmpMemberTable", "L3EcmpGroupTable"]


class TheInstalledTree(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        # What is left of an earlier run would hide that something is missing now.
        shutil.rmtree(PLACE, ignore_errors=True)
        cls.first = PLACE / "first"
        run(CONFIG["cmake"], "--install", BINARY_DIR, "--prefix", cls.first)
        cls.first.rename(TREE)

    def programs(self):
        return [path for path in TREE.rglob("*")
                if path.is_file() and path.read_bytes()[:4] == b"\x7fELF"]

    def test_holds_program_libraries_and_the_plug_ins_of_each_table(self):
        found = sorted(path.relative_to(TREE).as_posix() for path in self.programs())
        lib = CONFIG["libdir"]
        self.assertEqual(sorted(
            [f"{CONFIG['bindir']}/orvia-l3-agent", f"{lib}/libOrviaL3Unicast.so",
             f"{lib}/libOrviaKernelNextHop.so", f"{lib}/libOrviaPlatform.so",
             f"{lib}/libOrviaSoftAsic.so", f"{lib}/liborvia-agent.so"]
            + [f"{lib}/{root}OrviaFeaturePlugin/OrviaL3Unicast::{table}/{plug_in}.so"
               for table in TABLES
               for root, plug_in in (("", "soft-asic"),
                                     ("orvia-kernel-nexthop/", "kernel-nexthop"))]), found)

    def test_holds_every_header_but_the_bodies(self):
        wanted = {path.relative_to(ROOT).as_posix()
                  for folder in ("platform", "OrviaL3Unicast", "plugins/soft-asic")
                  for path in (ROOT / folder).rglob("*.h")}
        wanted = {name for name in wanted
                  if not re.search(r"-inl\.h$|/Instantiate\.h$|/modules/", name)}
        found = {path.relative_to(INCLUDE).as_posix() for path in INCLUDE.rglob("*.h")}
        self.assertEqual(wanted, found)

    def test_holds_the_manual_page_and_the_unit_of_the_agent(self):
        for source, place in (("docs/orvia-l3-agent.1", "share/man/man1"),
                              ("packaging/orvia-l3-agent.service", "lib/systemd/system")):
            installed_file = TREE / place / (ROOT / source).name
            self.assertEqual((ROOT / source).read_text(), installed_file.read_text())

    def test_names_neither_the_place_it_was_installed_to_nor_the_build_nor_the_sources(self):
        texts = 0
        for path in TREE.rglob("*"):
            data = path.read_bytes() if path.is_file() else b"\0"
            if b"\0" in data:
                continue
            texts += 1
            for place in (self.first, BINARY_DIR, ROOT):
                self.assertNotIn(str(place).encode(), data, path)
        self.assertGreater(texts, 50)

    def test_looks_for_shared_objects_beside_itself_only(self):
        for path in self.programs():
            section = run("readelf", "--dynamic", "--wide", path)
            for found in re.findall(r"R(?:UN)?PATH.*\[(.*)\]", section):
                for place in found.split(":"):
                    self.assertTrue(place.startswith("$ORIGIN"), f"{path}: {place}")

    def test_uses_its_own_shared_objects(self):
        for path in self.programs():
            for name, used in installed.objects_of(path).items():
                self.assertEqual((LIB / name).resolve(), used.resolve(), path)

    def test_runs_where_it_was_moved_to(self):
        self.assertIn("replay", run(installed.AGENT, "--help"))
        report = run(installed.AGENT, "replay", ROOT / "examples/streams/forms.0.fpm", "--show")
        self.assertIn("programmed", report)


if __name__ == "__main__":
    unittest.main()
