"""`ctl` against a live agent: its text, its JSON against the schemas, its exit codes."""

import json
import os
import pathlib
import select
import signal
import socket
import subprocess
import time
import unittest

import jsonschema

from live_agent import PATIENCE, PROGRAM, ROOT, SAMPLES, LiveAgent, wait_until

SCHEMAS = ROOT / "docs/schemas"
STREAM = "w1-static.0.fpm"

# Every request that answers with a document, and its schema.
REQUESTS = [
    ("verbs", "verbs"),
    ("show tables", "show-tables"),
    ("show groups", "show-groups"),
    ("show group 1", "show-group"),
    ("show block 0", "show-block"),
    ("show nexthops", "show-nexthops"),
    ("show routes", "show-routes"),
    ("show routes 0.0.0.0/0", "show-routes"),
    ("show routes 10.0.0.1", "show-routes"),
    ("show interfaces", "show-interfaces"),
    ("show allocators", "show-allocators"),
    ("show hardware", "show-hardware"),
    ("show trace", "show-trace"),
    ("show memory", "show-memory"),
    ("show stream", "show-stream"),
    ("show kernel", "show-kernel"),
    ("get group.numEntries", "get"),
    ("set group.entry[#1].lbMode 0", "set"),
    ("ls", "ls"),
    ("ls group", "ls"),
    ("ls ingress.entry 1-2", "ls"),
    ("interface 9999 down", "interface"),
    ("interface 9999 up", "interface"),
    ("fault group late-every=7", "fault"),
    ("fault group off", "fault"),
    ("retry", "retry"),
    ("trace level NobodysName 3", "trace-level"),
    ("ring dump", "ring-dump"),
    ("why", "causes"),
    ("why all", "causes"),
    ("why group 1", "why"),
    ("who group 1", "who"),
    ("dot", "dot"),
    ("resync", "resync"),
]


def schema(name):
    return json.loads((SCHEMAS / f"{name}.json").read_text())


def run(*arguments, **more):
    return subprocess.run([PROGRAM, "ctl", *arguments], stdin=subprocess.DEVNULL, text=True,
                          capture_output=True, timeout=PATIENCE, check=False, **more)


class WithAnAgent(unittest.TestCase):
    options = ()

    @classmethod
    def setUpClass(cls):
        cls.agent = LiveAgent(*cls.options)
        cls.addClassCleanup(cls.agent.__exit__, None, None, None)
        cls.agent.__enter__()
        cls.agent.send_sample(STREAM)
        cls.agent.rest((SAMPLES / STREAM).stat().st_size)

    def ctl(self, *words):
        return run("--socket", self.agent.control, *words)

    def text(self, *words):
        ended = self.ctl(*words)
        self.assertEqual((0, ""), (ended.returncode, ended.stderr), words)
        return ended.stdout

    def document(self, *words):
        return json.loads(self.text("--json", *words))


class Documents(WithAnAgent):
    @classmethod
    def setUpClass(cls):
        cls.ring = pathlib.Path(f"/tmp/orvia-ctl-test-{os.getpid()}.ring")
        cls.addClassCleanup(cls.ring.unlink, missing_ok=True)
        cls.options = ("--ring", str(cls.ring))
        super().setUpClass()

    def test_are_what_their_schemas_say(self):
        for request, name in REQUESTS:
            with self.subTest(request):
                jsonschema.Draft7Validator(schema(name)).validate(self.document(*request.split()))

    def test_have_something_in_them(self):
        for request, _ in REQUESTS[:13]:
            if request == "show routes 10.0.0.1":
                # The address of one that is there.
                prefix = self.document("show", "routes")["routes"][0]["prefix"]
                request = f"show routes {prefix.split('/')[0]}"
            document = self.document(*request.split())
            for member, value in document.items():
                self.assertTrue(value, f"{request}: {member}")

    def test_of_every_verb_are_tried(self):
        verbs = [row["verb"] for row in self.document("verbs")["verbs"]]
        tried = [request for request, _ in REQUESTS] + ["trace follow"]
        for verb in verbs:
            self.assertTrue(any(request == verb or request.startswith(verb + " ")
                                for request in tried), verb)

    def test_say_of_groups_what_the_text_says(self):
        groups = self.document("show", "groups")["groups"]
        lines = self.text("show", "groups").splitlines()
        self.assertEqual(len(groups) + 1, len(lines))
        for group, line in zip(groups, lines[1:]):
            self.assertEqual([str(group["group"]), group["state"]], line.split()[:2])

    def test_of_the_ring_have_as_many_lines_as_its_file(self):
        lines = self.document("ring", "dump")["lines"]
        self.assertGreater(len(lines), 10)
        ring = subprocess.run([PROGRAM, "ring", self.ring], capture_output=True, text=True,
                              timeout=PATIENCE, check=True)
        # The tables go on writing into the file.
        self.assertEqual(lines[:10], ring.stdout.splitlines()[:10])


