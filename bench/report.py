#!/usr/bin/env python3
"""Runs benchmark programs and prints the figures of figures.yaml, one line each."""
import argparse
import json
import pathlib
import re
import subprocess
import sys

import yaml

REPETITIONS = 5


def measure(program):
    """Medians of a program's benchmarks: {benchmark: {"seconds per item": s, counter: value}}."""
    command = [str(program), "--benchmark_format=json", f"--benchmark_repetitions={REPETITIONS}",
               "--benchmark_enable_random_interleaving=true", "--benchmark_report_aggregates_only=true", "--benchmark_min_time=0.1"]
    output = json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout)
    medians = {}
    for run in output["benchmarks"]:
        # What runs only once has no median.
        if run.get("aggregate_name", "median" if run["repetitions"] == 1 else "") != "median":
            continue
        if run.get("error_occurred"):
            print(f"{program.name}: {run['error_message']}", file=sys.stderr)
            continue
        name = re.sub(r"/(iterations:\d+|repeats:\d+|manual_time|real_time)", "", run["run_name"])
        per_item = 1 / run["items_per_second"] if run.get("items_per_second") else run["real_time"]
        medians[name] = {**run, "per item": per_item}
    return medians


def evaluate(figure, medians):
    if "counter" in figure:
        benchmark, counter = figure["counter"]
        return medians[benchmark][counter]
    if "time" in figure:
        return medians[figure["time"]]["real_time"]
    pairs = figure.get("worst_ratio") or [figure["ratio"]]
    return max(medians[over]["per item"] / medians[under]["per item"] for over, under in pairs)


def verdict(figure, value):
    if "max" in figure:
        return f"at most {figure['max']:g}", "holds" if value <= figure["max"] else "falls short"
    if "min" in figure:
        return f"at least {figure['min']:g}", "holds" if value >= figure["min"] else "falls short"
    return "none", "printed only"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--programs", type=pathlib.Path, required=True, help="folder of the benchmark programs")
    parser.add_argument("names", nargs="*", help="figures to print (all without a name)")
    arguments = parser.parse_args()
    figures = yaml.safe_load((pathlib.Path(__file__).parent / "figures.yaml").read_text())
    unknown = set(arguments.names) - {figure["name"] for figure in figures}
    if unknown:
        parser.error(f"no figure {', '.join(sorted(unknown))}; there are: {', '.join(f['name'] for f in figures)}")
    wanted = [figure for figure in figures if not arguments.names or figure["name"] in arguments.names]
    measured = {}
    short = False
    print(f"{'figure':28} {'value':>14} {'unit':14} {'target':16} verdict")
    for figure in wanted:
        program = figure["program"]
        if program not in measured:
            measured[program] = measure(arguments.programs / program)
        if not measured[program]:
            continue  # it has said why
        value = evaluate(figure, measured[program])
        target, word = verdict(figure, value)
        short |= word == "falls short"
        print(f"{figure['name']:28} {value:14.4g} {figure['unit']:14} {target:16} {word}", flush=True)
    sys.exit(1 if short else 0)


if __name__ == "__main__":
    main()
