"""Laboratories of network namespaces (scripts/lab.sh) for tests written in Python."""

import ctypes
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import weakref

PROJECT = pathlib.Path(__file__).resolve().parents[2]
LAB_SCRIPT = PROJECT / "scripts" / "lab.sh"
CANNOT_BE_MADE = 3  # exit status of lab.sh
SKIPPED = 77  # exit status for CTest
CLONE_NEWNET = 0x40000000
LAST_FRAME = bytes.fromhex("0210940000fe 021094000001 88b5") + bytes(46)  # of a type for experiments


class Laboratory:
    """A laboratory between __enter__ and __exit__. Options are those of lab.sh: fast_leave=True, delay=20."""

    def __init__(self, **options):
        self.name = options.pop("name", "orv")
        self.tester = f"{self.name}-tester"
        self.dut = f"{self.name}-dut"
        self._options = [f"--name={self.name}"]
        for option, value in options.items():
            flag = "--" + option.replace("_", "-")
            if value is True:
                self._options.append(flag)
            elif value is not False and value is not None:
                self._options.append(f"{flag}={value}")

    def __enter__(self):
        subprocess.run([LAB_SCRIPT, "up", *self._options], check=True)
        return self

    def __exit__(self, *_):
        subprocess.run([LAB_SCRIPT, "down", f"--name={self.name}"], check=True)

    def start(self, command, on_device=False, **options):
        """Starts a command on the tester's side, or on the device's; options are those of subprocess.Popen."""
        return subprocess.Popen(self._in(self.dut if on_device else self.tester, command), **options)

    def ask_device(self, *command):
        """What a command prints in the device's namespace."""
        return subprocess.run(
            self._in(self.dut, command), stdout=subprocess.PIPE, text=True, check=True).stdout

    def groups(self, port="home"):
        """The bridge's groups on a port."""
        tables = json.loads(self.ask_device("bridge", "-j", "mdb", "show", "dev", "br0"))
        return {entry["grp"] for table in tables for entry in table["mdb"] if entry["port"] == port}

    def wait_for_groups(self, expected, seconds=5, port="home"):
        """Returns the groups when they are as expected, or when the time is over."""
        end = time.monotonic() + seconds
        while (groups := self.groups(port)) != expected and time.monotonic() < end:
            time.sleep(0.02)
        return groups

    def router_groups(self):
        """With option router, the router's groups at home: a set of (group, source), "*" for any source."""
        lines = self.ask_router("show ip igmp sources").splitlines()
        return {(group, source) for port, group, source in (line.split()[:3] for line in lines) if port == "home"}

    def ask_router(self, question):
        state = f"{os.environ.get('XDG_RUNTIME_DIR', '/tmp')}/{self.name}-lab"
        return self.ask_device("vtysh", "--vty_socket", state, "--config_dir", state, "-c", question)

    def socket(self, *kind):
        """A socket on the tester's side; `kind` as for socket.socket."""
        with open("/proc/thread-self/ns/net") as before, open(f"/run/netns/{self.tester}") as wanted:
            _set_network(wanted)
            try:
                return socket.socket(*kind)
            finally:
                _set_network(before)

    def send(self, interface, *frames):
        """Sends frames, from the destination's MAC address on, out of one of the tester's interfaces."""
        with self.socket(socket.AF_PACKET, socket.SOCK_RAW, 0) as port:
            port.bind((interface, 0))
            for frame in frames:
                port.send(frame)

    def capture(self, interface, capture_filter=""):
        """Records one of the tester's interfaces until stop()."""
        return Capture(self, interface, capture_filter)

    @staticmethod
    def _in(namespace, command):
        return ["ip", "netns", "exec", namespace, *map(str, command)]


class Capture:
    """A recording, which begins before the constructor returns. As a context manager it stops at the end of the block;
    then ask rows()."""

    def __init__(self, laboratory, interface, capture_filter):
        self._laboratory, self._interface = laboratory, interface
        folder = tempfile.mkdtemp(prefix="lab-")
        weakref.finalize(self, shutil.rmtree, folder)
        self.file = pathlib.Path(folder) / "capture.pcapng"
        command = ["dumpcap", "-q", "-i", interface, "-w", self.file]
        command += ["-f", f"({capture_filter}) or ether proto 0x88b5"] if capture_filter else []
        self._log = open(self.file.with_suffix(".log"), "w+")
        self._process = laboratory.start(command, stderr=self._log)
        self._wait_for(b"")

    def _wait_for(self, content):
        """Until the file has that in it, or anything."""
        while not self.file.exists() or not self.file.stat().st_size or content not in self.file.read_bytes():
            if self._process.poll() is not None:
                self._log.seek(0)
                raise RuntimeError(f"no capture: {self._log.read()}")
            time.sleep(0.02)

    def stop(self):
        if self._process.poll() is None:
            self._laboratory.send(self._interface, LAST_FRAME)
            self._wait_for(LAST_FRAME)  # and with it what has arrived before
            self._process.send_signal(signal.SIGINT)
        self._process.wait()
        self._log.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

    def rows(self, fields, display_filter="", heuristics=()):
        """One list of texts per frame that the display filter lets pass; several values of a field are
        separated by commas. `heuristics`: of tshark, to be used beside those that are by default."""
        command = ["tshark", "-n", "-r", str(self.file), "-T", "fields"]
        command += ["-o", "ip.check_checksum:TRUE", "-o", "udp.check_checksum:TRUE"]
        command += ["-Y", display_filter] if display_filter else []
        for field in fields:
            command += ["-e", field]
        for heuristic in heuristics:
            command += ["--enable-heuristic", heuristic]
        found = subprocess.run(command, capture_output=True, text=True, check=True)
        return [line.split("\t") for line in found.stdout.splitlines()]


def _set_network(namespace):
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.setns(namespace.fileno(), CLONE_NEWNET) != 0:
        raise OSError(ctypes.get_errno(), "cannot change to another network namespace")


class LabTestCase(unittest.TestCase):
    """A test that measures times. A busy machine can spoil a measurement, but it cannot
    make a wrong one right: a test has failed when it fails every time."""

    ATTEMPTS = 3

    def run(self, result=None):
        for _ in range(self.ATTEMPTS - 1):
            trial = unittest.TestResult()
            super().run(trial)
            if trial.wasSuccessful():
                result.startTest(self)
                (result.addSkip(self, trial.skipped[0][1]) if trial.skipped else result.addSuccess(self))
                result.stopTest(self)
                return result
            for _, why in trial.failures + trial.errors:
                print(f"{self.id()} once more: {why}", file=sys.stderr, flush=True)
        return super().run(result)


def main():
    """Runs the calling module's tests in a private view of the machine, in which laboratories can be made; exits with
    SKIPPED where none can."""
    if "ORV_LAB_PRIVATE" not in os.environ:
        run = subprocess.run([LAB_SCRIPT, "enter", "--", sys.executable, *sys.argv],
                             env={**os.environ, "ORV_LAB_PRIVATE": "1"})
        sys.exit(SKIPPED if run.returncode == CANNOT_BE_MADE else run.returncode)
    probe = subprocess.run([LAB_SCRIPT, "up"])
    if probe.returncode:
        sys.exit(probe.returncode)
    subprocess.run([LAB_SCRIPT, "down"], check=True)
    unittest.main(module="__main__", verbosity=2)