class Schemas(unittest.TestCase):
    def test_are_schemas_and_each_is_tried(self):
        names = {path.stem for path in SCHEMAS.glob("*.json")}
        tried = {name for _, name in REQUESTS} | {"trace-follow"}
        self.assertEqual(set(), tried - names)
        for name in names:
            with self.subTest(name):
                jsonschema.Draft7Validator.check_schema(schema(name))
                self.assertEqual("http://json-schema.org/draft-07/schema#",
                                 schema(name)["$schema"])

    def test_refuse_what_is_none_of_theirs(self):
        validator = jsonschema.Draft7Validator(schema("show-allocators"))
        good = {"allocators": [{"table": "ecmp", "rows": 2, "inUse": 1, "free": 1,
                                "largestFreeRun": 1}]}
        validator.validate(good)
        for change in ({"table": "cats"}, {"rows": -1}, {"free": None}, {"more": 1}):
            bad = {"allocators": [{**good["allocators"][0], **change}]}
            self.assertFalse(validator.is_valid(bad), change)


class Texts(WithAnAgent):
    def test_tables_are_aligned_with_numbers_to_the_right(self):
        lines = self.text("show", "tables").splitlines()
        self.assertRegex(lines[0], r"^TABLE +ENTRIES +PROGRAMMED +UNANSWERED +PARKED +REFUSED +"
                                   r"NOT-PLACED +ROWS$")
        end = lines[0].index("ENTRIES") + len("ENTRIES")
        for line in lines[1:]:
            self.assertRegex(line[:end], r"^[a-z]+ +\d+$")
            self.assertEqual(line, line.rstrip())

    def test_a_value_stands_alone(self):
        self.assertRegex(self.text("get", "group.numEntries"), r"^\d+\n$")

    def test_an_object_is_a_line_for_each_member(self):
        lines = self.text("show", "stream").splitlines()
        self.assertRegex(lines[0], rf"^port +{self.agent.fpm_port}$")
        self.assertRegex(lines[1], r"^peer +127\.0\.0\.1:\d+$")

    def test_a_request_that_does_something_prints_what_it_did_and_is_logged(self):
        self.assertEqual("nextHopWrites  0\ngroupWrites    0\nnoRoom         0\n", self.text("retry"))
        self.assertEqual("interface      9999\nstate          down\nchanged        yes\n"
                         "groups         0\ngroupsWithout  0\nnextHops       0\n"
                         "no next hop is on interface 9999; that it is down stays noted for those "
                         "to come\n", self.text("interface", "9999", "down"))
        self.agent.logged(rf"retry, by the control socket \(uid {os.geteuid()}, pid \d+\)")
        self.agent.logged(r"interface 9999 down, by the control socket \(")

    def test_the_verbs_fit_a_terminal(self):
        for line in self.text("verbs").splitlines():
            self.assertLessEqual(len(line), 100, line)

    def test_without_a_kernel_says_so(self):
        self.assertEqual("no kernel is programmed\n", self.text("show", "kernel"))

    def test_a_list_of_nothing_has_no_head(self):
        ended = self.ctl("ls", "nosuch")
        self.assertEqual((2, ""), (ended.returncode, ended.stdout))

    def test_a_group_by_its_number_and_a_group_row_are_told_apart(self):
        self.assertIn("`who group ROW`", self.ctl("show", "group", "99999").stderr)
        self.assertIn("`show group N`", self.ctl("who", "group", "99999").stderr)

    def test_wrong_requests_end_with_2_and_a_reason(self):
        for words, reason in ((["show", "cats"], 'show "cats": there is only'),
                              (["show", "group", "99999"], "there is no group 99999"),
                              (["get", "nowhere"], 'there is no table "nowhere"'),
                              (["--svg", "show", "groups"], "only `dot` makes a picture")):
            for form in ([], ["--json"]):
                ended = self.ctl(*form, *words)
                self.assertEqual(2, ended.returncode, words)
                self.assertEqual("", ended.stdout)
                self.assertIn(reason, ended.stderr)
                self.assertTrue(ended.stderr.startswith("orvia-l3-agent: "))

    def test_a_reader_that_has_seen_enough_ends_it_without_a_word(self):
        with subprocess.Popen([PROGRAM, "ctl", "--socket", self.agent.control, "trace", "follow"],
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True) as follow:
            def something_to_trace():
                self.text("interface", "3", "down")
                self.text("interface", "3", "up")
            self.text("trace", "level", "*", "9")
            # Once it has connected.
            wait_until(lambda: something_to_trace() or
                       select.select([follow.stdout], [], [], 0.1)[0], "a line")
            self.assertTrue(follow.stdout.readline())
            follow.stdout.close()
            wait_until(lambda: something_to_trace() or follow.poll() is not None, "its end")
            self.assertEqual(-signal.SIGPIPE, follow.returncode)
            self.assertEqual("", follow.stderr.read())
        self.text("trace", "level", "*", "off")


