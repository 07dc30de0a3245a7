"""A file system that fails at the nth call while results are written: `storage_faults_test.py PROGRAM SOURCES VFS [EVERY]`.

After each fault the program says what failed (exit status 3) or has got through it; the database is sound, what was there
before is still there, and the next run is clean. EVERY 1 tries every n until a run gets through; CI a share of them."""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from stored_results import count_rows, get_figures

PROGRAM, SOURCES, VFS = Path(sys.argv[1]).resolve(), Path(sys.argv[2]), Path(sys.argv[3]).resolve()
EVERY = int(sys.argv[4]) if len(sys.argv) > 4 else 41
FAULTS = [("open", "io", "once"), ("open", "io", "on"), ("write", "full", "on"), ("write", "io", "once"),
          ("write", "short", "once"), ("sync", "io", "once"), ("truncate", "io", "once"), ("delete", "io", "once"),
          ("shm", "io", "once"), ("shm", "io", "on")]


class StorageFaults(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        text = (SOURCES / "examples/zapping-real-world-ipv4.yaml").read_text()
        self.file = self.folder / "test.yaml"
        self.file.write_text(text.replace("DeviceCount: 100", "DeviceCount: 3")
                             .replace("TestDuration: 60", "TestDuration: 10"))
        self.before = self.folder / "before.db"
        self.reference = self.run_test(self.before)
        self.assertEqual(0, self.reference["exit_status"])
        self.rows_before = count_rows(self.before)

    def run_test(self, database, fault=None):
        environment = dict(os.environ)
        if fault:
            # The sanitizers' library wants to be the first.
            preloaded = [library for library in (environment.get("ORV_SANITIZER"), str(VFS)) if library]
            environment |= {"LD_PRELOAD": ":".join(preloaded), "ORV_FAULT": fault,
                            "ORV_FAULT_COUNT": str(self.folder / "count")}
        done = subprocess.run([PROGRAM, "run", self.file, "--quiet", "--json", "--db", database], env=environment,
                              capture_output=True, text=True, timeout=120, check=False)
        outcome = json.loads(done.stdout)
        self.assertEqual(done.returncode, outcome["exit_status"])
        return outcome

    def check(self, call, error, how, n):
        """Returns whether the fault happened."""
        for leftover in self.folder.glob("results*"):
            leftover.unlink()
        database = self.folder / "results.db"
        shutil.copy(self.before, database)
        (self.folder / "count").unlink(missing_ok=True)
        outcome = self.run_test(database, f"{call}:{n}:{error}:{how}")
        if outcome["exit_status"] == 0:
            self.assertEqual(get_figures(self.reference), get_figures(outcome))
        else:
            self.assertEqual(3, outcome["exit_status"])
            self.assertIn("cannot be", " ".join(outcome["errors"]))
        rows = count_rows(database)
        self.assertEqual(self.rows_before, {key: rows.get(key) for key in self.rows_before})
        for recovered in self.folder.glob("results.recovered*.db"):
            count_rows(recovered)
        after = self.run_test(database)
        self.assertEqual((0, get_figures(self.reference)), (after["exit_status"], get_figures(after)))
        count_rows(database)
        return int((self.folder / "count").read_text()) >= n

    def test_every_call(self):
        tried = 0
        for call, error, how in FAULTS:
            n = 1
            while True:
                with self.subTest(fault=f"{call}:{n}:{error}:{how}"):
                    if not self.check(call, error, how, n):
                        break
                    tried += 1
                n += EVERY if n > 4 or EVERY == 1 else 1
        print(f"{tried} faults")
        self.assertGreater(tried, 30)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
