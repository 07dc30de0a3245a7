"""Fast channel change and retransmission on a real network: what iptvtest reports is what others see on the wire, and what a
server does wrong shows."""

import collections
import ipaddress
import math
import re
import types

import laboratory
import test_files
from test_files import milliseconds

PORT = test_files.SERVER_PORT
BOTH = {"RELIABLE_RETRANSMISSION": "REAL_WORLD", "FCC_WITH_RRR": "TESTING"}
BY_PACKETS = {"MulticastJoinTrigger": "SBIT_AND_DELAY", "UnicastLeaveTrigger": "MULTICAST_PKT_AND_DELAY"}
MAPPING = "live: {port_mapping: true}\n"
RETRANSMISSION_TYPE, FEEDBACK, NACK, RAMS = 99, 205, 1, 6
REQUEST, INFORMATION, FIRST_SEQUENCE = 1, 2, 32

Packet = collections.namedtuple("Packet", "time number")
Again = collections.namedtuple("Again", "time number sequence marked sbit")  # `marked`: has the header extension of bursts
Nack = collections.namedtuple("Nack", "time asked")


def ahead(number, before):
    """How much later a sequence number is than another one, which may be behind it."""
    return (number - before + 0x8000) % 0x10000 - 0x8000


def number(data, at, size=2):
    return int.from_bytes(data[at:at + size], "big")


class Wire:
    """What a sniffer saw on home0; times in ms. Boxes are numbered by the ends of their MAC addresses."""

    def __init__(self, capture):
        self.streams = collections.defaultdict(list)  # packets by group
        # Requests and joins as (time, last 32 bits of the group's address, which are the channel's SSRC).
        self.boxes = collections.defaultdict(lambda: types.SimpleNamespace(
            requests=[], terminations=[], announced=[], joins=[], nacks=[], again=[]))
        for when, source, target, group4, group6, data, *reported in capture.rows(
                ["frame.time_epoch", "eth.src", "eth.dst", "ip.dst", "ipv6.dst", "udp.payload", "igmp.maddr",
                 "icmpv6.mld.multicast_address", "icmpv6.mldr.mar.multicast_address", "igmp.record_type",
                 "icmpv6.mldr.mar.record_type"],
                "udp || igmp.type == 0x16 || igmp.type == 0x22 || icmpv6.type == 131 || icmpv6.type == 143"):
            when, is_box = float(when) * 1000, source.startswith("00:10:94:00")
            box = self.boxes[int((source if is_box else target)[-2:], 16)]
            if not data and is_box:
                for group, kind in zip("".join(reported[:3]).split(","), "".join(reported[3:]).split(",")):
                    if kind != "3":  # becomes INCLUDE: a leave
                        box.joins.append((when, int(ipaddress.ip_address(group)) & 0xFFFFFFFF))
            elif data and int(target[:2], 16) & 1:
                self.streams[group4 or group6].append(Packet(when, number(bytes.fromhex(data[:8]), 2)))
            elif data:
                self._take(when, box, bytes.fromhex(data))

    @staticmethod
    def _take(when, box, data):
        """A datagram between a box and the server."""
        if data[1] & 127 == RETRANSMISSION_TYPE:
            marked = bool(data[0] & 16)
            at = 16 + 4 * number(data, 14) if marked else 12
            box.again.append(Again(when, number(data, at), number(data, 2), marked, marked and bool(number(data, 16) & 8)))
            return
        while data:
            kind, end = data[:2], 4 + 4 * number(data, 2)
            packet, data = data[:end], data[end:]
            if kind == bytes([0x80 | NACK, FEEDBACK]):
                first, mask = number(packet, 12), number(packet, 14)
                box.nacks.append(Nack(when, [first, *(first + 1 + bit & 0xFFFF for bit in range(16) if mask >> bit & 1)]))
            elif kind == bytes([0x80 | RAMS, FEEDBACK]) and packet[12] == REQUEST:  # the channel is in its first element
                box.requests.append((when, number(packet, 20, 4)))
            elif kind == bytes([0x80 | RAMS, FEEDBACK]) and packet[12] == INFORMATION:
                box.announced += [(when, number(packet, at + 4)) for at in range(16, end - 7, 8) if packet[at] == FIRST_SEQUENCE]
            elif kind == bytes([0x80 | RAMS, FEEDBACK]):
                box.terminations.append((when, number(packet, 8, 4)))

    def views(self, test, outcome):
        """Of each event: the event, its box, when its view began and when the next one did, and a function that gives a time of
        the event, or of another one of the run, on the sniffer's clock."""
        offset = None
        for index in sorted({event["settop_index"] for event in outcome.events}):
            box = self.boxes[index]
            begun, key = (box.requests, "unicast_join_ts") if box.requests else (box.joins, "mcast_join_ts")
            begun = [one for before, one in zip([(0, 0)] + begun, begun) if one[1] != before[1]]  # without repetitions
            events = sorted((event for event in outcome.events if event["settop_index"] == index), key=lambda event: event[key])
            channels = [int(ipaddress.ip_address(event["viewed_ip"])) & 0xFFFFFFFF for event in events]
            test.assertEqual([channel for _, channel in begun][:len(events)], channels)
            test.assertLessEqual(len(begun) - len(events), 1)  # the end of the test came into one
            offset = offset if offset is not None else begun[0][0] - events[0][key] / 1e5
            ends = [time for time, _ in begun[1:]] + [math.inf]
            for event, (begin, _), end in zip(events, begun, ends):
                yield event, box, begin, end, lambda name, of=event: of[name] / 1e5 + offset


