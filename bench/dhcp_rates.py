"""How many hosts a second a DHCP server binds in a laboratory: those of a live port, and those of the server's own load generator
(perfdhcp), at the highest rate at which it loses at most 1 %. Prints both as JSON.

Usage: dhcp_rates.py PROGRAM"""

import json
import os
import pathlib
import re
import subprocess
import sys

os.environ["ORV_PROGRAM"] = sys.argv[1]
sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "tests" / "lab"))

import laboratory  # noqa: E402
import test_files  # noqa: E402
from address_lab_test import make  # noqa: E402
from address_servers import Kea  # noqa: E402

HOSTS = 4000
RATES = (500, 1000, 2000, 4000, 6000, 8000, 12000)
SECONDS = 2


def bind_hosts(lab):
    with Kea(lab, 4):
        outcome = test_files.Run(lab, make(
            "Dhcpv4BlockConfig: A, SessionsPerSecond: 0, OutstandingSessions: 50, ConflictWait: 0", HOSTS, seconds=1)).wait()
    report, = outcome.json["addressing"]
    return report["bound"] / report["all_bound_in_s"] if report["bound"] == HOSTS else 0


def load_server(lab):
    best = 0
    for rate in RATES:
        with Kea(lab, 4):
            generator = lab.start(["perfdhcp", "-4", "-l", "home0", "-r", rate, "-n", rate * SECONDS, "-R", rate * SECONDS],
                                  stdout=subprocess.PIPE, text=True)
            text, _ = generator.communicate(timeout=60)
        # First those of offers, then those of leases.
        measured = float(re.search(r"Rate: ([\d.]+)", text)[1])
        if max(map(float, re.findall(r"drops ratio: ([\d.]+)", text))) > 1 or measured < 0.9 * rate:
            break
        best = measured
    return best


def main():
    with laboratory.Laboratory() as lab:
        ours = bind_hosts(lab)
        lab.start(["ip", "address", "add", "10.0.0.9/16", "dev", "home0"]).wait()  # the generator takes no other interface
        print(json.dumps({"binds_per_second": ours, "server_alone_per_second": load_server(lab)}))


main()
