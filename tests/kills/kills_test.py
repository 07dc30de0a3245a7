"""SIGKILL at random moments of runs with event rows: `kills_test.py PROGRAM SOURCES [KILLS [SEED]]`.

One run, or several into one database, some on the real clock, some with a recording. After each kill the database is sound
and has every row that was in it before, data sets of other runs included; it can be shown; a run that was not killed has its
usual results; and so has the next one, which leaves nothing but its database behind."""
import contextlib
import json
import random
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import time
from pathlib import Path

PROGRAM, SOURCES = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
KILLS = int(sys.argv[3]) if len(sys.argv) > 3 else 25
SEED = int(sys.argv[4]) if len(sys.argv) > 4 else 1
sys.path.append(str(SOURCES / "tests/storage"))
from stored_results import count_rows, get_figures  # noqa: E402


def expect(true, *what):
    if not true:
        raise AssertionError(what)


class Kills:
    def __init__(self, folder):
        self.folder = folder
        text = (SOURCES / "examples/zapping-real-world-ipv4.yaml").read_text().replace("DeviceCount: 100", "DeviceCount: 4")
        text = text.replace("StbChannel: [Everything]", "StbChannel: [Everything]\n        SaveTimeStamps: true")
        for name, seconds in (("short", 5), ("long", 1500)):
            (folder / f"{name}.yaml").write_text(text.replace("TestDuration: 60", f"TestDuration: {seconds}"))
        self.before = folder / "before.db"
        self.reference = self.finish(self.start("short", self.before))
        self.rows_before = count_rows(self.before)
        began = time.monotonic()
        self.long_reference = self.finish(self.start("long", folder / "long.db"))
        self.seconds = time.monotonic() - began
        self.in_time = 0  # runs that were killed before their end

    def start(self, name, database, *options):
        return subprocess.Popen([PROGRAM, "run", self.folder / f"{name}.yaml", "--quiet", "--json", "--db", database, *options],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def finish(self, process):
        out, err = process.communicate(timeout=120)
        expect(process.returncode in (0, 1), process.returncode, err)
        return get_figures(json.loads(out))

    def kill_once(self, dice):
        for leftover in self.folder.glob("results*"):
            leftover.unlink()
        database, recording = self.folder / "results.db", self.folder / "results.jsonl"
        shutil.copy(self.before, database)
        options = [["--clock", "real"] if dice.random() < 0.1 else [] for _ in range(dice.choice([1, 1, 2, 3]))]
        is_recorded = dice.random() < 0.5
        if is_recorded:
            options[0] += ["--record", recording]
        runs = [self.start("long", database, *each) for each in options]
        killed = [runs[0]] + [run for run, option in zip(runs[1:], options[1:]) if option or dice.random() < 0.5]
        time.sleep(dice.uniform(0, 1.0 * len(runs) * self.seconds))
        rows = self.count_event_rows(database)
        self.in_time += sum(run.poll() is None for run in killed)
        for run in killed:
            run.kill()
        for run in killed:
            run.communicate()
        for run in runs:
            if run not in killed:
                expect(self.finish(run) == self.long_reference, "another run suffers")
        expect(self.count_event_rows(database) >= rows, "rows are lost")
        now = count_rows(database)
        expect({key: now.get(key) for key in self.rows_before} == self.rows_before, "earlier data sets have changed")
        shown = subprocess.run([PROGRAM, "results", database], capture_output=True, text=True, timeout=60, check=False)
        expect(shown.returncode == 0, shown.stderr)
        if is_recorded and recording.exists():
            replayed = subprocess.run([PROGRAM, "run", self.folder / "long.yaml", "--quiet", "--replay", recording,
                                       "--replay-incomplete", "--db", self.folder / "results-replayed.db"],
                                      capture_output=True, text=True, timeout=120, check=False)
            expect(replayed.returncode in (0, 1) or (replayed.returncode == 2 and replayed.stderr), replayed)
        expect(self.finish(self.start("short", database)) == self.reference, "the next run is not a clean one")
        count_rows(database)
        left = {path.name for path in self.folder.glob("results*")} - {"results.jsonl", "results-replayed.db"}
        expect(left == {"results.db"}, left)

    @staticmethod
    def count_event_rows(database):
        """What another process sees."""
        with contextlib.closing(sqlite3.connect(f"file:{database}?mode=ro", uri=True, timeout=20)) as reader:
            return reader.execute("SELECT COUNT(*) FROM IptvEventResults").fetchone()[0]


def main():
    failed = 0
    with tempfile.TemporaryDirectory() as folder:
        kills = Kills(Path(folder))
        for seed in range(SEED, SEED + KILLS):
            try:
                kills.kill_once(random.Random(seed))
            except (AssertionError, sqlite3.Error, subprocess.TimeoutExpired) as error:
                failed += 1
                print(f"Seed {seed}: {error!r}\n  again: tests/kills/kills_test.py PROGRAM SOURCES 1 {seed}", flush=True)
        expect(KILLS < 10 or kills.in_time >= KILLS / 2, "most runs end before they are killed")
    print(f"{KILLS} kills from seed {SEED} ({kills.in_time} runs before their end), {failed} failed")
    sys.exit(failed > 0)


if __name__ == "__main__":
    main()