class Following(WithAnAgent):
    def test_prints_a_document_for_each_line_as_it_comes(self):
        validator = jsonschema.Draft7Validator(schema("trace-follow"))
        self.text("trace", "level", "*", "9")
        with subprocess.Popen([PROGRAM, "ctl", "--socket", self.agent.control, "--json", "trace",
                               "follow"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              text=True) as follow:
            def something_to_trace():
                self.text("interface", "3", "down")
                self.text("interface", "3", "up")
            # Once it has connected.
            wait_until(lambda: something_to_trace() or
                       select.select([follow.stdout], [], [], 0.1)[0], "a line")
            for _ in range(5):
                validator.validate(json.loads(follow.stdout.readline()))
            follow.terminate()


class AStoppedAgent(unittest.TestCase):
    def test_is_given_up_after_the_time_that_was_said(self):
        with LiveAgent() as agent:
            os.kill(agent.process.pid, signal.SIGSTOP)
            try:
                for words in (("show", "groups"), ("trace", "follow"), ("get", *["x" * 100_000] * 4)):
                    begin = time.monotonic()
                    ended = run("--socket", agent.control, "--timeout", "0.5", *words)
                    self.assertEqual((1, ""), (ended.returncode, ended.stdout), words)
                    self.assertIn("has said nothing for 0.5 s: is its process stopped?",
                                  ended.stderr)
                    self.assertLess(time.monotonic() - begin, 10)
            finally:
                os.kill(agent.process.pid, signal.SIGCONT)
            self.assertEqual(4, len(agent.ctl("show", "tables")["tables"]))

    def test_is_given_up_as_well_when_its_queue_is_full(self):
        place = f"/tmp/orvia-ctl-test-{os.getpid()}.full"
        with socket.socket(socket.AF_UNIX) as server, socket.socket(socket.AF_UNIX) as first:
            server.bind(place)
            self.addCleanup(os.unlink, place)
            server.listen(0)
            first.connect(place)
            ended = run("--socket", place, "--timeout", "0.5", "verbs")
            self.assertEqual(1, ended.returncode)
            self.assertIn("has said nothing for 0.5 s", ended.stderr)

    def test_is_waited_for_by_who_follows(self):
        with LiveAgent() as agent:
            with subprocess.Popen([PROGRAM, "ctl", "--socket", agent.control, "--timeout", "0.3",
                                   "trace", "follow"], stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as follow:
                # Nothing is traced: it has nothing to say for many times as long.
                time.sleep(1.5)
                self.assertIsNone(follow.poll())
                follow.terminate()
                follow.communicate(timeout=PATIENCE)


class WithoutAnAgent(unittest.TestCase):
    def test_says_which_socket_and_what_to_do(self):
        ended = run("--socket", "/nowhere/at/all", "show", "groups")
        self.assertEqual(1, ended.returncode)
        self.assertEqual("orvia-l3-agent: cannot reach the agent at /nowhere/at/all: No such file "
                         "or directory; is `orvia-l3-agent serve` running, and with this --control "
                         "path?\n", ended.stderr)

    def test_says_so_when_the_agent_goes_before_it_has_said_all(self):
        place = f"/tmp/orvia-ctl-test-{os.getpid()}.sock"
        with socket.socket(socket.AF_UNIX) as server:
            server.bind(place)
            self.addCleanup(os.unlink, place)
            server.listen()
            with subprocess.Popen([PROGRAM, "ctl", "--socket", place, "show", "groups"],
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, text=True) as client:
                connection, _ = server.accept()
                connection.recv(4096)
                connection.sendall(b'{"table":{"name":"groups","columns":["group"]}}\n'
                                   b'{"row":[7]}\n{"row":')
                connection.close()
                out, err = client.communicate(timeout=PATIENCE)
                self.assertEqual(1, client.returncode)
                self.assertEqual("GROUP\n    7\n", out)
                self.assertIn("went away before it had said all", err)

    def test_says_so_when_somebody_else_answers(self):
        place = f"/tmp/orvia-ctl-test-{os.getpid()}.other"
        with socket.socket(socket.AF_UNIX) as server:
            server.bind(place)
            self.addCleanup(os.unlink, place)
            server.listen()
            with subprocess.Popen([PROGRAM, "ctl", "--socket", place, "show", "groups"],
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, text=True) as client:
                connection, _ = server.accept()
                connection.sendall(b"HTTP/1.1 400 Bad Request\r\n\r\n")
                out, err = client.communicate(timeout=PATIENCE)
                connection.close()
                self.assertEqual((1, ""), (client.returncode, out))
                self.assertIn("is not understood", err)


if __name__ == "__main__":
    unittest.main()
