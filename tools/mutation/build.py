"""Builds the copy with its faults; those that do not compile are taken out."""
import os
import re
import subprocess

from .sources import HEADER, write_copy

_PLACE = re.compile(r"^(?:In file included from |\s+from )?([^\s:][^:\n]*):(\d+)(?::\d+)?[:,](.*)$", re.MULTILINE)


class BuildFailure(Exception):
    pass


def configure(copy, build):
    # -w: an instrumented expression may look odd; a warning, which is an error here, says nothing about it.
    flags = f"-w -include {copy / HEADER}"
    run = subprocess.run(["cmake", "--preset", "dev", "-B", str(build), f"-DCMAKE_CXX_FLAGS={flags}"], cwd=copy,
                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if run.returncode != 0:
        raise BuildFailure(f"the copy cannot be configured:\n{run.stdout}")


def build_without_broken_faults(project, copy, build, faults, jobs, say):
    """Builds; the faults (by number) that compile."""
    left = dict(faults)
    while True:
        write_copy(project, copy, left)
        configure(copy, build)
        run = subprocess.run(["cmake", "--build", str(build), "-j", str(jobs), "--", "-k", "0"], cwd=copy,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace")
        if run.returncode == 0:
            return left
        broken = find_broken(run.stdout, copy, build, left)
        if not broken:
            raise BuildFailure(f"the copy does not build, and not because of a fault:\n{run.stdout[-5000:]}")
        for number in sorted(broken):
            fault = left.pop(number)
            say(f"does not compile, left out: {fault.file}:{fault.line}: {fault.original} -> {fault.mutated or 'deleted'}")


def find_broken(output, copy, build, faults):
    """The numbers of the faults that an output of the build blames. Each failed command has a part of the output: faults on
    the lines of its errors, or else of its notes, or else all faults of the files that it names."""
    broken = set()
    for part in re.split(r"^FAILED: ", output, flags=re.MULTILINE)[1:]:
        places = []
        for name, line, rest in _PLACE.findall(part):
            path = os.path.relpath(os.path.normpath(os.path.join(build, name)), copy)
            places.append((path, int(line), " error: " in rest or " fatal error: " in rest))
        found = set()
        for only_errors in (True, False):
            found = found or {number for number, fault in faults.items() for path, line, is_error in places
                              if (is_error or not only_errors) and path == fault.file
                              and fault.line <= line <= fault.last_line}
        named = {path for path, _, _ in places}
        broken |= found or {number for number, fault in faults.items() if fault.file in named}
    return broken
