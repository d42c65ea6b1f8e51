"""The metrics page of a live agent, read by a client library of Prometheus."""

import collections
import concurrent.futures
import math
import re
import signal
import socket
import time
import unittest

from live_agent import ROOT, SAMPLES, LiveAgent

STREAM = "bgp-1k-distinct16.0.fpm"
# So many bytes, which are whole frames: much is announced, and nothing withdrawn yet.
FULL = 215948


class ThePage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.agent = LiveAgent("--fault", "ecmp:refuse-every=20", "--fault", "group:late-every=5")
        cls.addClassCleanup(cls.agent.__exit__, None, None, None)
        cls.agent.__enter__()
        cls.agent.send_sample(STREAM, FULL)
        cls.scrape = cls.agent.rest(FULL)

    def ours(self):
        return [family for family in self.scrape.families
                if not family.name.startswith("exposer_")]

    def test_has_help_and_type_before_the_samples_of_each_family_and_no_family_twice(self):
        seen = []
        for line in self.scrape.text.splitlines():
            if line.startswith("# HELP "):
                seen.append(line.split()[2])
                self.assertGreater(len(line.split()), 3, line)
            elif line.startswith("# TYPE "):
                self.assertEqual(seen[-1], line.split()[2])
            elif line:
                self.assertTrue(line.startswith(seen[-1]), line)
        self.assertEqual([], [name for name, count in collections.Counter(seen).items()
                              if count > 1])
        types = re.findall(r"^# TYPE (\S+)", self.scrape.text, re.MULTILINE)
        self.assertEqual(seen, types)

    def test_says_nothing_twice(self):
        self.assertEqual([], self.scrape.repeated)

    def test_follows_the_conventions_for_names(self):
        self.assertGreater(len(self.ours()), 30)
        for family in self.ours():
            self.assertRegex(family.name, r"^(orvia_l3|process)_[a-z0-9_]+$")
            names = {sample.name for sample in family.samples}
            if family.type == "counter":
                self.assertEqual({family.name.removesuffix("_total") + "_total"}, names)
            elif family.type == "histogram":
                self.assertTrue(family.name.endswith("_seconds"), family.name)
            else:
                self.assertEqual("gauge", family.type)
                self.assertEqual({family.name}, names)
                self.assertFalse(family.name.endswith("_total"), family.name)
            self.assertNotRegex(family.name, r"milli|micro|nano|percent|kilo")
            self.assertTrue(family.documentation.endswith("."), family.documentation)

    def test_holds_no_number_that_is_none(self):
        for family in self.ours():
            for sample in family.samples:
                self.assertTrue(math.isfinite(sample.value), sample)
                self.assertGreaterEqual(sample.value, 0, sample)

    def test_shows_exactly_what_the_documentation_lists(self):
        page = (ROOT / "docs/metrics.md").read_text()
        listed = re.findall(r"^\| `((?:orvia_l3|process)_\w+)", page, re.MULTILINE)
        shown = re.findall(r"^# TYPE ((?:orvia_l3|process)_\w+)", self.scrape.text, re.MULTILINE)
        self.assertEqual(sorted(shown), sorted(listed))

    def test_is_fresh(self):
        self.assertEqual(1, self.scrape.value("orvia_l3_metrics_fresh"))
        self.assertLess(self.scrape.value("orvia_l3_metrics_age_seconds"), 60)

    def test_counts_the_entries_that_the_control_socket_shows(self):
        for row in self.agent.ctl("show", "tables")["tables"]:
            shown = self.scrape.by_label("orvia_l3_entries", "state", table=row["table"])
            for state, count in shown.items():
                column = "notPlaced" if state == "not-placed" else state
                self.assertEqual(row[column], count, (row["table"], state))
            self.assertEqual(row["entries"], sum(shown.values()), row["table"])
        self.assertGreater(self.scrape.value("orvia_l3_entries", table="group",
                                             state="programmed"), 0)
        self.assertGreater(self.scrape.value("orvia_l3_entries", table="ecmp", state="refused"), 0)

    def test_counts_the_routes_that_the_control_socket_shows(self):
        routes = self.agent.ctl("show", "routes")["routes"]
        shown = self.scrape.by_label("orvia_l3_routes", "state")
        self.assertEqual(len(routes), sum(shown.values()))
        self.assertGreater(shown["forwarded"], 0)
        self.assertGreater(shown["not-in-force"], 0)
        by_state = collections.Counter(route["state"] for route in routes)
        self.assertEqual(dict(by_state), {state: count for state, count in shown.items() if count})

    def test_counts_the_hardware_calls_and_answers_that_the_control_socket_shows(self):
        for row in self.agent.ctl("show", "hardware")["hardware"]:
            table = row["table"]
            calls = self.scrape.by_label("orvia_l3_hardware_calls_total", "call", table=table)
            self.assertEqual(row["writes"], calls["write"])
            self.assertEqual(row["deletes"], calls["delete"])
            answers = self.scrape.by_label("orvia_l3_hardware_answers_total", "answer",
                                           table=table)
            for answer in ("accepted", "refused", "overtaken", "repeated"):
                self.assertEqual(row[answer], answers[answer], (table, answer))
            self.assertEqual(row["inForce"],
                             self.scrape.value("orvia_l3_hardware_rows_in_force", table=table))
            faults = self.scrape.by_label("orvia_l3_hardware_faults_total", "fault", table=table)
            self.assertEqual(row["late"], faults["late-answer"])
            self.assertEqual(row["lostWrites"], faults["lost-write"])
            self.assertEqual(row["lostAnswers"], faults["lost-answer"])
        self.assertGreater(self.scrape.value("orvia_l3_hardware_faults_total", table="group",
                                             fault="late-answer"), 0)

    def test_shows_the_allocators_as_the_control_socket_does(self):
        rows = self.agent.ctl("show", "allocators")["allocators"]
        self.assertEqual({"ingress", "ecmp", "member", "group"},
                         {row["table"] for row in rows})
        for row in rows:
            use = self.scrape.by_label("orvia_l3_allocator_rows", "use", table=row["table"])
            self.assertEqual({"in-use": row["inUse"], "free": row["free"]}, use)
            if row["table"] != "ingress":
                self.assertEqual(row["largestFreeRun"], self.scrape.value(
                    "orvia_l3_allocator_largest_free_run_rows", table=row["table"]))

    def test_shows_the_stream_as_the_control_socket_does(self):
        stream = self.agent.ctl("show", "stream")["stream"]
        for name, member in (("connections_total", "connections"), ("frames_total", "frames"),
                             ("messages_total", "messages"), ("received_bytes_total", "bytes"),
                             ("refused_connections_total", "refused"),
                             ("faults_total", "faults")):
            self.assertEqual(stream[member], self.scrape.value(f"orvia_l3_stream_{name}"), name)
        self.assertEqual(FULL, stream["bytes"])
        self.assertEqual(1, self.scrape.value("orvia_l3_stream_connected"))

    def test_ranks_as_many_root_causes_as_the_control_socket(self):
        causes = collections.Counter(row["cause"] for row in self.agent.ctl("why")["causes"])
        shown = self.scrape.by_label("orvia_l3_root_causes", "cause")
        self.assertEqual(dict(causes), {cause: count for cause, count in shown.items() if count})
        self.assertGreater(shown["refused"], 0)

    def test_histograms_are_cumulative_and_end_with_their_count(self):
        histograms = [family for family in self.ours() if family.type == "histogram"]
        self.assertEqual(4, len(histograms))
        for family in histograms:
            series = collections.defaultdict(list)
            for sample in family.samples:
                if sample.name.endswith("_bucket"):
                    labels = {name: value for name, value in sample.labels.items() if name != "le"}
                    series[frozenset(labels.items())].append(
                        (float(sample.labels["le"]), sample.value))
            self.assertTrue(series)
            for labels, buckets in series.items():
                self.assertEqual(sorted(buckets), buckets, family.name)
                self.assertEqual([count for _, count in buckets],
                                 sorted(count for _, count in buckets), family.name)
                self.assertEqual(math.inf, buckets[-1][0])
                self.assertEqual(self.scrape.samples[(family.name + "_count", labels)],
                                 buckets[-1][1])

    def test_every_message_converged(self):
        messages = self.scrape.value("orvia_l3_stream_messages_total")
        self.assertGreater(messages, 1000)
        self.assertEqual(messages, self.scrape.value("orvia_l3_convergence_seconds_count"))
        self.assertGreater(self.scrape.value("orvia_l3_convergence_seconds_sum"), 0)

    def test_times_the_answers_that_came(self):
        for table in ("ingress", "ecmp", "member", "group"):
            first = sum(self.scrape.value("orvia_l3_hardware_answers_total", table=table,
                                          answer=answer) for answer in ("accepted", "refused"))
            timed = self.scrape.value("orvia_l3_hardware_answer_seconds_count", table=table)
            self.assertLessEqual(timed, first, table)
            self.assertEqual(first > 0, timed > 0, table)

    def test_times_each_commit_once(self):
        made = self.scrape.value("orvia_l3_entries_made_total", table="ecmp")
        refused = self.scrape.value("orvia_l3_entries", table="ecmp", state="refused")
        timed = self.scrape.value("orvia_l3_handler_latency_seconds_count", table="ecmp")
        self.assertGreater(timed, 0)
        self.assertLessEqual(timed, made - refused)


