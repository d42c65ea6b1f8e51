"""What examples/packets/run says to wrong options: before it builds, makes or needs anything."""

import pathlib
import subprocess
import unittest

RUN = pathlib.Path(__file__).resolve().parents[2] / "examples/packets/run"


class Options(unittest.TestCase):
    def run_with(self, *arguments):
        ended = subprocess.run([RUN, *arguments], capture_output=True, text=True, timeout=60,
                               check=False)
        self.assertNotIn("Traceback", ended.stderr)
        self.assertNotIn("unbound", ended.stderr)
        return ended

    def test_that_are_wrong_end_with_2_and_what_is_wrong(self):
        for arguments, said in ((["--agent"], "--agent has no value"),
                                (["--keep"], "--keep has no value"),
                                (["measure", "--keep"], "--keep has no value"),
                                (["--agent="], "--agent has no value"),
                                (["--agent", "/nosuch"], "--agent /nosuch: there is no such program"),
                                (["--agent", "/"], "--agent /: there is no such program"),
                                (["--keep", str(RUN)], "that is no folder"),
                                (["--groups", "-5"], "'-5' is not a number from 1 on"),
                                (["--groups", "3433"], "16 links have 3432 different sets of 8"),
                                (["--flaps", "0"], "'0' is not a number from 1 on"),
                                (["--folder", "x"], "there is no option --folder"),
                                (["measure", "--groups", "1,x"], "'x' is not a number from 1 on"),
                                (["measure", "--width", "32"], "32 is not from 2 to 31"),
                                (["cats"], "unrecognized arguments: cats")):
            with self.subTest(arguments):
                ended = self.run_with(*arguments)
                self.assertEqual((2, ""), (ended.returncode, ended.stdout))
                self.assertIn(said, ended.stderr)

    def test_are_all_in_the_help(self):
        for words, own in (([], "--flaps"), (["measure"], "--width")):
            ended = self.run_with(*words, "--help")
            self.assertEqual((0, ""), (ended.returncode, ended.stderr))
            for option in ("--agent ", "--agent-option", "--keep", "--groups", own):
                self.assertIn(option, ended.stdout)
            self.assertNotIn("--folder", ended.stdout)


if __name__ == "__main__":
    unittest.main()
