"""The test cases of a build: how each is run, and where its source stands."""
import json
import os
import re
import subprocess
import tempfile
from dataclasses import dataclass, field
from pathlib import Path

from .cpp_tokens import CppText
from .sources import read

_FILTER = "--gtest_filter="


@dataclass
class TestCase:
    name: str
    command: list
    environment: dict
    skip_status: int | None
    case: str = ""  # the name within a GoogleTest program; empty: another kind of test
    file: str = ""
    line: int = 0
    lines: int = 0
    # What the run without a fault has shown:
    seconds: float = 0.0
    reached: list = field(default_factory=list)
    alone: bool = False  # fails together with others in one process

    @property
    def program(self):
        return self.command[0]


def command_of_group(tests):
    """One command for several cases of a program."""
    cases = ":".join(test.case for test in tests)
    return [_FILTER + cases if part.startswith(_FILTER) else part for part in tests[0].command]


def list_tests(copy, build, without):
    """Every test of the build whose name does not match `without`."""
    shown = subprocess.run(["ctest", "--show-only=json-v1"], cwd=build, capture_output=True, check=True).stdout
    tests = []
    for entry in json.loads(shown)["tests"]:
        if re.search(without, entry["name"]):
            continue
        if "command" not in entry:
            raise RuntimeError(f"test {entry['name']} has no program: the build is not complete")
        properties = {one["name"]: one["value"] for one in entry.get("properties", [])}
        environment = dict(one.split("=", 1) for one in properties.get("ENVIRONMENT", []))
        cases = [part[len(_FILTER):] for part in entry["command"] if part.startswith(_FILTER)]
        tests.append(TestCase(entry["name"], entry["command"], environment, properties.get("SKIP_RETURN_CODE"),
                              case=cases[0] if cases else ""))
    _find_sources(tests, copy)
    return tests


def _find_sources(tests, copy):
    places, ends = {}, {}
    for program in sorted({test.program for test in tests if test.case}):
        places[program] = _cases_of(program)
    for test in tests:
        if test.case:
            named, test.line = places[test.program][test.case]
            path = copy / named  # compiled-in names are the project's
            test.file = os.path.relpath(path, copy)
            if path not in ends:
                ends[path] = _last_lines(read(path))
            test.lines = ends[path].get(test.line, test.line) - test.line + 1
        else:
            scripts = [part for part in test.command if part.startswith(str(copy / "tests")) and Path(part).is_file()]
            test.file = os.path.relpath(scripts[0], copy) if scripts else test.name
            test.lines = len(read(scripts[0]).splitlines()) if scripts else 0


def _cases_of(program):
    """Names of the cases of a GoogleTest program and where they stand."""
    with tempfile.TemporaryDirectory() as folder:
        report = os.path.join(folder, "cases.json")
        subprocess.run([program, "--gtest_list_tests", f"--gtest_output=json:{report}"], cwd=folder, capture_output=True,
                       check=True)
        with open(report, encoding="utf-8") as file:
            suites = json.load(file)["testsuites"]
    return {f"{suite['name']}.{case['name']}": (case["file"], case["line"])
            for suite in suites for case in suite["testsuite"]}


def _last_lines(source):
    """First line -> last line of every test case of a file."""
    text, found = CppText(source), {}
    for i, token in enumerate(text.tokens):
        if token.kind == "word" and re.fullmatch(r"(TYPED_)?TEST(_[FP])?|TYPED_TEST_P|RC_GTEST_\w+", token.text) \
                and text.is_at(i + 1, "("):
            body = text.skip(i + 1)
            while body < len(text.tokens) and text.is_at(body, "("):  # RC_GTEST_PROP(...)(arguments)
                body = text.skip(body)
            if text.is_at(body, "{"):
                found[token.line] = text.tokens[text.partner[body]].line
    return found
