"""Runs the tests against the faults, one fault at a time in each worker."""
import time
from concurrent.futures import ThreadPoolExecutor, as_completed

from .groups import make_groups, run_alone, run_group
from .journal import Journal

_FEW = 3  # few failures may be flaky tests: each has to fail once more
_MOST_TIME_OUTS = 3  # enough to detect a fault that makes everything hang


def run_faults(faults, tests, journal_file, stop_at_first, jobs, say):
    """The verdict of the tests on each fault (by number), as entries by identity. Resumes where an earlier call has stopped."""
    reaching = {number: [] for number in faults}
    for test in tests:
        for number in test.reached:
            if number in reaching:
                reaching[number].append(test)
    with Journal(journal_file) as journal:
        known = {entry["identity"]: entry for entry in journal.entries}
        left = {number: fault for number, fault in faults.items() if fault.identity not in known}
        with ThreadPoolExecutor(jobs) as pool:
            began = time.monotonic()
            running = [pool.submit(_run_fault, number, fault, reaching[number], stop_at_first)
                       for number, fault in left.items()]
            try:
                for done, one in enumerate(as_completed(running), 1):
                    entry = one.result()
                    journal.add(entry)
                    known[entry["identity"]] = entry
                    fault = faults[entry["number"]]
                    say(f"[{done}/{len(left)}, {time.monotonic() - began:.0f} s] {fault.file}:{fault.line} {fault.kind}: "
                        f"{describe(entry)} ({entry['seconds']} s)")
            except BaseException:
                pool.shutdown(wait=True, cancel_futures=True)
                raise
    return known


def describe(entry):
    if entry["state"] != "noticed":
        return entry["state"]
    first, others = entry["noticed_by"][0], len(entry["noticed_by"]) - 1
    return f"noticed by {first}" + (f" and {others} more" if others else "")


def _run_fault(number, fault, tests, stop_at_first):
    began = time.monotonic()
    environment = {"ORV_FAULT": str(number)}
    noticed, time_outs, unsteady = [], 0, []
    for group in make_groups(tests):
        most = 1 if stop_at_first else _MOST_TIME_OUTS - time_outs
        outcome = run_group(group, environment, stop_at_first, most)
        time_outs += outcome.time_outs
        if stop_at_first:
            noticed = _confirm(outcome.noticed[:1], environment, outcome.time_outs, unsteady)
            if noticed:
                break
        else:
            noticed += outcome.noticed
            if time_outs >= _MOST_TIME_OUTS:
                break
    if not stop_at_first and len(noticed) <= _FEW:
        noticed = _confirm(noticed, environment, time_outs, unsteady)
    entry = {"identity": fault.identity, "number": number, "seconds": round(time.monotonic() - began, 1),
             "state": "noticed" if noticed else "survived" if tests else "not reached",
             "reached_by": len(tests), "noticed_by": [test.name for test in noticed]}
    if time_outs:
        entry["time_outs"] = time_outs
    if not stop_at_first and time_outs >= _MOST_TIME_OUTS:
        entry["incomplete"] = True  # more tests may notice it
    if unsteady:
        entry["unsteady"] = unsteady
    return entry


def _confirm(tests, environment, time_outs, unsteady):
    """Those that fail again. One that took too long need not do so again: the limit leaves enough room."""
    if time_outs:
        return tests
    confirmed = []
    for test in tests:
        if run_alone(test, environment)[0]:
            confirmed.append(test)
        else:
            unsteady.append(test.name)
    return confirmed
