"""Servers from Debian that give addresses, on the bridge of a laboratory's device."""

import csv
import json
import os
import pathlib
import tempfile
import time

ROUTER4, ROUTER6, HEAD4 = "10.0.0.1", "2001:db8::1", "10.0.0.2"


class AddressServer:
    """Runs between __enter__ and __exit__, in the device's namespace, or at the head end."""

    def __init__(self, lab, at_head=False):
        self.lab, self.at_head = lab, at_head
        self.interface = "head0" if at_head else "br0"
        self._folder = tempfile.TemporaryDirectory(prefix="addresses-")
        self.folder = pathlib.Path(self._folder.name)
        os.chmod(self.folder, 0o777)
        self.leases_file = self.folder / "leases"
        self.processes = []

    def start(self, *command, environment=None):
        log = open(self.folder / f"{command[0]}.log", "w")
        self.processes.append(self.lab.start(command, on_device=not self.at_head, stdout=log, stderr=log,
                                             env={**os.environ, **(environment or {})}))
        log.close()

    def __enter__(self):
        for address in ((f"{HEAD4}/16",), ) if self.at_head else ((f"{ROUTER4}/16",), (f"{ROUTER6}/64", "nodad")):
            self.lab.start(["ip", "address", "replace", *address, "dev", self.interface], on_device=not self.at_head).wait()
        self.begin()
        time.sleep(1)
        for process in self.processes:
            assert process.poll() is None, [path.read_text() for path in self.folder.glob("*.log")]
        return self

    def __exit__(self, *_):
        for process in self.processes:
            process.kill()
            process.wait()
        self._folder.cleanup()

    def begin_again(self, pool):
        """Without its leases, with other addresses to give."""
        process = self.processes.pop()
        process.kill()
        process.wait()
        self.leases_file.unlink()
        self.pool = pool
        self.begin()

    def wait_until_free(self, seconds=10):
        """What is still bound when that time is over."""
        end = time.monotonic() + seconds
        while (leases := self.leases()) and time.monotonic() < end:
            time.sleep(0.1)
        return leases


class Dnsmasq(AddressServer):
    """DHCPv4 that does not look whether an address is in use, which takes it three seconds."""

    def __init__(self, lab, pool="10.0.64.0,10.0.127.255", at_head=False, renew_after=None):
        super().__init__(lab, at_head)
        self.pool = pool
        self.renewal = [f"--dhcp-option=option:T1,{renew_after}"] if renew_after else []

    def begin(self):
        self.start("dnsmasq", "--no-daemon", "--port=0", "--conf-file=/dev/null", f"--interface={self.interface}", "--bind-interfaces",
                   "--no-ping", f"--dhcp-range={self.pool},255.255.0.0,1h", *self.renewal, "--dhcp-lease-max=20000",
                   f"--dhcp-leasefile={self.leases_file}", f"--pid-file={self.folder}/pid", "--user=", "--group=")

    def leases(self):
        """Addresses by MAC address."""
        lines = self.leases_file.read_text().splitlines() if self.leases_file.exists() else []
        return {fields[1]: fields[2] for fields in map(str.split, lines) if len(fields) >= 3}


class Kea(AddressServer):
    POOLS = {4: "10.0.64.0 - 10.0.127.255", 6: "2001:db8::1:0 - 2001:db8::1:ffff"}

    def __init__(self, lab, family, lifetime=3600):
        super().__init__(lab)
        self.family, self.lifetime, self.pool = family, lifetime, self.POOLS[family]

    def begin(self):
        subnet = {4: "10.0.0.0/16", 6: "2001:db8::/64"}[self.family]
        settings = {
            "interfaces-config": {"interfaces": ["br0"]},
            "lease-database": {"type": "memfile", "persist": True, "name": str(self.leases_file)},
            "valid-lifetime": self.lifetime, "renew-timer": self.lifetime // 2, "rebind-timer": self.lifetime * 7 // 8,
            f"subnet{self.family}": [{"subnet": subnet, "interface": "br0", "pools": [{"pool": self.pool}]}]}
        if self.family == 4:
            settings["subnet4"][0]["option-data"] = [{"name": "routers", "data": ROUTER4}]
        else:
            settings |= {"preferred-lifetime": self.lifetime, "data-directory": str(self.folder)}
        configuration = self.folder / "kea.conf"
        configuration.write_text(json.dumps({f"Dhcp{self.family}": settings}))
        folder = str(self.folder)
        self.start(f"kea-dhcp{self.family}", "-c", configuration,
                   environment={"KEA_PIDFILE_DIR": folder, "KEA_LOCKFILE_DIR": folder})
        if self.family == 6:
            advertise(self, managed=True)

    def leases(self):
        """Addresses by MAC address or DUID; the file has a line for each change."""
        leases = {}
        with open(self.leases_file, newline="") as file:
            for row in csv.DictReader(file):
                key = row.get("hwaddr") if self.family == 4 else row.get("duid")
                leases[key] = row["address"]
                if int(row["valid_lifetime"]) == 0 or row["state"] != "0":
                    del leases[key]
        return leases


class Router(AddressServer):
    """Advertises a prefix that hosts make addresses of."""

    def begin(self):
        advertise(self, managed=False)

    def leases(self):
        return {}


def advertise(server, managed):
    configuration = server.folder / "radvd.conf"
    flags = ("on", "off") if managed else ("off", "on")
    configuration.write_text("interface br0 { AdvSendAdvert on; MinRtrAdvInterval 3; MaxRtrAdvInterval 4; AdvManagedFlag %s; "
                             "prefix 2001:db8::/64 { AdvOnLink on; AdvAutonomous %s; }; };" % flags)
    configuration.chmod(0o644)
    server.start("radvd", "-n", "-C", configuration, "-p", server.folder / "radvd.pid", "-m", "stderr")
