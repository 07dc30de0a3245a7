"""Runs test programs: with a time limit, a folder of their own, and no process left running."""
import os
import resource
import shutil
import signal
import subprocess
import tempfile
import time
from dataclasses import dataclass

_MEMORY = 8 << 30
_FILE = 4 << 30


def limit_resources():
    """Resource limits of a fault. Holds for this process and all that it starts from now on."""
    resource.setrlimit(resource.RLIMIT_AS, (_MEMORY, _MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (_FILE, _FILE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


@dataclass
class Outcome:
    status: int | None  # None: timed out
    output: str
    seconds: float


def run(command, environment, time_limit):
    """Runs a command in a folder of its own, which is also its TMPDIR; ends all that it has started and left running."""
    folder = tempfile.mkdtemp(prefix="orv-mutation-")
    began = time.monotonic()
    try:
        with tempfile.TemporaryFile() as output:
            process = subprocess.Popen(command, cwd=folder, env={**os.environ, "TMPDIR": folder, **environment},
                                       stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                                       start_new_session=True)
            try:
                status = process.wait(time_limit)
            except subprocess.TimeoutExpired:
                status = None
            finally:
                _end_group(process)
            seconds = time.monotonic() - began
            output.seek(max(0, output.tell() - (4 << 20)))
            return Outcome(status, output.read().decode(errors="replace"), seconds)
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def _end_group(process):
    try:
        os.killpg(process.pid, signal.SIGKILL)  # the session that was made for it, and no other
    except ProcessLookupError:
        pass
    process.wait()
