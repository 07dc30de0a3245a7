"""Runs several cases of one GoogleTest program in one process; each has an outcome of its own, whatever the others do."""
import re
from dataclasses import dataclass, field

from . import processes
from .test_cases import command_of_group

_LONGEST_OF_GROUP = 0.5  # seconds; a case that takes longer runs alone, its start-up costs little
_GROUP = 3.0  # seconds; a time-out costs ten times as much
_CASES = 60

_LINE = re.compile(r"\[( RUN      |       OK |  FAILED  |  SKIPPED )\] ([^\s,]+)")


@dataclass
class GroupOutcome:
    noticed: list = field(default_factory=list)
    time_outs: int = 0


def make_groups(tests):
    """Groups of cases that may share a process, the quickest first."""
    groups, open_group = [], {}
    for test in sorted(tests, key=lambda one: one.seconds):
        if not test.case or test.alone or test.seconds > _LONGEST_OF_GROUP:
            groups.append([test])
            continue
        group = open_group.get(test.program)
        if not group or len(group) >= _CASES or sum(one.seconds for one in group) + test.seconds > _GROUP:
            group = open_group[test.program] = []
            groups.append(group)
        group.append(test)
    return sorted(groups, key=lambda group: sum(test.seconds for test in group))


def time_limit(tests):
    return 10 * sum(test.seconds for test in tests) + 5


def run_alone(test, environment):
    """Whether the test detects the fault, and whether by a time-out."""
    outcome = processes.run(test.command, {**test.environment, **environment}, time_limit([test]))
    return outcome.status != 0, outcome.status is None


def run_group(tests, environment, stop_at_first, most_time_outs=1000):
    """The tests of a group that fail. A crash or time-out ends the process; those that had not run yet get another one."""
    result, pending = GroupOutcome(), list(tests)
    while pending and result.time_outs < most_time_outs and not (stop_at_first and result.noticed):
        if len(pending) == 1:
            failed, timed_out = run_alone(pending[0], environment)
            result.noticed += pending if failed else []
            result.time_outs += timed_out
            break
        command = command_of_group(pending) + (["--gtest_fail_fast"] if stop_at_first else [])
        outcome = processes.run(command, {**tests[0].environment, **environment}, time_limit(pending))
        begun, passed, failed = _read(outcome.output)
        result.time_outs += outcome.status is None
        noticed = [test for test in pending if test.case in failed or test.case in begun - passed]
        finished = [test for test in pending if test.case in passed]
        result.noticed += noticed
        if outcome.status == 0 and len(finished) == len(pending):
            break
        left = [test for test in pending if test not in noticed and test not in finished]
        if len(left) < len(pending) and (noticed or outcome.status == 0):
            pending = left
            continue
        # It failed before the first case or behind the last one: each by itself.
        for test in pending:
            failed_alone, timed_out = run_alone(test, environment)
            result.noticed += [test] if failed_alone else []
            result.time_outs += timed_out
            if result.time_outs >= most_time_outs or (stop_at_first and result.noticed):
                break
        break
    return result


def _read(output):
    """The cases that an output says have begun, passed (or were skipped), and failed."""
    by_state = {" RUN      ": set(), "       OK ": set(), "  FAILED  ": set(), "  SKIPPED ": set()}
    for state, case in _LINE.findall(output):
        by_state[state].add(case)
    return by_state[" RUN      "], by_state["       OK "] | by_state["  SKIPPED "], by_state["  FAILED  "]
