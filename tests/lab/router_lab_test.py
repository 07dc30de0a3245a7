"""The laboratory with a router in place of the bridge: streams flow between join and leave, from wanted sources only."""

import time

import laboratory
import raw_host

SOURCE = "10.255.0.2"  # of raw_host's streams


class RouterLabTest(laboratory.LabTestCase):

    def up(self, **options):
        lab = self.enterContext(laboratory.Laboratory(last_member_interval=100, **options))
        head, home = (raw_host.RawPort(lab, interface) for interface in ("head0", "home0"))
        self.addCleanup(head.close)
        self.addCleanup(home.close)
        return lab, head, home

    def view(self, lab, head, home, version, group, sources=()):
        """Joins with a stream on the way and leaves again. Returns the times of join, leave and the packets."""
        home.frames.clear()
        with raw_host.Stream(head, group):
            time.sleep(0.3)
            self.assertEqual(home.stream(), [], "nothing comes before the join")
            joined = home.send(raw_host.membership(version, group, sources=sources))
            time.sleep(0.5)
            self.assertEqual(lab.router_groups(), {(group, *(sources or "*"))})
            left = home.send(raw_host.membership(version, group, join=False, sources=sources))
            time.sleep(0.5)
            packets = home.stream()
            time.sleep(0.2)
            self.assertEqual(len(home.stream()), len(packets), "nothing comes after the leave")
        return joined, left, packets

    def expect_stream(self, joined, left, packets):
        self.assertLess(packets[0][0] - joined, 0.2)
        self.assertAlmostEqual(packets[-1][0] - left, 0.2, delta=0.1)

    def test_igmpv2(self):
        lab, head, home = self.up(router="igmpv2")
        self.expect_stream(*self.view(lab, head, home, "IGMPv2", "239.1.1.1"))

    def test_igmpv3_with_sources(self):
        lab, head, home = self.up(router="igmpv3")
        self.expect_stream(*self.view(lab, head, home, "IGMPv3", "239.1.1.1"))
        self.expect_stream(*self.view(lab, head, home, "IGMPv3", "232.1.1.1", [SOURCE]))
        _, _, packets = self.view(lab, head, home, "IGMPv3", "232.1.1.2", ["10.255.0.9"])
        self.assertEqual(packets, [], "another source than the wanted one")

    def test_loss_and_delay(self):
        lab, head, home = self.up(router="igmpv2", loss=50, delay=20)
        joined, _, packets = self.view(lab, head, home, "IGMPv2", "239.1.1.1")
        self.assertGreater(packets[0][0] - joined, 0.02)
        lost, of = lab.lost()
        self.assertEqual(len(packets), of - lost)
        self.assertAlmostEqual(lost, of / 2, delta=5 * of**0.5 / 2)


if __name__ == "__main__":
    laboratory.main()
