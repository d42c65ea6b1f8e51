"""The embedding example, from its installed copy, does what its approved output says."""

import unittest

import installed
from installed import EXAMPLES, LIB, build, run


class TheEmbeddingExample(unittest.TestCase):
    def test_prints_what_it_should_when_built_with_the_installed_library(self):
        program = build(EXAMPLES / "embed", "embed") / "example-embed"
        self.assertEqual((EXAMPLES / "embed/output.txt").read_text(), run(program))
        used = installed.objects_of(program)
        self.assertEqual({"libOrviaL3Unicast.so", "libOrviaPlatform.so"}, set(used))
        for path in used.values():
            self.assertEqual(LIB.resolve(), path.resolve().parent)


if __name__ == "__main__":
    unittest.main()
