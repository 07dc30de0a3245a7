"""iptvtest on a real network: what it reports is what the device did, and what others see on the wire."""

import fcntl
import ipaddress
import math
import os
import pathlib
import random
import signal
import statistics
import subprocess
import sys
import tempfile
import time

import laboratory
import live_unicast_lab_test
import test_files
sys.path.append(str(laboratory.PROJECT / "tests/storage"))
import stored_results  # noqa: E402
from test_files import join_latencies, leave_latencies, milliseconds

VERSIONS = ("IGMP_V2", "IGMP_V3", "MLD_V1", "MLD_V2")


def querier(version):
    """Options that make the device speak a version."""
    return {"igmp_version": 2 if version == "IGMP_V2" else 3, "mld_version": 1 if version == "MLD_V1" else 2}


def waits_for_reader(process):
    """Whether a thread of it cannot write any more into a pipe."""
    tasks = pathlib.Path(f"/proc/{process.pid}/task").glob("*/wchan")
    return any(task.read_text().endswith("pipe_write") for task in tasks)


class LiveLabTest(laboratory.LabTestCase):

    compare_multicast = live_unicast_lab_test.LiveUnicastLabTest.compare_multicast
    assert_near = live_unicast_lab_test.LiveUnicastLabTest.assert_near

    def up(self, **options):
        return self.enterContext(laboratory.Laboratory(**options))

    def run_test(self, lab, **options):
        outcome = test_files.Run(lab, test_files.make(**options)).wait()
        self.assert_good(outcome)
        return outcome

    def assert_good(self, outcome):
        self.assertEqual(outcome.status, 0, outcome.errors)
        self.assertGreater(len(outcome.events), 0)
        for port in outcome.json["live_ports"]:
            self.assertEqual((port["unseen"], port["frames_unsent"], port["frames_dropped"]), (0, 0, 0))

    def test_device_forwards_between_join_and_leave(self):
        group = {"I": "225.1.0.1", "M": "ff1e::101"}
        for version in VERSIONS:
            for vlans in ((), (101,), (201, 101)):
                # The device does not know of two tags: an access node in front of it takes the outer one.
                options = {"pop_outer_tag": vlans[0]} if len(vlans) == 2 else {}
                with self.subTest(version=version, vlans=vlans), laboratory.Laboratory(
                        **querier(version), **options, last_member_interval=100) as lab:
                    run = test_files.Run(lab, test_files.make(
                        version=version, vlans=vlans, head_vlans=vlans[-1:], interval=2000, seconds=2))
                    self.assertEqual(lab.wait_for_groups({group[version[0]]}, 8), {group[version[0]]})
                    outcome = run.wait()
                    self.assert_good(outcome)
                    self.assertEqual(lab.groups(), set())
                    event, = outcome.events
                    self.assertLess(join_latencies(outcome)[0], 10)
                    self.assertAlmostEqual(leave_latencies(outcome)[0], 200, delta=20)
                    self.assertAlmostEqual(event["total_mcast_packets"], 1050, delta=60)
                    self.assertNotIn("lost_mcast_packets", event)

    def test_wire_agrees_with_report(self):
        for version, vlans in (("IGMP_V2", ()), ("IGMP_V3", ()), ("MLD_V1", ()), ("MLD_V2", ()), ("IGMP_V3", (101,)),
                               ("MLD_V2", (201, 101))):
            options = {"pop_outer_tag": vlans[0]} if len(vlans) == 2 else {}
            with self.subTest(version=version, vlans=vlans), laboratory.Laboratory(
                    **querier(version), **options, last_member_interval=100) as lab:
                with lab.capture("home0") as capture, lab.capture("head0") as sent:
                    run = test_files.Run(lab, test_files.make(
                        version=version, vlans=vlans, head_vlans=vlans[-1:], stbs=2, channels=8, gap=300, seconds=4))
                    outcome = run.wait()
                self.assert_good(outcome)
                for recording in (capture, sent):
                    bad = recording.rows(["frame.number", "_ws.expert.message"],
                                         "_ws.malformed || _ws.expert.group == checksum || igmp.checksum.status == 0 || "
                                         "icmpv6.checksum.status == 0 || ip.checksum.status == 0")
                    self.assertEqual(bad, [])
                self.assertEqual({ids for ids, in sent.rows(["vlan.id"], "udp")}, {",".join(map(str, vlans[-1:]))})
                self.assertEqual({ids for ids, in capture.rows(["vlan.id"], "udp")}, {",".join(map(str, vlans))})
                wire = live_unicast_lab_test.Wire(capture)
                for event, box, begin, end, at in wire.views(self, outcome):
                    self.compare_multicast(wire, event, box, begin, end, at)

    def compare_views(self, capture, outcome):
        """No view of IGMPv3 hosts without its event: each box's events are what it joined on the wire, in order.
        A box's last join may be without one: that of a view which the end of the test came into."""
        joined, member, viewed = {}, set(), {}
        for box, kinds, groups in capture.rows(["ip.src", "igmp.record_type", "igmp.maddr"], "igmp.type == 0x22"):
            for kind, group in zip(kinds.split(","), groups.split(",")):
                if kind == "4" and (box, group) not in member:  # becomes EXCLUDE; what is told again is no join
                    member.add((box, group))
                    joined.setdefault(box, []).append(group)
                elif kind == "3":
                    member.discard((box, group))
        for event in sorted(outcome.events, key=lambda event: event["mcast_join_ts"]):
            box = ipaddress.ip_address(test_files.HOME[4] + ".9") + event["settop_index"]
            viewed.setdefault(str(box), []).append(event["viewed_ip"])
        self.assertEqual(joined.keys(), viewed.keys())
        for box, groups in joined.items():
            self.assertEqual(groups[:len(viewed[box])], viewed[box], box)
            self.assertLessEqual(len(groups) - len(viewed[box]), 1, box)

    def test_loss_is_reported(self):
        lab = self.up(loss=1, last_member_interval=100)
        outcome = self.run_test(lab, stbs=1, interval=8000, seconds=8, packets=2000)
        lost = sum(event.get("lost_mcast_packets", 0) for event in outcome.events)
        received = sum(event["total_mcast_packets"] for event in outcome.events)
        total = lost + received
        self.assertGreater(total, 10000)
        self.assertLess(abs(lost - 0.01 * total), 4 * math.sqrt(total * 0.01 * 0.99))

    def test_delay_shows_in_join_latency(self):
        latencies = {}
        for delay in (0, 20):
            with laboratory.Laboratory(delay=delay, reorder=delay // 2, last_member_interval=100, fast_leave=True) as lab:
                outcome = self.run_test(lab, channels=4, interval=300, seconds=6, packets=2000)
                latencies[delay] = statistics.median(join_latencies(outcome))
                reordered = sum(event.get("reordered_mcast_packets", 0) for event in outcome.events)
                received = sum(event["total_mcast_packets"] for event in outcome.events)
                self.assertAlmostEqual(reordered / received, delay / 200, delta=0.02)
        self.assertAlmostEqual(latencies[20] - latencies[0], 20, delta=1)

    def test_fast_leave_shows_in_leave_latency(self):
        for version in VERSIONS:
            for fast, expected, delta in ((True, 0, 5), (False, 400, 30)):
                with self.subTest(version=version, fast=fast), laboratory.Laboratory(
                        **querier(version), fast_leave=fast, last_member_interval=200) as lab:
                    outcome = self.run_test(lab, version=version, interval=1000, seconds=3)
                    self.assertAlmostEqual(statistics.median(leave_latencies(outcome)), expected, delta=delta)

    def test_multicast_router(self):
        # The router takes reports with sources in the source-specific range only (RFC 4607).
        for version, group, sources in (("IGMP_V2", "225.1.0.1", False), ("IGMP_V3", "232.1.0.1", True)):
            with self.subTest(version=version, group=group), laboratory.Laboratory(
                    router="igmpv" + version[-1], last_member_interval=100, loss=10, delay=20) as lab:
                run = test_files.Run(lab, test_files.make(
                    version=version, group=group, sources=sources, interval=2000, seconds=4))
                wanted, seen = (group, test_files.HEAD[4] + ".2" if sources else "*"), set()
                while run.process.poll() is None:
                    seen |= lab.router_groups()
                    time.sleep(0.2)
                outcome = run.wait()
                self.assertIn(wanted, seen)
                self.assert_good(outcome)
                self.assertEqual(len(outcome.events), 2)
                for event in outcome.events:
                    self.assertGreater(event["total_mcast_packets"], 500)
                    self.assertGreater(event["lost_mcast_packets"], 20)
                    self.assertGreater(milliseconds(event, "first_mcast_pkt_ts", "mcast_join_ts"), 19)

    def test_interrupt_leaves_nothing_behind(self):
        lab = self.up(last_member_interval=100)
        everything = {f"225.1.0.{i}" for i in range(1, 5)}
        for number in (signal.SIGINT, signal.SIGHUP):
            with self.subTest(signal=number):
                run = test_files.Run(lab, test_files.make(stbs=4, interval=5000, seconds=60))
                self.assertEqual(lab.wait_for_groups(everything, 10), everything)
                run.process.send_signal(number)
                self.assertEqual(run.wait(30).status, 130)
                self.assertEqual(lab.wait_for_groups(set(), 2), set())

    def test_second_interrupt_leaves_groups_of_a_program_that_is_held_up(self):
        lab = self.up(last_member_interval=100)
        with tempfile.TemporaryDirectory() as folder:
            nobody_reads = pathlib.Path(folder) / "recording"
            os.mkfifo(nobody_reads)
            reader = os.open(nobody_reads, os.O_RDWR)
            self.addCleanup(os.close, reader)
            fcntl.fcntl(reader, fcntl.F_SETPIPE_SZ, 4096)
            run = test_files.Run(lab, test_files.make(stbs=4, interval=500, seconds=60), recording=nobody_reads)
            while not waits_for_reader(run.process):
                self.assertIsNone(run.process.poll())  # its test ends after 60 s
                time.sleep(0.05)
            run.process.send_signal(signal.SIGINT)
            time.sleep(0.5)  # those that come within 0.3 s count as one
            self.assertNotEqual(lab.groups(), set())
            run.process.send_signal(signal.SIGTERM)
            outcome = run.wait(10)
            self.assertEqual(outcome.status, 130)
            self.assertIn("Ended at once", outcome.errors)
            self.assertEqual(lab.wait_for_groups(set(), 2), set())

    def test_kills_leave_a_sound_database_and_groups_that_time_out(self):
        """ORV_KILLS: how many, from seed ORV_SEED on."""
        lab = self.up(last_member_interval=100)
        lab.ask_device("ip", "link", "set", "br0", "type", "bridge", "mcast_query_interval", "100",
                       "mcast_query_response_interval", "50", "mcast_membership_interval", "300")
        rows = {"boxes": {"SaveTimeStamps": "true"}, "stbs": 4, "interval": 500}
        first_seed = int(os.environ.get("ORV_SEED", 1))
        with tempfile.TemporaryDirectory() as folder:
            database = pathlib.Path(folder) / "results.db"
            self.assert_good(test_files.Run(lab, test_files.make(**rows), database=database).wait())
            for seed in range(first_seed, first_seed + int(os.environ.get("ORV_KILLS", 4))):
                with self.subTest(seed=seed):
                    before = stored_results.count_rows(database)
                    run = test_files.Run(lab, test_files.make(seconds=60, **rows), database=database)
                    time.sleep(random.Random(seed).uniform(0, 4))
                    flushed = stored_results.count_rows(database)
                    run.kill()
                    after = stored_results.count_rows(database)
                    self.assertEqual({key: after.get(key) for key in before}, before)
                    self.assertTrue(all(after.get(key, 0) >= count for key, count in flushed.items()), (flushed, after))
            self.assertEqual(lab.wait_for_groups(set(), 10), set())
            self.assert_good(test_files.Run(lab, test_files.make(**rows), database=database).wait())
            shown = subprocess.run([test_files.PROGRAM, "results", database], capture_output=True, check=False)
            self.assertEqual(shown.returncode, 0, shown.stderr)

    def test_port_that_goes_offline_keeps_its_figures(self):
        lab = self.up(last_member_interval=100)
        outcome = test_files.Run(lab, test_files.make(
            seconds=60, live="simulation:\n  faults:\n    Viewers:\n      - {kind: go_offline, occurrence: 1}\n")).wait()
        self.assertEqual(outcome.status, 3)
        viewers, = [port for port in outcome.json["live_ports"] if port["name"] == "Viewers"]
        self.assertGreater(viewers["joins_and_leaves"], 0)
        self.assertEqual(lab.wait_for_groups(set(), 2), set())

    def test_one_capability_is_enough(self):
        lab = self.up(last_member_interval=100)
        nobody = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
        only_raw = [*nobody, "--inh-caps=-all,+net_raw", "--ambient-caps=-all,+net_raw", "--bounding-set=-all,+net_raw"]
        outcome = test_files.Run(lab, test_files.make(), prefix=only_raw).wait()
        self.assert_good(outcome)
        outcome = test_files.Run(lab, test_files.make(), prefix=[*nobody, "--bounding-set=-all"]).wait()
        self.assertEqual(outcome.status, 3)
        self.assertIn("CAP_NET_RAW", outcome.errors)

    def test_example(self):
        lab = self.up()
        text = (laboratory.PROJECT / "examples" / "live-zapping.yaml").read_text()
        outcome = test_files.Run(lab, text).wait()
        self.assert_good(outcome)
        self.assertEqual(len(outcome.events), 8)
        self.assertLess(statistics.median(join_latencies(outcome)), 5)
        self.assertAlmostEqual(statistics.median(leave_latencies(outcome)), 2000, delta=50)

    def test_thousand_boxes(self):
        lab = self.up(last_member_interval=100)
        # IGMPv3 reports of changes; most frames are answers to the device's queries.
        joins = lab.capture("home0", "igmp and ip[24] == 0x22 and (ip[32] == 3 or ip[32] == 4)")
        outcome = self.run_test(lab, stbs=1000, channels=52, interval=1000, gap=100, seconds=60, packets=100, start_step=1)
        # Box i begins i ms after the start and joins once a second.
        self.assertAlmostEqual(len(outcome.events), 59500, delta=1100)
        viewers, = [port for port in outcome.json["live_ports"] if port["name"] == "Viewers"]
        self.assertGreaterEqual(viewers["joins_and_leaves"], 2 * len(outcome.events))
        joins.stop()
        self.compare_views(joins, outcome)


if __name__ == "__main__":
    laboratory.main()
