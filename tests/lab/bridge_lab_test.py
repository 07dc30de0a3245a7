"""The laboratory does what it promises: a bridge that snoops, delay, loss, a line with an outer tag."""

import time

import laboratory
import raw_host

GROUPS = {"IGMPv2": "239.1.1.1", "IGMPv3": "239.1.1.1", "MLDv1": "ff1e::101", "MLDv2": "ff1e::101"}


class BridgeLabTest(laboratory.LabTestCase):

    def up(self, **options):
        lab = self.enterContext(laboratory.Laboratory(**options))
        head, home = (raw_host.RawPort(lab, interface) for interface in ("head0", "home0"))
        self.addCleanup(head.close)
        self.addCleanup(home.close)
        return lab, head, home

    def expect_groups(self, lab, expected):
        self.assertEqual(lab.wait_for_groups(expected), expected)

    def view(self, lab, head, home, version, tags=(), stream_tags=None, interval=0.0005):
        """Joins with a stream on the way and leaves again. Returns the times of join, leave and the packets."""
        group = GROUPS[version]
        home.frames.clear()
        with raw_host.Stream(head, group, tags if stream_tags is None else stream_tags, interval):
            time.sleep(0.3)
            self.assertEqual(home.stream(), [], "nothing comes before the join")
            joined = home.send(raw_host.membership(version, group, tags=tags))
            self.expect_groups(lab, {group})
            time.sleep(0.3)
            left = home.send(raw_host.membership(version, group, join=False, tags=tags))
            self.expect_groups(lab, set())
            time.sleep(0.3)
            last = len(home.stream())
            time.sleep(0.2)
            packets = home.stream()
            self.assertEqual(len(packets), last, "nothing comes after the leave")
        self.assertGreater(len(packets), 20)
        return joined, left, packets

    def test_forwards_between_join_and_leave(self):
        for version, igmp, mld in (("IGMPv2", 2, 1), ("IGMPv3", 3, 2), ("MLDv1", 2, 1), ("MLDv2", 3, 2)):
            lab, head, home = self.up(name=version.lower(), igmp_version=igmp, mld_version=mld,
                                      last_member_interval=100)
            for tags in ((), (101,)):
                with self.subTest(version=version, tags=tags):
                    joined, left, packets = self.view(lab, head, home, version, tags)
                    self.assertLess(packets[0][0] - joined, 0.05)
                    self.assertAlmostEqual(packets[-1][0] - left, 0.2, delta=0.05)
                    self.assertEqual({tuple(tags) for _, _, tags in packets}, {tags})

    def test_fast_leave_stops_at_once(self):
        lab, head, home = self.up(fast_leave=True)
        for version in ("IGMPv3", "MLDv2"):
            _, left, packets = self.view(lab, head, home, version)
            self.assertLess(packets[-1][0] - left, 0.05)

    def test_queries_are_of_the_wanted_version(self):
        fields = ["igmp.version", "icmpv6.mld.maximum_response_delay", "icmpv6.mld.qqi"]
        for versions, expected in (((2, 1), {("2", "", ""), ("", "1000", "")}),
                                   ((3, 2), {("3", "", ""), ("", "", "125")})):
            with self.subTest(versions=versions):
                with laboratory.Laboratory(igmp_version=versions[0], mld_version=versions[1]) as lab:
                    with lab.capture("home0") as capture:
                        for querier in (0, 1):
                            lab.ask_device("ip", "link", "set", "br0", "type", "bridge", "mcast_querier", querier)
                rows = capture.rows(fields, "igmp.type == 0x11 or icmpv6.type == 130")
                self.assertEqual({tuple(row) for row in rows}, expected)

    def test_delays_towards_home_only(self):
        lab, head, home = self.up(delay=20)
        with raw_host.Stream(head, GROUPS["IGMPv3"]) as stream:
            joined = home.send(raw_host.membership("IGMPv3", GROUPS["IGMPv3"]))
            time.sleep(1)
            packets = home.stream()
        delays = sorted(when - stream.sent[number] for when, number, _ in packets)
        first = packets[0]
        self.assertLess(stream.sent[first[1]] - joined, 0.015, "the join is not delayed")
        self.assertGreaterEqual(delays[0], 0.02)
        self.assertLess(delays[len(delays) // 2], 0.021)

    def test_loses_packets_at_random(self):
        lab, head, home = self.up(loss=1)
        home.send(raw_host.membership("IGMPv3", GROUPS["IGMPv3"]))
        self.expect_groups(lab, {GROUPS["IGMPv3"]})
        count = 20000
        for number in range(count):
            head.send(raw_host.stream_packet(GROUPS["IGMPv3"], number))
            if number % 50 == 0:
                time.sleep(0.002)  # for the reader, whose room may be that of about 90 frames
        time.sleep(0.3)
        lost, of = lab.lost()
        self.assertEqual(of, count)
        self.assertEqual(len(home.stream()), count - lost)
        self.assertAlmostEqual(lost, 200, delta=5 * (count * 0.01 * 0.99)**0.5)

    def test_line_with_an_outer_tag(self):
        lab, head, home = self.up(pop_outer_tag=200, last_member_interval=100)
        home.send(raw_host.membership("IGMPv3", "239.9.9.9", tags=(201, 7)))
        for inner in ((), (7,)):
            with self.subTest(inner=inner):
                _, _, packets = self.view(lab, head, home, "IGMPv3", (200, *inner), stream_tags=inner)
                self.assertEqual({tuple(tags) for _, _, tags in packets}, {(200, *inner)})


if __name__ == "__main__":
    laboratory.main()
