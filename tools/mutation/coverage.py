"""Runs every test once without a fault: which faults it reaches and how long it takes."""
import tempfile
from concurrent.futures import ThreadPoolExecutor

from . import processes
from .groups import make_groups, run_group
from .journal import Journal

_TIME_LIMIT = 600


def measure(tests, fault_count, journal_file, jobs, say):
    """Sets what tests reach and take; the tests that can be used. Resumes where an earlier call has stopped."""
    with Journal(journal_file) as journal:
        known = {entry["test"]: entry for entry in journal.entries if "test" in entry}
        with ThreadPoolExecutor(jobs) as pool:
            for entry in pool.map(lambda test: _measure_one(test, fault_count),
                                  [test for test in tests if test.name not in known]):
                journal.add(entry)
                known[entry["test"]] = entry
                if len(known) % 100 == 0:
                    say(f"{len(known)} of {len(tests)} tests have run without a fault")
        usable = []
        for test in tests:
            entry = known[test.name]
            if entry["state"] == "passed":
                test.seconds, test.reached = entry["seconds"], entry["reached"]
                usable.append(test)
            else:
                say(f"left out, it {entry['state']} without a fault: {test.name}")
        _find_unsociable(usable, journal, jobs, say)
    return usable


def _measure_one(test, fault_count):
    for _ in range(2):  # a test that fails only once is retried
        with tempfile.NamedTemporaryFile() as reached:
            reached.write(bytes(fault_count))
            reached.flush()
            outcome = processes.run(test.command, {**test.environment, "ORV_FAULTS_REACHED": reached.name}, _TIME_LIMIT)
            reached.seek(0)
            numbers = [number for number, byte in enumerate(reached.read()) if byte]
        if outcome.status == 0:
            break
    state = "passed" if outcome.status == 0 else "failed"
    if outcome.status == test.skip_status or (test.case and "[  SKIPPED ]" in outcome.output):
        state = "was skipped"
    return {"test": test.name, "state": state, "seconds": round(outcome.seconds, 3), "reached": numbers}


def _find_unsociable(tests, journal, jobs, say):
    """Marks the tests that fail without a fault when others run before them in their process."""
    known = next((entry for entry in journal.entries if "unsociable" in entry), None)
    if known is None:
        with ThreadPoolExecutor(jobs) as pool:
            failed = pool.map(lambda group: run_group(group, {}, False).noticed, make_groups(tests))
            known = {"unsociable": sorted(test.name for group in failed for test in group)}
        journal.add(known)
    names = set(known["unsociable"])
    for test in tests:
        test.alone = test.name in names
    if names:
        say(f"{len(names)} tests fail without a fault behind others of their program; they always run alone")