class AScrape(unittest.TestCase):
    def test_of_many_at_once_gets_a_whole_page_while_the_stream_runs(self):
        with LiveAgent() as agent:
            size = (SAMPLES / "bgp16-10k.0.fpm").stat().st_size
            with concurrent.futures.ThreadPoolExecutor(4) as pool:
                sent = pool.submit(agent.send_sample, "bgp16-10k.0.fpm")
                scrapes = [scrape for _ in range(5)
                           for scrape in pool.map(lambda _: agent.scrape(), range(3))]
                sent.result()
            for scrape in scrapes:
                self.assertEqual(1, scrape.value("orvia_l3_metrics_fresh"))
                self.assertEqual([], scrape.repeated)
            before = 0
            for scrape in scrapes[::3]:
                messages = scrape.value("orvia_l3_stream_messages_total")
                self.assertGreaterEqual(messages, before)
                before = messages
            last = agent.rest(size)
            self.assertEqual(last.value("orvia_l3_stream_messages_total"),
                             last.value("orvia_l3_convergence_seconds_count"))

    def test_sees_what_waits_for_an_interface_that_never_comes(self):
        with LiveAgent("--interface-delay", "never") as agent:
            agent.send_sample("w1-static.0.fpm", 984)
            scrape = agent.rest(984)
            waiting = scrape.value("orvia_l3_interfaces", state="waiting")
            self.assertGreater(waiting, 0)
            self.assertEqual(waiting, scrape.value("orvia_l3_root_causes", cause="not-programmed"))
            self.assertGreater(scrape.value("orvia_l3_entries", table="ingress", state="parked"), 0)
            self.assertEqual(0, scrape.value("orvia_l3_handler_latency_seconds_count",
                                             table="ingress"))

    def test_sees_the_daemon_go(self):
        with LiveAgent() as agent:
            agent.send_sample("w1-static.0.fpm", 984)
            agent.rest(984)
            agent.stream.close()
            agent.stream = None
            agent.logged("dropped")
            self.assertEqual(0, agent.scrape().value("orvia_l3_stream_connected"))


class TheEnd(unittest.TestCase):
    def test_comes_at_once_whoever_is_connected(self):
        with LiveAgent() as agent:
            agent.scrape()
            port = int(agent.metrics_url.split(":")[2].split("/")[0])
            with socket.create_connection(("127.0.0.1", port)):
                time.sleep(0.2)
                begin = time.monotonic()
                agent.process.send_signal(signal.SIGTERM)
                self.assertEqual(0, agent.ended())
                self.assertLess(time.monotonic() - begin, 0.5)


class AnAddress(unittest.TestCase):
    def test_that_is_taken_is_named_and_ends_the_agent(self):
        with LiveAgent() as first:
            taken = re.search(r"127\.0\.0\.1:\d+", first.metrics_url).group()
            second = LiveAgent(metrics=taken)
            self.addCleanup(second.__exit__, None, None, None)
            self.assertEqual(1, second.ended())
            second.reader.join()
            self.assertIn(f"cannot serve metrics at {taken}: Address already in use",
                          "\n".join(second.log))


if __name__ == "__main__":
    unittest.main()
