"""A live agent for the tests beside this file: `serve` on free ports, with a control socket.

    with LiveAgent("--fault", "group:refuse-every=5") as agent:
        agent.send_sample("w1-static.0.fpm")
        agent.ctl("show", "groups")
        families = agent.scrape()

The first argument of each test is the program.
"""

import json
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request

from prometheus_client.parser import text_string_to_metric_families

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAM = pathlib.Path(sys.argv.pop(1)).resolve()
SAMPLES = ROOT / "examples/streams"
# Long enough for a build with sanitizers on a busy machine.
PATIENCE = 60


def wait_until(condition, what):
    """Returns what the condition returns, once that is true; fails if it never is."""
    end = time.monotonic() + PATIENCE
    while not (found := condition()):
        if time.monotonic() > end:
            raise AssertionError(f"waited in vain: {what}")
        time.sleep(0.01)
    return found


class LiveAgent:
    def __init__(self, *options, metrics="127.0.0.1:0"):
        self.folder = tempfile.TemporaryDirectory()
        self.control = f"{self.folder.name}/control"
        self.log = []
        self.stream = None
        self.process = subprocess.Popen(
            [PROGRAM, "serve", "--listen", "127.0.0.1:0", "--control", self.control,
             "--metrics", metrics, *options],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.reader = threading.Thread(target=self._read_log, daemon=True)
        self.reader.start()

    def _read_log(self):
        for line in self.process.stderr:
            self.log.append(line.rstrip("\n"))

    def logged(self, pattern):
        """The first match in the log, which is waited for."""
        def found():
            for line in list(self.log):
                if match := re.search(pattern, line):
                    return match
            if self.process.poll() is not None and not self.reader.is_alive():
                raise AssertionError(f"the agent ended: {self.log}")
            return None
        return wait_until(found, f"{pattern} in {self.log}")

    def __enter__(self):
        try:
            self.fpm_port = int(self.logged(r"listening for .* at 127\.0\.0\.1:(\d+)").group(1))
            self.metrics_url = self.logged(r"metrics at (http://\S+)").group(1)
        except BaseException:
            self.__exit__(None, None, None)
            raise
        return self

    def __exit__(self, *_):
        if self.stream:
            self.stream.close()
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(PATIENCE)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.reader.join()
        self.process.stdout.close()
        self.process.stderr.close()
        self.folder.cleanup()

    def ended(self):
        """The exit code of an agent that ends by itself."""
        return self.process.wait(PATIENCE)

    def send(self, data):
        if not self.stream:
            self.stream = socket.create_connection(("127.0.0.1", self.fpm_port))
        self.stream.sendall(data)

    def send_sample(self, name, size=None):
        self.send((SAMPLES / name).read_bytes()[:size])

    def ctl(self, *words):
        """The JSON document that answers the words."""
        ended = subprocess.run([PROGRAM, "ctl", "--socket", self.control, "--json", *words],
                               stdin=subprocess.DEVNULL, capture_output=True, text=True,
                               timeout=PATIENCE, check=False)
        if ended.returncode != 0:
            raise AssertionError(f"ctl {words}: {ended.returncode}: {ended.stderr}")
        return json.loads(ended.stdout)

    def page(self):
        with urllib.request.urlopen(self.metrics_url, timeout=PATIENCE) as answer:
            return answer.read().decode()

    def scrape(self):
        return Scrape(self.page())

    def rest(self, received):
        """A scrape after so many bytes are received and nothing is left to do."""
        def at_rest():
            scrape = self.scrape()
            is_read = (scrape.value("orvia_l3_stream_received_bytes_total") == received
                       and scrape.value("orvia_l3_stream_queued_bytes") == 0)
            is_calm = (scrape.value("orvia_l3_converging_messages") == 0
                       and scrape.value("orvia_l3_hardware_answers_waiting") == 0)
            return is_read and is_calm
        wait_until(at_rest, "a state of rest")
        # The one that found it so had counted some things before it was.
        return self.scrape()


class Scrape:
    """One page, as a client of Prometheus reads it."""

    def __init__(self, text):
        self.text = text
        self.families = list(text_string_to_metric_families(text))
        self.samples = {}
        self.repeated = []
        for family in self.families:
            for sample in family.samples:
                key = (sample.name, frozenset(sample.labels.items()))
                if key in self.samples:
                    self.repeated.append(key)
                self.samples[key] = sample.value

    def value(self, name, **labels):
        return self.samples[(name, frozenset(labels.items()))]

    def by_label(self, name, label, **labels):
        """The values of the samples with these labels and one more, by that label's value."""
        return {dict(key)[label]: value for (sample, key), value in self.samples.items()
                if sample == name and dict(key).items() - labels.items() == {(label, dict(key).get(label))}
                and dict(key).items() >= labels.items()}
