"""Tests on agents while servers die, networks are cut, and messages come twice:
`schedules_test.py PROGRAM SOURCES [--schedules N] [--seed FIRST]`. After each, every event was binned once, or an error
says what is lost; and the next test on the same agents is a clean one."""
import argparse
import concurrent.futures
import json
import random
import signal
import sys
import tempfile
import time
from pathlib import Path

from nats import Agent, Line, Run, Server

arguments = argparse.ArgumentParser()
arguments.add_argument("program")
arguments.add_argument("sources", type=Path)
arguments.add_argument("--schedules", type=int, default=12)
arguments.add_argument("--seed", type=int, default=1)
arguments.add_argument("--at-once", type=int, default=4)
arguments = arguments.parse_args()

# A second of a test is a second, as with live ports; the events are the same in every run.
SECONDS = 4
TEXT = (arguments.sources / "examples/zapping-real-world-ipv4.yaml").read_text()
TEXT = TEXT.replace("TestDuration: 60", f"TestDuration: {SECONDS}")
TEXT = TEXT.replace("Interval: 1500", "Interval: 400\n    JoinLatencyThreshold: 200\n    LeaveLatencyThreshold: 400")
TEXT = TEXT.replace("JoinFailThreshold: 1", "JoinFailThreshold: 100")
# Longer than all faults of a schedule together.
LEASE = 10


def make_file(folder, location):
    path = Path(folder) / "test.yaml"
    path.write_text(TEXT.replace("//sim/viewers", location))
    return path


def is_same(one, other):
    """Whether figures are the same; time stamps, which start at another time each time, are counts of 10 ns."""
    if isinstance(one, dict):
        return one.keys() == other.keys() and all(is_same(one[key], other[key]) for key in one if key != "LastUpdateTime")
    if isinstance(one, list):
        return len(one) == len(other) and all(map(is_same, one, other))
    return abs(one - other) < 1e-3 if isinstance(one, float) else one == other


def get_figures(outcome):
    """Everything that was measured."""
    return [{key: test[key] for key in ("channel_changes", "failed_joins", "verdict", "distributions", "channel_ranges",
                                        "stb_blocks", "profiles")} for test in outcome["tests"]]


class Schedule:
    """Up to three faults at random times."""
    FAULTS = ("kill_server", "stop_server", "kill_agent", "stop_agent", "stop_controller", "cut_agent", "cut_controller",
              "hold_agent", "hold_controller")

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.twice = self.random.choice([0.0, 0.0, 0.3, 1.0])
        self.faults = sorted((self.random.uniform(0, SECONDS + 0.5), self.random.choice(self.FAULTS),
                              self.random.uniform(0.1, 2.5)) for _ in range(self.random.randint(1, 3)))

    def __str__(self):
        return ", ".join(f"{name} after {at:.2f} s for {length:.2f} s" for at, name, length in self.faults) + (
            f", {self.twice:.0%} of messages twice")

    def kills_agent(self):
        return any(name == "kill_agent" for _, name, _ in self.faults)


def stop_and_go(process, seconds):
    process.send_signal(signal.SIGSTOP)
    time.sleep(seconds)
    process.send_signal(signal.SIGCONT)


def carry_out(seed, reference):
    schedule = Schedule(seed)
    with tempfile.TemporaryDirectory() as folder:
        server = Server(folder)
        lines = [Line(server.port, schedule.twice, schedule.random) for _ in range(2)]
        agent = Agent(arguments.program, folder, "lounge", lines[0].url)
        file = make_file(folder, "agent://lounge/sim/1")

        def run():
            return Run(arguments.program, lines[1].url, file, "--clock", "real", "--lease", str(LEASE), "--db",
                       str(Path(folder) / "results.db"))

        outcome, has_begun = None, None
        test = run()
        begin = time.monotonic()
        for at, name, length in schedule.faults:
            time.sleep(max(begin + at - time.monotonic(), 0))
            if has_begun is None:  # a session is there before its database
                has_begun = (Path(folder) / "results.db").exists()
            if name == "kill_server":
                server.kill()
                time.sleep(length)
                server.start()
            elif name == "stop_server":
                stop_and_go(server.process, length)
            elif name == "kill_agent":
                agent.kill()
                time.sleep(length)
                agent.start()
            elif name == "stop_agent":
                stop_and_go(agent.process, length)
            elif name == "stop_controller":
                stop_and_go(test.process, length)
            else:
                line = lines[name.endswith("controller")]
                line.hold(length) if name.startswith("hold") else line.cut()
        try:
            outcome = test.wait(60)
            problem = find_problem(schedule, has_begun, outcome, reference)
            if not problem:
                # A controller that gave up may have left its agent waiting for it.
                time.sleep(LEASE + 1 if outcome["exit_status"] == 3 else 0)
                again = run().wait(60)
                if again["exit_status"] != 0 or not is_same(get_figures(again), reference):
                    problem = f"the next test is not a clean one: {again['errors']}"
        except Exception as error:  # shown with its schedule
            problem = repr(error)
        finally:
            test.process.kill()
            agent.process.kill()
            server.kill()
            for line in lines:
                line.stop()
        log = agent.log.read_text()
    return seed, f"{schedule}: {outcome and outcome['end']}", problem, log


def find_problem(schedule, has_begun, outcome, reference):
    if outcome["exit_status"] == 0:
        return None if is_same(get_figures(outcome), reference) else "figures differ, and nothing was said"
    if outcome["exit_status"] != 3 or not outcome["errors"]:
        return f"exit status {outcome['exit_status']}, errors {outcome['errors']}"
    # A fault while a session begins ends the test, as it does with any port; later only the end of an agent may.
    if not has_begun:
        return None
    if not schedule.kills_agent():
        return f"errors without a loss: {outcome['errors']}"
    if not any("started again" in error and "is lost" in error for error in outcome["errors"]):
        return f"what is lost is not named: {outcome['errors']}"
    return None


def main():
    with tempfile.TemporaryDirectory() as folder:
        outcome = Run(arguments.program, None, make_file(folder, "//sim/viewers"), "--clock", "real", "--db",
                      str(Path(folder) / "results.db")).wait()
        assert outcome["exit_status"] == 0, outcome
        reference = get_figures(outcome)
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(arguments.at_once) as pool:
        seeds = range(arguments.seed, arguments.seed + arguments.schedules)
        for seed, schedule, problem, log in pool.map(lambda seed: carry_out(seed, reference), seeds):
            print(f"{seed}: {schedule}", flush=True)
            if problem:
                failed += 1
                print(f"{problem}\n{log}", flush=True)
    print(f"{arguments.schedules} schedules, {failed} failed")
    return 1 if failed else 0


sys.exit(main())
