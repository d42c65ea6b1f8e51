"""The embedding example, from its installed copy, does what its approved output says."""

import re
import shutil
import unittest

import installed
from installed import EXAMPLES, LIB, PLACE, build, run

PLAN = "      {7, {{1, 101}, {2, 102}}},\n"


class TheEmbeddingExample(unittest.TestCase):
    def test_prints_what_it_should_when_built_with_the_installed_library(self):
        program = build(EXAMPLES / "embed", "embed") / "example-embed"
        self.assertEqual((EXAMPLES / "embed/output.txt").read_text(), run(program))
        used = installed.objects_of(program)
        self.assertEqual({"libOrviaL3Unicast.so", "libOrviaPlatform.so"}, set(used))
        for path in used.values():
            self.assertEqual(LIB.resolve(), path.resolve().parent)

    def test_takes_a_second_group_and_a_third_member_in_one_line(self):
        source = PLACE / "embed-two-groups-source"
        shutil.rmtree(source, ignore_errors=True)
        shutil.copytree(EXAMPLES / "embed", source)
        text = (source / "embed.cpp").read_text()
        self.assertEqual(1, text.count(PLAN))
        # The neighbour 2 serves both groups.
        (source / "embed.cpp").write_text(
            text.replace(PLAN, PLAN + "      {8, {{2, 102}, {3, 103}, {4, 104}}},\n"))
        printed = run(build(source, "embed-two-groups") / "example-embed")
        self.assertIn("waiting: next hops 4 + 1, blocks 2, groups 2\n", printed)
        self.assertIn("  group 7 has row 1\n  group 8 has row 2\n", printed)
        self.assertIn("  write group row 2: 3 paths from member row 2\n", printed)
        # Whatever came into the hardware has left it: at the restart or at the end.
        rows = {"next hop": 4, "member": 5, "group": 2}
        for kind, count in rows.items():
            for what in ("clear", "delete"):
                found = re.findall(rf"^  {what} {kind} row (\d+)", printed, re.MULTILINE)
                if (kind, what) == ("next hop", "delete"):
                    self.assertEqual("20", found.pop())
                self.assertEqual(count, len(set(found)), f"{what} {kind}: {found}")
                self.assertEqual(len(found), len(set(found)))

    def test_clears_what_points_before_what_it_points_at(self):
        cleared = re.findall(r"^  clear (\w+)", (EXAMPLES / "embed/output.txt").read_text(),
                             re.MULTILINE)
        self.assertEqual(["group", "member", "member", "next", "next"], cleared)


if __name__ == "__main__":
    unittest.main()
