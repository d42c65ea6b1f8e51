"""docs/own-platform.md lists what the library takes from the platform: no more and no less."""

import re
import subprocess
import unittest

from installed import BINARY_DIR, ROOT

PAGE = (ROOT / "docs/own-platform.md").read_text()
PLATFORM = "Vek|Asic|OrviaAsicUtils|Fendrel|Brastel|Loader|Plugin|Mosk"

# What a compiler may know the answer of without asking: an overridden virtual operation.
SOMETIMES_INLINED = {
    "Asic::SwTable::EntryHandle::fwkType() const",
    "OrviaAsicUtils::SwTableUtil::fwkType() const",
    "Vek::NotifieeConst::fwkType() const",
}

# How c++filt writes the types of the standard library, and how people do. The order matters.
READABLE = [
    ("[abi:cxx11]", ""),
    ("std::basic_string_view<char, std::char_traits<char> >", "std::string_view"),
    ("std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >",
     "std::string"),
    ("std::basic_ostream<char, std::char_traits<char> >", "std::ostream"),
    ("__gnu_cxx::__normal_iterator<char const*, std::string >", "Vek::String::IteratorConst"),
    ("std::vector<std::string, std::allocator<std::string > >", "std::vector<std::string>"),
]


def readable(name):
    for written, meant in READABLE:
        name = name.replace(written, meant)
    return name


def operations(listing):
    """What nm says is undefined in the platform's namespaces, but for virtual tables and types."""
    names = (re.sub(r"^\s*[Uwv] ", "", line) for line in listing.splitlines())
    return {readable(name) for name in names if re.match(rf"({PLATFORM})::", name)}


def listed(heading):
    """The first cells of the tables under a heading of the page."""
    section = re.search(rf"^## {heading}\n(.*?)(?=^## |\Z)", PAGE, re.DOTALL | re.MULTILINE)
    return re.findall(r"^\| `([^`]+)` \|", section.group(1), re.MULTILINE)


class ThePage(unittest.TestCase):
    maxDiff = None

    def test_lists_the_operations_that_the_library_leaves_undefined(self):
        used = operations(subprocess.run(
            ["nm", "--dynamic", "--demangle", "--undefined-only",
             BINARY_DIR / "lib/libOrviaL3Unicast.so"],
            capture_output=True, text=True, check=True).stdout)
        page = set(listed("Operations"))
        self.assertEqual(set(), used - page, "used by the library and not on the page")
        self.assertEqual(set(), page - used - SOMETIMES_INLINED, "on the page and not used")

    def test_lists_the_headers_that_the_library_includes(self):
        used = set()
        for path in (ROOT / "OrviaL3Unicast").rglob("*"):
            if path.suffix in (".h", ".cpp"):
                used |= set(re.findall(rf'^#include "((?:{PLATFORM})/[^"]+)"', path.read_text(),
                                       re.MULTILINE))
        self.assertEqual(sorted(used), listed("Headers"))

    def test_lists_nothing_twice(self):
        page = listed("Operations")
        self.assertEqual(len(page), len(set(page)))


class TheCheck(unittest.TestCase):
    def test_takes_the_platforms_operations_and_leaves_the_rest(self):
        self.assertEqual(
            {"Vek::detail::formatTexts(std::string_view, std::vector<std::string> const&)",
             "Asic::asicModule"},
            operations("                 U Vek::detail::formatTexts(std::basic_string_view<char, "
                       "std::char_traits<char> >, std::vector<std::__cxx11::basic_string<char, "
                       "std::char_traits<char>, std::allocator<char> >, "
                       "std::allocator<std::__cxx11::basic_string<char, std::char_traits<char>, "
                       "std::allocator<char> > > > const&)\n"
                       "                 U Asic::asicModule\n"
                       "                 U vtable for Vek::Entity\n"
                       "                 w __gmon_start__\n"
                       "                 U std::terminate()@GLIBCXX_3.4\n"))


if __name__ == "__main__":
    unittest.main()
