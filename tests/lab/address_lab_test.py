"""Set-top boxes that get their addresses from servers from Debian: they have them, use them, and give them back."""

import signal
import threading
import time

import laboratory
import test_files
from address_servers import AddressServer, Dnsmasq, Kea, Router


def make(block, hosts, seconds=3, version="IGMP_V3", **options):
    """A test whose boxes get their addresses as the block says, before it begins."""
    kind = block.split("BlockConfig")[0]
    text = test_files.make(version=version, stbs=hosts, seconds=seconds, channels=4, packets=50, **options)
    text = text.replace("      {IptvStbBlockConfig:", f"      {{{block}}},\n      {{IptvStbBlockConfig:")
    text = text.replace("sequence:\n", f"sequence:\n  - {kind}BindCommand:\n  - {kind}BindWaitCommand:\n")
    return text + f"  - {kind}ReleaseCommand:\n  - {kind}ReleaseWaitCommand:\n"


class AddressLabTest(laboratory.LabTestCase):
    def setUp(self):
        self.lab = self.enterContext(laboratory.Laboratory(last_member_interval=100))

    def run_bound(self, server, text, hosts):
        """A good test of hosts that all got an address; what they had according to the server, and the outcome."""
        had = {}
        done = threading.Event()

        def watch():
            while not done.wait(0.2):
                had.update(server.leases())

        watcher = threading.Thread(target=watch)
        watcher.start()
        try:
            outcome = test_files.Run(self.lab, text).wait()
        finally:
            done.set()
            watcher.join()
        self.assertEqual(0, outcome.status, outcome.errors)
        self.assertGreater(len(outcome.events), 0)
        report, = outcome.json["addressing"]
        self.assertEqual((hosts, hosts), (report["hosts"], report["bound"]))
        self.assertEqual({}, server.wait_until_free())
        return had, report

    def test_thousand_hosts_have_what_the_server_gave(self):
        reports = self.lab.capture("home0", "igmp and ip[24] == 0x22")
        with Dnsmasq(self.lab) as server:
            had, report = self.run_bound(server, make("Dhcpv4BlockConfig: A, SessionsPerSecond: 400, ConflictWait: 200", 1000), 1000)
        reports.stop()
        self.assertEqual(1000, len(had))
        self.assertEqual(1000, len(set(had.values())))
        # Who joins is who the server knows.
        said = {(row[0], row[1]) for row in reports.rows(["eth.src", "ip.src"]) if row[0].startswith("00:10:94:00:")}
        self.assertEqual(said, set(had.items()))
        times = report["time_to_bind_s"]
        self.assertLessEqual(0.2, times["min"])
        self.assertLess(times["p50"], 4)  # a server that is slow is asked again after four seconds

    def test_leases_are_renewed_during_a_test(self):
        with Kea(self.lab, 4, lifetime=20) as server:
            had, report = self.run_bound(server, make("Dhcpv4BlockConfig: A", 20, seconds=24), 20)
        self.assertEqual(20, len(had))
        self.assertGreaterEqual(report["renewed"], 40)
        self.assertEqual((0, 0), (report["addresses_lost"], report["addresses_changed"]))

    def test_addresses_of_ipv6(self):
        with Kea(self.lab, 6) as server:
            had, _ = self.run_bound(server, make("Dhcpv6BlockConfig: A", 50, version="MLD_V2"), 50)
            self.assertEqual(50, len(had))
        with laboratory.Laboratory(name="second") as lab:
            self.lab = lab
            with Router(lab) as router:
                self.run_bound(router, make("SlaacBlockConfig: A", 50, version="MLD_V2"), 50)

    def test_snooping_device_forwards_bound_hosts_only(self):
        rules = """table bridge snooping {
          set bound { typeof ether saddr . ip saddr; }
          chain input { type filter hook prerouting priority -300;
            iifname != "home" accept
            ether type != ip accept
            udp dport 67 accept
            ether saddr . ip saddr @bound accept
            drop
          }
        }"""
        self.lab.ask_device("nft", rules)
        with Dnsmasq(self.lab) as server:
            done = threading.Event()

            def watch():
                known = set()
                while not done.wait(0.05):
                    for mac, address in set(server.leases().items()) - known:
                        self.lab.ask_device("nft", "add", "element", "bridge", "snooping", "bound",
                                            f"{{ {mac} . {address} }}")
                        known.add((mac, address))

            watcher = threading.Thread(target=watch)
            watcher.start()
            try:
                self.run_bound(server, make("Dhcpv4BlockConfig: A, ConflictWait: 1000", 5), 5)
            finally:
                done.set()
                watcher.join()
            fixed = test_files.Run(self.lab, test_files.make(stbs=5, packets=50)).wait()
            self.assertEqual(1, fixed.status, fixed.errors)
            test, = fixed.json["tests"]
            self.assertEqual(test["failed_joins"], test["channel_changes"])

    def test_addresses_in_use_are_declined(self):
        used = [f"10.0.64.{number}" for number in range(1, 6)]
        for address in used:
            self.lab.start(["ip", "address", "add", f"{address}/32", "dev", "head0"]).wait()
        with Dnsmasq(self.lab, "10.0.64.1,10.0.64.40") as server:
            had, report = self.run_bound(server, make("Dhcpv4BlockConfig: A, ConflictWait: 200", 30), 30)
        self.assertGreaterEqual(report["conflicts"], 1)

    def test_server_that_forgot_refuses_and_gives_other_addresses(self):
        reports = self.lab.capture("home0", "igmp and ip[24] == 0x22")
        with Dnsmasq(self.lab, "10.0.64.0,10.0.64.255", renew_after=8) as server:
            run = test_files.Run(self.lab, make("Dhcpv4BlockConfig: A, ConflictWait: 100", 5, seconds=12))
            end = time.monotonic() + 10
            while len(server.leases()) < 5 and time.monotonic() < end:
                time.sleep(0.1)
            server.begin_again("10.0.80.0,10.0.80.255")
            outcome = run.wait()
            self.assertEqual({}, server.wait_until_free())
        report, = outcome.json["addressing"]
        self.assertEqual((5, 5), (report["refused"], report["addresses_lost"]), report)
        self.assertEqual(3, outcome.status)
        self.assertIn('hosts of device "Homes" have lost their addresses', outcome.errors)
        # They go on with those of the new server.
        reports.stop()
        said = {address.rpartition(".")[0] for mac, address in reports.rows(["eth.src", "ip.src"]) if mac.startswith("00:10:94:00:")}
        self.assertEqual({"10.0.64", "10.0.80"}, said)

    def test_of_two_servers_each_host_takes_one(self):
        with Kea(self.lab, 4) as first, Dnsmasq(self.lab, "10.0.32.0,10.0.63.255", at_head=True) as second:
            class Both:
                @staticmethod
                def leases():
                    return {(server, host): address for server in (first, second) for host, address in server.leases().items()}
                wait_until_free = AddressServer.wait_until_free
            had, _ = self.run_bound(Both(), make("Dhcpv4BlockConfig: A", 20), 20)
        self.assertEqual(20, len(had))

    def test_interrupt_gives_addresses_back(self):
        with Kea(self.lab, 6) as server:
            run = test_files.Run(self.lab, make("Dhcpv6BlockConfig: A", 10, version="MLD_V2", seconds=60))
            end = time.monotonic() + 20
            while len(server.leases()) < 10 and time.monotonic() < end:
                time.sleep(0.1)
            self.assertEqual(10, len(server.leases()))
            run.process.send_signal(signal.SIGINT)
            self.assertEqual(130, run.wait().status)
            self.assertEqual({}, server.wait_until_free(1))
            # While they ask.
            run = test_files.Run(self.lab, make("Dhcpv6BlockConfig: A, SessionsPerSecond: 20", 400, version="MLD_V2"))
            while len(server.leases()) < 20 and time.monotonic() < end:
                time.sleep(0.1)
            run.process.send_signal(signal.SIGINT)
            outcome = run.wait()
            self.assertEqual(130, outcome.status)
            self.assertGreater(outcome.json["addressing"][0]["bound"], 10)
            self.assertEqual({}, server.wait_until_free(1))

    def test_nobody_answers(self):
        outcome = test_files.Run(self.lab, make(
            "Dhcpv4BlockConfig: A, Attempts: 2, FirstTimeout: 500, LongestTimeout: 500", 3)).wait()
        self.assertEqual(3, outcome.status)
        self.assertIn('3 of 3 hosts of device "Homes" have no address', outcome.errors)
        report, = outcome.json["addressing"]
        self.assertNotIn("time_to_bind_s", report)
        self.assertEqual([], outcome.json["tests"])


if __name__ == "__main__":
    laboratory.main()
