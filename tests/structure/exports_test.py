"""The shared objects export what their baselines say, no more and no less.

With --update before the paths of the shared objects, writes the baselines instead.
"""

import difflib
import pathlib
import sys
import unittest

import exports
import tree


def baseline(library):
    return tree.ROOT / "tests" / "baselines" / f"{library.stem}.symbols.txt"


class ASharedObject(unittest.TestCase):
    def test_exports_what_its_baseline_says(self):
        self.assertTrue(LIBRARIES)
        for library in LIBRARIES:
            with self.subTest(library=library.name):
                path = baseline(library)
                approved = path.read_text().splitlines() if path.exists() else []
                found = exports.exports(library)
                self.assertTrue(found, "it exports nothing at all")
                difference = list(difflib.unified_diff(approved, found, path.name, library.name,
                                                       lineterm="", n=0))
                if difference:
                    self.fail("the exports changed; tools/update-baselines if that is meant:\n"
                              + "\n".join(difference))


class TheFilter(unittest.TestCase):
    def assert_kept(self, kept, listing):
        self.assertEqual(kept, exports.parse(listing, ["OrviaL3Unicast", "Vek"]))

    def test_keeps_strong_symbols_of_any_name(self):
        self.assert_kept({"_ZN14OrviaL3Unicast5Table4nameEv", "orviaPluginEntry"},
                         "0000000000001000 T _ZN14OrviaL3Unicast5Table4nameEv\n"
                         "0000000000001010 T orviaPluginEntry\n"
                         "0000000000001020 T _init\n"
                         "0000000000001030 B __odr_asan._ZN14OrviaL3Unicast1xE\n")

    def test_keeps_templates_and_virtual_tables_of_its_namespaces(self):
        self.assert_kept({"_ZN14OrviaL3Unicast5TableIiE4nameEv", "_ZTVN3Vek5TableE"},
                         "0000000000001000 W _ZN14OrviaL3Unicast5TableIiE4nameEv\n"
                         "0000000000001000 V _ZTVN3Vek5TableE\n"
                         "0000000000001000 V _ZTSN3Vek5TableE\n"
                         "0000000000001000 V _ZTVN7Another5TableE\n")

    def test_leaves_out_what_a_compiler_may_inline(self):
        self.assert_kept(set(),
                         "0000000000001000 W _ZN14OrviaL3Unicast5Entry4rowsEv\n"
                         "0000000000001000 W _ZNSt6vectorIN14OrviaL3Unicast5EntryESaIS1_EED1Ev\n"
                         "0000000000001000 t _ZN14OrviaL3Unicast6hiddenEv\n")


if __name__ == "__main__":
    update = "--update" in sys.argv
    LIBRARIES = [pathlib.Path(argument) for argument in sys.argv[1:] if argument != "--update"]
    if update:
        for shared_object in LIBRARIES:
            baseline(shared_object).parent.mkdir(exist_ok=True)
            baseline(shared_object).write_text("\n".join(exports.exports(shared_object)) + "\n")
    else:
        unittest.main(argv=sys.argv[:1])
