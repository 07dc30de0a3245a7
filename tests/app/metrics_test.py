"""Metrics of running tests, read by the parser of Debian's python3-prometheus-client: `metrics_test.py PROGRAM SOURCES`."""
import http.client
import json
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.request
from pathlib import Path

from prometheus_client.parser import text_string_to_metric_families

PROGRAM, SOURCES = sys.argv[1], Path(sys.argv[2])
EXAMPLE = (SOURCES / "examples/zapping-ipv4.yaml").read_text().replace("TestDuration: 60", "TestDuration: 3")
NAME = re.compile(r"iptvtest_\w+")


def find_port():
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]


class MetricsTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.database = Path(self.folder.name) / "results.db"

    def start(self, text, address):
        run = subprocess.Popen([PROGRAM, "run", "-", "--quiet", "--json", "--clock", "real", "--metrics", address, "--db",
                                self.database], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.addCleanup(run.stdout.close)
        self.addCleanup(run.kill)
        run.stdin.write(text)
        run.stdin.close()
        run.stdin = None
        return run

    def scrape(self, run, port):
        """The metrics of each page, {(name, labels): value}, as long as the program runs."""
        while run.poll() is None:
            time.sleep(0.2)
            try:
                page = urllib.request.urlopen(f"http://127.0.0.1:{port}/metrics")
                text = page.read().decode()
            except (urllib.error.URLError, ConnectionError, http.client.HTTPException):
                continue
            self.assertTrue(page.headers["Content-Type"].startswith("text/plain"))
            families = [family for family in text_string_to_metric_families(text)
                        if family.name.startswith("iptvtest_")]
            for family in families:
                self.assertIn(family.type, ("counter", "gauge", "histogram"))
                self.assertTrue(family.documentation)
            samples = [sample for family in families for sample in family.samples]
            values = {(sample.name, frozenset(sample.labels.items())): sample.value for sample in samples}
            self.assertEqual(len(values), len(samples), "a metric is there twice")
            yield values, {family.name + ("_total" if family.type == "counter" else "") for family in families}

    def check_histograms(self, values):
        buckets = {}
        for (name, labels), value in values.items():
            if name.endswith("_bucket"):
                bound = float(dict(labels)["le"])
                buckets.setdefault(frozenset(label for label in labels if label[0] != "le"), []).append((bound, value))
        for labels, series in buckets.items():
            series.sort()
            self.assertEqual([count for _, count in series], sorted(count for _, count in series))
            self.assertEqual(series[-1], (float("inf"), values["iptvtest_latency_seconds_count", labels]))

    def test_two_tests_in_sequence(self):
        names = ['a "quoted" \\name\nof two lines', "second"]
        begin, end = EXAMPLE.index("  - IptvStartTestCommand"), EXAMPLE.index("  - GeneratorStopCommand")
        steps = EXAMPLE[begin:end]
        both = "".join(steps.replace("Start\n", f"Start {i}\n").replace("zapping", json.dumps(name))
                       for i, name in enumerate(names))
        port = find_port()
        run = self.start(EXAMPLE[:begin] + both + EXAMPLE[end:], str(port))
        last, seen, running = {}, set(), set()
        for values, families in self.scrape(run, port):
            with self.assertRaises(ConnectionRefusedError):
                socket.create_connection(("127.0.0.2", port))
            self.check_histograms(values)
            for key, value in values.items():
                if key[0].endswith(("_total", "_count", "_sum", "_bucket")):
                    self.assertGreaterEqual(value, last.get(key, 0), key)
                if key[0] == "iptvtest_test_running":
                    running.add((dict(key[1])["test"], value))
            last.update(values)
            seen |= families
        result = json.load(run.stdout)
        self.assertEqual((run.returncode, result["end"]), (0, "passed"))
        views = {dict(labels)["test"]: value for (name, labels), value in last.items()
                 if name == "iptvtest_channel_changes_total"}
        total = result["tests"][0]["channel_changes"]
        # The end of the first test is on the page until the second one begins.
        self.assertEqual(views[names[0]], total)
        self.assertTrue(0 < views[names[1]] <= result["tests"][1]["channel_changes"])
        self.assertLessEqual({(names[0], 1), (names[0], 0), (names[1], 1)}, running)
        joins = frozenset({"test": names[0], "latency": "join latency"}.items())
        self.assertEqual(last["iptvtest_latency_seconds_count", joins], total)
        self.assertAlmostEqual(last["iptvtest_latency_seconds_sum", joins], total * 0.037)

        self.assertEqual(set(NAME.findall((SOURCES / "docs/metrics.md").read_text())), seen)
        dashboard = (SOURCES / "examples/metrics/grafana-dashboard.json").read_text()
        json.loads(dashboard)
        self.assertLessEqual({re.sub("_(bucket|count)$", "", name) for name in NAME.findall(dashboard)}, seen)

    def test_an_iteration_of_a_sweep_that_is_interrupted(self):
        port = find_port()
        run = self.start(EXAMPLE + "\nsweep:\n  Homes/DeviceCount: [100, 200]\n", f"127.0.0.1:{port}")
        for values, _ in self.scrape(run, port):
            if values and run.send_signal(signal.SIGINT) is None:
                break
        self.assertEqual({dict(labels)["iteration"] for _, labels in values}, {"1"})
        self.assertEqual(json.load(run.stdout)["end"], "interrupted")
        self.assertEqual(run.wait(), 130)

    def test_addresses_that_are_refused(self):
        with socket.create_server(("127.0.0.1", 0)) as used:
            for address in (str(used.getsockname()[1]), "0", "65536", "+9465", "9465s", "127.0.0.1:", ":9465", "300.1.1.1:9465",
                            "127.0.0.1:9465,9466", "localhost:9465"):
                run = self.start(EXAMPLE, address)
                result = json.load(run.stdout)
                self.assertEqual((run.wait(), result["end"]), (2, "bad input"), address)
                self.assertIn("--metrics", json.dumps(result["mistakes"]))
        self.assertFalse(self.database.exists())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
