"""No source points at a document or a place that its reader does not have."""

import re
import unittest

import tree

# A comment explains the system itself. It does not cite a text behind it.
CITATION = re.compile(r"\b[Ss]pec(ification)?s?\b|\bParts? [0-9]")
CITING_NAME = re.compile(r"(^|/)[s]pec[^/]*$|part[-_]?[0-9]", re.IGNORECASE)

# Somebody's home or scratch folder. Tests and scripts ask the system for a temporary folder
# instead of naming one; the brackets keep this line from being found by itself.
PRIVATE_PATH = re.compile(r"/(home|root|work)/[a-z.]|/[t]mp/")


def findings(pattern, name, text):
    return [f"{name}:{number}: {line.strip()}"
            for number, line in enumerate(text.splitlines(), 1) if pattern.search(line)]


class Sources(unittest.TestCase):
    def assert_nowhere(self, pattern, skip=()):
        found = []
        for name in tree.source_files():
            text = tree.text_of(tree.ROOT / name)
            if text is not None and not name.as_posix().startswith(tuple(skip)):
                found += findings(pattern, name, text)
        if found:
            self.fail("\n" + "\n".join(found))

    def test_cite_no_document(self):
        self.assert_nowhere(CITATION)

    def test_have_names_that_cite_no_document(self):
        names = [name.as_posix() for name in tree.source_files()]
        self.assertEqual([], [name for name in names if CITING_NAME.search(name)])

    def test_name_no_private_path(self):
        self.assert_nowhere(PRIVATE_PATH, skip=["tests/"])


class TheCheck(unittest.TestCase):
    """The bad lines are put together here, so that this file does not hold one."""

    def test_notices_what_it_looks_for(self):
        for line in ["// see the sp" + "ec", "// as the Sp" + "ecification says",
                     "// Part" + " 1.2"]:
            self.assertEqual([f"a.cpp:1: {line}"], findings(CITATION, "a.cpp", line))
        for line in ['open("/' + 'tmp/x")', 'open("/' + 'home/me/x")', "/" + "root/x"]:
            self.assertEqual([f"a.cpp:1: {line}"], findings(PRIVATE_PATH, "a.cpp", line))
        self.assertTrue(CITING_NAME.search("docs/sp" + "ec.md"))

    def test_leaves_other_words_alone(self):
        for line in ["template specialization", "noexcept specifier", "a part of it", "aspect"]:
            self.assertEqual([], findings(CITATION, "a.cpp", line))
        self.assertEqual([], findings(PRIVATE_PATH, "a.cpp", "https://example.net/homework/a"))
        self.assertFalse(CITING_NAME.search("docs/inspect.md"))


if __name__ == "__main__":
    unittest.main()