class LiveUnicastLabTest(laboratory.LabTestCase):

    def run_test(self, lab_options, server="", **options):
        """What the run says, and what was on the wire."""
        with laboratory.Laboratory(last_member_interval=100, fcc_server=server, **lab_options) as lab:
            with lab.capture("home0") as capture:
                outcome = test_files.Run(lab, test_files.make(gap=300, **options)).wait()
            bad = capture.rows(["frame.number", "_ws.expert.message"],
                               "(_ws.malformed || _ws.expert.group == checksum) && !rtp")
            self.assertEqual(bad, [])
        for port in outcome.json["live_ports"]:
            self.assertEqual((port["unseen"], port["frames_unsent"], port["frames_dropped"]), (0, 0, 0))
        return outcome, Wire(capture)

    def assert_near(self, told, seen):
        self.assertLess(abs(told - seen), 1)

    def test_wire_agrees_with_report_of_bursts(self):
        for kind, environment, version, vlans, command, server in (
                ("FAST_CHANNEL_CHANGE", "TESTING", "IGMP_V3", (), {}, ""),
                ("FAST_CHANNEL_CHANGE", "REAL_WORLD", "MLD_V2", (101,), BY_PACKETS, ""),
                ("FAST_CHANNEL_CHANGE", "TESTING", "IGMP_V2", (101,), BY_PACKETS, "--lose-burst 5"),
                ("FAST_CHANNEL_CHANGE", "REAL_WORLD", "MLD_V1", (), {}, ""),
                ("RELIABLE_RETRANSMISSION", "REAL_WORLD", "MLD_V2", (101,), {}, ""),
                ("FCC_WITH_RRR", "TESTING", "IGMP_V3", (101,), {}, "")):
            with self.subTest(kind=kind, version=version, vlans=vlans, command=command):
                outcome, wire = self.run_test(
                    {"igmp_version": 2 if version == "IGMP_V2" else 3, "mld_version": 1 if version == "MLD_V1" else 2},
                    "--burst-start 400 --burst-rate 2 " + server, kind=kind, environment=environment, version=version,
                    vlans=vlans, command=command, stbs=2, channels=8, interval=2000, seconds=5,
                    profile={"MulticastJoinTriggerDelay": 30, "UnicastLeaveTriggerDelay": 500 if not command else 50})
                self.assertEqual(outcome.status, 0, outcome.errors)
                self.assertGreaterEqual(len(outcome.events), 4)
                for event, box, begin, end, at in wire.views(self, outcome):
                    stream = self.compare_multicast(wire, event, box, begin, end, at)
                    if kind != "RELIABLE_RETRANSMISSION":
                        self.compare_burst(event, box, begin, end, at, stream, bool(command))
                if server:
                    self.assertGreater(sum(event.get("lost_unicast_packets", 0) for event in outcome.events), 10)

    def compare_multicast(self, wire, event, box, begin, end, at):
        """Returns the packets of the view."""
        channel = int(ipaddress.ip_address(event["viewed_ip"])) & 0xFFFFFFFF
        join = next(time for time, joined in box.joins if begin <= time < end and joined == channel)
        self.assert_near(at("mcast_join_ts"), join)
        stream = [packet for packet in wire.streams[event["viewed_ip"]] if join < packet.time < at("last_mcast_pkt_ts") + 0.001]
        self.assert_near(at("first_mcast_pkt_ts"), stream[0].time)
        self.assert_near(at("last_mcast_pkt_ts"), stream[-1].time)
        self.assertEqual(event["total_mcast_packets"], len(stream))
        return stream

    def compare_burst(self, event, box, begin, end, at, stream, by_packets):
        burst = [packet for packet in box.again if begin < packet.time < end and packet.marked]
        self.assert_near(at("unicast_join_ts"), begin)
        left = next(time for time, _ in box.terminations if begin < time < end)
        self.assert_near(at("unicast_leave_ts"), left)
        for name, wanted in (("nosb", False), ("sbit", True)):
            part = [packet.time for packet in burst if packet.sbit == wanted]
            self.assertEqual(event.get(f"total_unicast_{name}_packets", 0), len(part))
            for which, time in (("first", min), ("last", max)):
                if part:
                    self.assert_near(at(f"{which}_unicast_{name}_pkt_ts"), time(part))
                else:
                    self.assertNotIn(f"{which}_unicast_{name}_pkt_ts", event)
            if by_packets and wanted:
                self.assertAlmostEqual(at("mcast_join_ts") - part[0], 30, delta=3)
                self.assertAlmostEqual(left - stream[0].time, 50, delta=3)
            elif not by_packets:
                self.assertAlmostEqual(at("mcast_join_ts") - begin, 30, delta=3)
                self.assertAlmostEqual(left - begin, 500, delta=3)
        numbers = [packet.number for packet in burst]
        highest = max(numbers, key=lambda number: ahead(number, numbers[0]))
        announced = next(number for time, number in box.announced if begin < time < end)
        total = ahead(highest, numbers[0]) + 1 + ahead(burst[0].sequence, announced)
        self.assertEqual(event.get("lost_unicast_packets", 0), total - len(set(numbers)))
        both = ahead(highest, stream[0].number) + 1
        self.assertEqual(event.get("uni_multi_overlap_count", 0), max(both, 0))
        self.assertEqual(event.get("uni_multi_gap_count", 0), max(-both, 0))

    def test_losses_are_asked_for_and_repaired(self):
        # Some requests are asked once only, others until the packet has come.
        for kind, version, server, boxes in (
                ("RELIABLE_RETRANSMISSION", "IGMP_V3", "--lose-repairs 30", {"RtpNackDelay": 10, "RtpNackInterval": 0}),
                ("RELIABLE_RETRANSMISSION", "MLD_V2", "--lose-repairs 30", {"RtpNackDelay": 0, "RtpNackInterval": 50}),
                ("FCC_WITH_RRR", "IGMP_V3", "--lose-burst 1", {"RtpNackDelay": 5, "RtpNackSeqBitmask": 0xFFFF})):
            with self.subTest(kind=kind, version=version, boxes=boxes):
                outcome, wire = self.run_test(
                    {"loss": 1}, "--burst-start 400 --burst-rate 2 " + server, kind=kind, environment=BOTH[kind],
                    version=version, packets=1000, interval=4000, seconds=8, stbs=2, channels=4, boxes=boxes)
                self.assertEqual(outcome.status, 0, outcome.errors)
                viewers, = [port for port in outcome.json["live_ports"] if port["name"] == "Viewers"]
                missed, repaired = viewers["packets_missed"], viewers["packets_repaired"]
                self.assertGreater(missed, 80)
                if boxes.get("RtpNackInterval") == 0:
                    self.assertLess(abs(repaired - 0.7 * missed), 4 * math.sqrt(0.21 * missed))
                else:  # all but those at the end of a view
                    self.assertGreater(repaired, missed - 10)
                self.compare_repairs(wire, outcome, boxes["RtpNackDelay"])
                self.assertEqual(viewers["nacks_sent"], len(outcome.rrr_events))

    def compare_repairs(self, wire, outcome, delay):
        told, late = collections.defaultdict(list), []
        for event in sorted(outcome.rrr_events, key=lambda event: event["nack_pkt_tx_ts"]):
            told[event["settop_index"]].append(event)
        for event, box, begin, end, at in wire.views(self, outcome):
            stream = self.compare_multicast(wire, event, box, begin, end, at)
            nacks = [nack for nack in box.nacks if begin < nack.time < end]
            asked = {number: nack.time for nack in reversed(nacks) for number in nack.asked}
            self.assertGreater(len(asked), 10)
            came = {packet.number: packet.time for packet in reversed(box.again) if begin < packet.time < end}
            for before, after in zip(stream, stream[1:]):
                for number in range(before.number + 1, before.number + ahead(after.number, before.number)):
                    due = after.time + max(delay, 1)  # a port reads what has arrived every 1 ms
                    if due < at("mcast_leave_ts") - 20 and came.get(number % 0x10000, math.inf) > due:
                        late.append(asked.get(number % 0x10000, math.inf) - due)
            for nack in nacks:
                rrr = told[event["settop_index"]].pop(0)
                self.assertEqual((rrr["nack_rtp_seq_number"], rrr["viewed_ip"]), (nack.asked[0], event["viewed_ip"]))
                self.assert_near(at("nack_pkt_tx_ts", rrr), nack.time)
                again = min((other.time for other in nacks
                             if other.time > nack.time and set(other.asked) & set(nack.asked)), default=end)
                answers = [packet for packet in box.again
                           if nack.time < packet.time < again and packet.number in nack.asked and not packet.marked]
                self.assertEqual(rrr.get("retrans_fail", False), len(answers) < len(nack.asked))
                self.assert_near(at("last_retrans_rtp_pkt_rx_ts", rrr), max([nack.time] + [packet.time for packet in answers]))
        late.sort()
        self.assertLess(late[int(len(late) * 0.95)], 1)
        self.assertLess(late[-1], 20)  # on a busy machine
        self.assertLessEqual(sum(map(len, told.values())), 40)  # of views that the end of the test came into

    # Options of the server and more settings; the error, if there must be one, and what the figures must be.
    MISBEHAVIOUR = {
        "FAST_CHANNEL_CHANGE": (
            ("--silent", {}, "has not answered 2 requests for bursts", lambda f: f["bursts_unanswered"] == 2 and not f["bursts"]),
            ("--refuse 503", {}, "has refused 2 requests for bursts with response 503", lambda f: not f["bursts"]),
            ("--late 150", {}, None, lambda f: f["bursts"] == 2 and f["latency"] >= 150),
            ("--burst-rate 0.8", BY_PACKETS, "has sent 1 STB no S-bit", lambda f: f["sbit_failure"] == 2 and not f["total_mcast_packets"]),
            ("--burst-rate 100", BY_PACKETS, None, lambda f: f["bursts"] == 2 and f["join_delay"] < 20),
            ("--lose-burst 20", {}, None, lambda f: 20 < f["lost_unicast_packets"] < 90),
            ("--no-sbit --burst-rate 2", BY_PACKETS, None, lambda f: 350 < f["join_delay"] < 450 and not f["sbit_failure"]),
            ("--sbit-late 300 --burst-rate 2", {**BY_PACKETS, "MaxSbitDelay": 500}, None,
             lambda f: 490 < f["join_delay"] < 510 and f["sbit_failure"] == 1),
            ("--wrong-osn 3", {}, "packets whose original sequence numbers are not those of the stream", lambda f: f["bursts"]),
            ("--twice", {}, None, lambda f: f["duplicate_unicast_packets"] > 100),
            ("--ignore-termination", {}, "went on sending 2 bursts after it was asked three times",
             lambda f: f["unicast_leave_latency_flag"] == 2),
            ("--require-token", {}, "has refused 2 requests for bursts with response 405", lambda f: not f["bursts"]),
            ("--require-token --token-life 1", {"live": MAPPING}, None, lambda f: f["bursts"] == 2),
            ("--silent", {"live": MAPPING}, "has not answered 1 port mapping request with a token", lambda f: not f["bursts"]),
            ("", {"address": "10.0.254.9"}, "could not be reached by 1 STB", lambda f: f["bursts_unanswered"] == 2 and not f["bursts_requested"])),
        "RELIABLE_RETRANSMISSION": (
            ("--silent", {}, "has answered less than a tenth of the NACKs of 1 STB", lambda f: not f["packets_repaired"] and f["retrans_fail"] == f["nacks_sent"] > 5),
            ("--late 150", {}, None, lambda f: f["packets_repaired"] > 5 and f["retrans_fail"] < 3),
            ("--wrong-osn 3", {}, "has answered less than a tenth of the NACKs of 1 STB", lambda f: f["packets_repaired"] < 3 and f["retrans_fail"] > 5),
            ("--twice", {}, None, lambda f: 5 < f["packets_repaired"] <= f["packets_missed"] and f["retrans_fail"] < 3),
            ("--require-token", {}, "for want of a valid token", lambda f: f["retrans_fail"] == f["nacks_sent"]),
            ("--require-token", {"live": MAPPING}, None, lambda f: f["packets_repaired"] > 5 and f["retrans_fail"] < 3),
            ("", {"address": "10.0.254.9"}, "could not be reached by 1 STB", lambda f: f["nacks_sent"] == 0 < f["packets_missed"])),
    }

    def test_misbehaviour_shows(self):
        for kind, server, settings, error, is_right in ((kind, *case) for kind in self.MISBEHAVIOUR for case in self.MISBEHAVIOUR[kind]):
            with self.subTest(kind=kind, server=server, settings=settings):
                repairs, command = kind == "RELIABLE_RETRANSMISSION", dict(settings)
                live, address = command.pop("live", ""), command.pop("address", test_files.SERVER[4])
                outcome, _ = self.run_test(
                    {"loss": 1 if repairs else 0}, "--burst-start 400 " + server, kind=kind, interval=2000, seconds=4, live=live,
                    environment="REAL_WORLD" if repairs else "TESTING", command=command,
                    boxes=test_files.servers(4, repairs, address))
                figures = collections.Counter(bursts=sum("first_unicast_nosb_pkt_ts" in event for event in outcome.events))
                for record in outcome.events + outcome.rrr_events + outcome.json["live_ports"]:
                    figures.update({name: value for name, value in record.items() if isinstance(value, int)})
                for event in outcome.events:
                    for name, later, earlier in (("latency", "first_unicast_nosb_pkt_ts", "unicast_join_ts"),
                                                 ("join_delay", "mcast_join_ts", "first_unicast_nosb_pkt_ts")):
                        if later in event and earlier in event:
                            figures[name] = max(figures[name], milliseconds(event, later, earlier))
                self.assertTrue(is_right(figures), f"{figures}\n{outcome.errors}")
                self.assertEqual(outcome.status, 3 if error else 0, outcome.errors)
                if error:
                    self.assertRegex(outcome.errors, rf'Port "Viewers" \(home0\): the server {address}:{PORT} .*{error}.*, '
                                                     r"first of STB 1 of STB block \d+")

    def test_examples(self):
        for name, loss in (("fast-channel-change", 0), ("retransmission", 0.5), ("both", 0.5)):
            with self.subTest(name=name), laboratory.Laboratory(fcc_server="", loss=loss) as lab:
                outcome = test_files.Run(lab, (laboratory.PROJECT / "examples" / f"live-{name}.yaml").read_text()).wait()
                self.assertEqual((outcome.status, "Error" in outcome.errors), (0, False), outcome.errors)
                self.assertGreaterEqual(len(outcome.events), 3)
                self.assertEqual(len(outcome.rrr_events) > 20, name != "fast-channel-change")


if __name__ == "__main__":
    laboratory.main()
