"""What `ctl` says and refuses where a real kernel is behind the tables."""

import json
import pathlib
import subprocess
import sys

import jsonschema

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/agent"))

# pylint: disable=wrong-import-position
import kernel_plane as plane
from kernel_case import BINARY, HOPS, OverAKernel, equal, main
from kernel_plane import PLANE, until

# IPv6 that would have to go to an IPv4 gateway: the kernel knows no such route.
IMPOSSIBLE = "2001:db8:{:x}::/48"


class WhatTheKernelTook(OverAKernel):
    def setUp(self):
        super().setUp()
        self.agent = self.serve(say=HOPS + plane.group(200, 101, 102)
                                + plane.route("203.0.113.0/24", 200)
                                + plane.route("198.18.0.0/24", 103))
        self.leads("203.0.113.0/24", equal(1, 2))
        self.leads("198.18.0.0/24", "10.0.3.2")

    def document(self, *words):
        document = json.loads(self.agent.ctl("--json", *words))
        schema = json.loads((ROOT / f"docs/schemas/{'-'.join(words[:2])}.json").read_text())
        jsonschema.Draft7Validator(schema).validate(document)
        return document

    def kernel(self):
        return self.document("show", "kernel")["kernel"]

    def refuse(self, count):
        for number in range(count):
            self.agent.say(plane.route(IMPOSSIBLE.format(number), 102))
        until(lambda: self.kernel()["routesRefused"] == count, "refusals")

    def wrong(self, *words):
        """What it says against a request."""
        ended = subprocess.run([BINARY, "ctl", "--socket", f"{self.agent.folder}/control", *words],
                               capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual((2, ""), (ended.returncode, ended.stdout))
        return ended.stderr

    def test_is_shown(self):
        until(lambda: self.kernel()["routes"] == 2, "answers")
        shown = self.document("show", "kernel")
        self.assertEqual({"netns": PLANE, "nextHops": 3, "groups": 1, "routes": 2,
                          "routesWaiting": 0, "routesRefused": 0, "repeated": 0, "fromBefore": 0},
                         {name: value for name, value in shown["kernel"].items()
                          if name not in ("requests", "sends")})
        self.assertGreaterEqual(shown["kernel"]["requests"], 6)
        self.assertNotIn("refused", shown)

    def test_is_told_apart_from_what_it_refused(self):
        self.refuse(1)
        refused = self.document("show", "kernel")["refused"]
        self.assertEqual([("2001:db8::/48", 20)], [(one["prefix"], one["metric"]) for one in refused])
        self.assertTrue(refused[0]["reason"])
        # The tables lead it: only this verb knows.
        shown = self.document("show", "routes", "2001:db8::/48")["routes"]
        self.assertEqual(["forwarded"], [one["state"] for one in shown])

    def test_of_many_refusals_lists_the_first(self):
        self.refuse(23)
        shown = self.document("show", "kernel")
        self.assertEqual(20, len(shown["refused"]))
        self.assertEqual(["and 3 more"], shown["lines"])

    def test_has_no_answers_for_member_rows(self):
        members = self.document("show", "block", "0")["members"]
        self.assertEqual([None, None], [member["answer"] for member in members])
        self.assertTrue(all(member["nextHop"] for member in members))
        rows = json.loads(self.agent.ctl("--json", "who", "member", "0"))["who"]
        self.assertRegex(rows[0]["detail"], r"^next-hop row \d+$")
        self.assertEqual("block 0", rows[1]["entry"])
        # Of the other tables somebody does answer.
        rows = json.loads(self.agent.ctl("--json", "who", "0"))["who"]
        self.assertEqual(["next-hop row 0", "member row 0", "group row 0"],
                         [row["entry"] for row in rows if row["level"] == 0])
        self.assertRegex([row["detail"] for row in rows if row["level"] == 0][1],
                         r"^next-hop row \d+$")

    def test_does_nothing_wrong_that_it_was_told_to(self):
        self.assertIn("fault is of the simulated hardware",
                      self.wrong("fault", "ecmp", "refuse-every=1"))
        self.assertIn("fault is of the simulated hardware", self.wrong("fault", "ecmp", "off"))
        self.assertNotIn("fault", self.agent.text())


if __name__ == "__main__":
    main()
