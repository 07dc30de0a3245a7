"""The command line: from options to faults, build, tests and result."""
import argparse
import hashlib
import json
import os
import re
import subprocess
import sys
import time
from pathlib import Path

from . import build, choice, coverage, execution, processes, report, results, sources, test_cases

_PROJECT = Path(__file__).resolve().parents[2]


def main(arguments=None):
    options = _parse(arguments)
    if options.report:
        return report.print_report(results.load(options.report))
    try:
        _measure(options)
    except KeyboardInterrupt:
        sys.exit("interrupted; the same command goes on from here")
    except (build.BuildFailure, RuntimeError, OSError, ValueError, subprocess.CalledProcessError) as error:
        sys.exit(f"mutate: {error}")


def _parse(arguments):
    parser = argparse.ArgumentParser(prog="mutate.py", description="Injects faults into the program and looks which of them "
                                     "the tests notice. See tools/mutation/README.md.")
    what = parser.add_mutually_exclusive_group(required=True)
    what.add_argument("--score", action="store_true", help="stop at the first test that notices a fault")
    what.add_argument("--matrix", action="store_true", help="find out every test that notices a fault")
    what.add_argument("--report", metavar="RESULT", help="print an earlier result")
    parser.add_argument("--faults", type=_positive, default=300, metavar="N", help="how many faults (default 300)")
    parser.add_argument("--seed", type=int, default=1, metavar="N", help="which ones (default 1)")
    parser.add_argument("--same-faults", metavar="RESULT", help="the faults of an earlier result, and what has changed")
    parser.add_argument("--without", type=_expression, default=r"^lab\.", metavar="REGEX",
                        help=r"tests to leave out (default '^lab\.')")
    parser.add_argument("-j", "--jobs", type=_positive, default=os.cpu_count() or 1, metavar="N",
                        help="processes at a time (default: one per core)")
    return parser.parse_args(arguments)


def _positive(text):
    if not text.isdecimal() or int(text) == 0:
        raise argparse.ArgumentTypeError(f"{text!r} is not a positive number")
    return int(text)


def _expression(text):
    try:
        re.compile(text)
    except re.error as error:
        raise argparse.ArgumentTypeError(f"{text!r} is not a regular expression: {error}")
    return text


def _say(text):
    print(text, flush=True)


def _measure(options):
    folder = _PROJECT / "build" / "mutation"
    copy = folder / "tree"
    build_folder = copy / "build" / "mutation"
    earlier = results.load(options.same_faults) if options.same_faults else None

    chosen, gone = _choose(options, earlier)
    if not chosen:
        raise ValueError("no source has such a fault")
    run_folder = folder / "runs" / _name_of_run(options, chosen)
    run_folder.mkdir(parents=True, exist_ok=True)
    numbered = dict(enumerate(chosen))
    compiling = _without_known_broken(numbered, run_folder / "broken.json")
    _say(f"{len(chosen)} faults; building them")
    with _Stopwatch("the build"):
        compiling = build.build_without_broken_faults(_PROJECT, copy, build_folder, compiling, options.jobs, _say)
    broken = [fault for number, fault in numbered.items() if number not in compiling]
    (run_folder / "broken.json").write_text(json.dumps([fault.identity for fault in broken]))
    _say(f"{len(broken)} of {len(chosen)} faults do not compile")

    processes.limit_resources()
    tests = test_cases.list_tests(copy, build_folder, options.without)
    with _Stopwatch("the run without a fault"):
        tests = coverage.measure(tests, len(numbered), run_folder / "coverage.jsonl", options.jobs, _say)
    mode = "score" if options.score else "matrix"
    with _Stopwatch("the faults"):
        entries = execution.run_faults(compiling, tests, run_folder / f"{mode}.jsonl", options.score, options.jobs, _say)
    result = results.make_result(mode, compiling, entries, tests, broken, gone)
    path = run_folder / f"{mode}.json"
    results.save(result, path)
    report.print_report(result)
    if earlier:
        report.print_comparison(results.compare(earlier, result))
    _say(f"\nThe result is in {path.relative_to(_PROJECT)}")


def _choose(options, earlier):
    all_faults = choice.find_all(_PROJECT)
    if earlier:
        return choice.choose_same(all_faults, earlier)
    return choice.choose_at_random(_PROJECT, all_faults, options.faults, options.seed), []


def _without_known_broken(numbered, file):
    known = set(json.loads(file.read_text())) if file.exists() else set()
    return {number: fault for number, fault in numbered.items() if fault.identity not in known}


def _name_of_run(options, chosen):
    """The same for the same sources, faults and tests: such a run is resumed, any other one starts anew."""
    what = [[(fault.file, fault.identity) for fault in chosen], options.without, sources.fingerprint(_PROJECT)]
    digest = hashlib.sha256(json.dumps(what).encode())
    kind = "same" if options.same_faults else f"{options.faults}-{options.seed}"
    return f"{kind}-{digest.hexdigest()[:10]}"


class _Stopwatch:
    def __init__(self, what):
        self._what = what

    def __enter__(self):
        self._began = time.monotonic()

    def __exit__(self, kind, *_):
        if kind is None:
            _say(f"{self._what} took {(time.monotonic() - self._began) / 60:.1f} min")
