"""The #includes of this tree follow the arrows, and a wrong one would be noticed."""

import pathlib
import tempfile
import unittest

import includes
import tree


class ThisTree(unittest.TestCase):
    def test_every_include_follows_the_arrows(self):
        found = includes.violations()
        if found:
            self.fail("\n" + "\n".join(found))

    def test_the_check_sees_the_sources(self):
        seen = {includes.layer_of(name.as_posix()) for name in tree.source_files()}
        self.assertLessEqual({"platform", "plumbing"}, seen)


class AWrongInclude(unittest.TestCase):
    """Each test writes a small tree and looks at what the check says about it."""

    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)
        self.root = pathlib.Path(self.directory.name)
        for header in ["platform/Vek/Ptr.h", "OrviaL3Unicast/plumbing/Trace.h",
                       "OrviaL3Unicast/engine/TableBase.h", "OrviaL3Unicast/engine/TableBase-inl.h",
                       "OrviaL3Unicast/engine/Instantiate.h", "OrviaL3Unicast/Table.h",
                       "plugins/soft-asic/Device.h", "plugins/other/Device.h", "agent/Loop.h",
                       "tests/support/Recorder.h"]:
            self.write(header, "#pragma once\n")

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def said_about(self, name, text):
        self.write(name, text)
        return includes.violations(self.root, [pathlib.Path(name)])

    def assert_refused(self, name, line, why):
        said = self.said_about(name, line + "\n")
        self.assertEqual(1, len(said), said)
        self.assertIn(name, said[0])
        self.assertIn(why, said[0])

    def assert_fine(self, name, line):
        self.assertEqual([], self.said_about(name, line + "\n"))

    def test_upward_includes_are_refused(self):
        upward = [
            ("platform/Vek/A.h", "OrviaL3Unicast/plumbing/Trace.h", "plumbing"),
            ("platform/Vek/A.h", "OrviaL3Unicast/Table.h", "units"),
            ("platform/Vek/A.h", "agent/Loop.h", "agent"),
            ("platform/Loader/A.h", "OrviaL3Unicast/Table.h", "units"),
            ("platform/Plugin/Impl/A.cpp", "plugins/soft-asic/Device.h", "plugins"),
            ("OrviaL3Unicast/plumbing/A.h", "OrviaL3Unicast/engine/TableBase.h", "engine"),
            ("OrviaL3Unicast/engine/A.h", "OrviaL3Unicast/Table.h", "units"),
            ("OrviaL3Unicast/A.cpp", "plugins/soft-asic/Device.h", "plugins"),
            ("OrviaL3Unicast/A.cpp", "agent/Loop.h", "agent"),
            ("OrviaL3Unicast/A.cpp", "tests/support/Recorder.h", "tests"),
            ("plugins/soft-asic/A.cpp", "agent/Loop.h", "agent"),
            ("agent/A.cpp", "tests/support/Recorder.h", "tests"),
        ]
        for name, target, to in upward:
            with self.subTest(name=name, target=target):
                self.assert_refused(name, f'#include "{target}"', f"must not include {to}")

    def test_downward_includes_are_fine(self):
        downward = [
            ("platform/Vek/A.h", "Vek/Ptr.h"),
            ("platform/Vek/A.h", "Ptr.h"),
            ("platform/Plugin/Impl/A.cpp", "Vek/Ptr.h"),
            ("OrviaL3Unicast/plumbing/A.h", "Vek/Ptr.h"),
            ("OrviaL3Unicast/engine/A-inl.h", "OrviaL3Unicast/engine/TableBase-inl.h"),
            ("OrviaL3Unicast/A.cpp", "OrviaL3Unicast/engine/Instantiate.h"),
            ("plugins/soft-asic/A.cpp", "OrviaL3Unicast/Table.h"),
            ("agent/A.cpp", "plugins/soft-asic/Device.h"),
            ("tests/engine/A.cpp", "Recorder.h"),
            ("benchmarks/A.cpp", "agent/Loop.h"),
        ]
        for name, target in downward:
            with self.subTest(name=name, target=target):
                self.assert_fine(name, f'#include "{target}"')

    def test_engine_bodies_are_for_the_units(self):
        for name in ["plugins/soft-asic/A.cpp", "agent/A.cpp", "tests/engine/A.cpp"]:
            for body in ["TableBase-inl.h", "Instantiate.h"]:
                with self.subTest(name=name, body=body):
                    self.assert_refused(name, f'#include "OrviaL3Unicast/engine/{body}"', "body")

    def test_the_library_takes_the_standard_library_only(self):
        for header in ["fmt/format.h", "unistd.h", "gtest/gtest.h"]:
            with self.subTest(header=header):
                self.assert_refused("OrviaL3Unicast/A.cpp", f"#include <{header}>", "standard")
                self.assert_fine("agent/A.cpp", f"#include <{header}>")
        self.assert_fine("OrviaL3Unicast/A.cpp", "#include <string_view>")

    def test_one_plugin_does_not_include_another(self):
        self.assert_refused("plugins/soft-asic/A.cpp", '#include "plugins/other/Device.h"',
                            "another")

    def test_angle_brackets_do_not_hide_an_upward_include(self):
        self.assert_refused("platform/Vek/A.h", "#include <OrviaL3Unicast/Table.h>", "units")

    def test_a_path_that_climbs_is_judged_by_where_it_arrives(self):
        self.assert_refused("platform/Vek/A.h", '#include "../../agent/Loop.h"', "agent")

    def test_a_file_that_does_not_exist_is_refused(self):
        self.assert_refused("agent/A.cpp", '#include "agent/Gone.h"', "no such file")

    def test_a_macro_cannot_hide_the_name(self):
        self.assert_refused("agent/A.cpp", "#include HEADER", "write the file name out")

    def test_comments_do_not_count(self):
        self.assert_fine("platform/Vek/A.h", '// #include "agent/Loop.h"')
        self.assert_fine("platform/Vek/A.h", '/* a\n#include "agent/Loop.h"\n*/')
        self.assert_refused("platform/Vek/A.h", '/* why */ #include "agent/Loop.h"', "agent")
        self.assert_refused("platform/Vek/A.h", 'auto a = "/*";\n#include "agent/Loop.h"\n// */',
                            "agent")


if __name__ == "__main__":
    unittest.main()
