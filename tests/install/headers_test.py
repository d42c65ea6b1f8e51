"""Every installed header compiles on its own, without a warning, with nothing but what the package
says about include directories."""

import concurrent.futures
import os
import shutil
import subprocess
import unittest

from installed import CONFIG, INCLUDE, PLACE, WARNINGS, environment

HEADERS = sorted(path.relative_to(INCLUDE).as_posix() for path in INCLUDE.rglob("*.h"))
FOLDER = PLACE / "headers"


def compile_alone(name, text):
    """What the compiler says to a file that holds that text."""
    source = FOLDER / (name.replace("/", "-") + ".cpp")
    source.write_text(text)
    # A compiler cache, if there is one, has nothing to keep of what is only looked at.
    launcher = CONFIG["launcher"]
    work = ["-c", "-o", source.with_suffix(".o")] if launcher else ["-fsyntax-only"]
    command = [*filter(None, [launcher]), CONFIG["compiler"], "-std=c++20", *WARNINGS.split(),
               "-I", INCLUDE / "platform", "-I", INCLUDE, *work, source]
    ended = subprocess.run([str(word) for word in command], env=environment(), capture_output=True,
                           text=True, timeout=120, check=False)
    return (ended.returncode, ended.stderr)


def included(header):
    # As users write it: the platform's headers from its own root.
    return f'#include "{header.removeprefix("platform/")}"\n'


def setUpModule():
    shutil.rmtree(FOLDER, ignore_errors=True)
    FOLDER.mkdir()


class EveryInstalledHeader(unittest.TestCase):
    def test_compiles_on_its_own(self):
        self.assertGreater(len(HEADERS), 80)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            for header, (code, text) in zip(
                    HEADERS, pool.map(lambda name: compile_alone(name, included(name)), HEADERS)):
                with self.subTest(header=header):
                    self.assertEqual(0, code, text[-2000:])
                    self.assertEqual("", text)


class TheCheck(unittest.TestCase):
    def test_notices_a_header_that_needs_another_one(self):
        self.assertNotEqual(0, compile_alone("incomplete", "std::string text;\n")[0])

    def test_notices_a_header_that_is_not_there(self):
        self.assertNotEqual(0, compile_alone("missing", '#include "OrviaL3Unicast/Missing.h"\n')[0])


if __name__ == "__main__":
    unittest.main()
