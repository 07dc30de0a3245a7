"""Fast channel change and retransmission on a real network: what iptvtest reports is what others see on the wire, and what a
server does wrong shows."""

import collections
import ipaddress
import math
import re
import struct
import types

import laboratory
import test_files

PORT = test_files.SERVER_PORT
BOTH = {"RELIABLE_RETRANSMISSION": "REAL_WORLD", "FCC_WITH_RRR": "TESTING"}
BY_PACKETS = {"MulticastJoinTrigger": "SBIT_AND_DELAY", "UnicastLeaveTrigger": "MULTICAST_PKT_AND_DELAY"}
MAPPING = "live: {port_mapping: true}\n"
RETRANSMISSION_TYPE, FEEDBACK, NACK, RAMS = 99, 205, 1, 6
REQUEST, FIRST_SEQUENCE = 1, 32

Sent = collections.namedtuple("Sent", "time ssrc")  # of a box: a request or termination for a channel
Nack = collections.namedtuple("Nack", "time asked")
Again = collections.namedtuple("Again", "time sequence number marked sbit")  # `marked`: has the header extension of bursts
Packet = collections.namedtuple("Packet", "time number")


def ahead(number, before):
    """How much later a sequence number is than another one, which may be behind it."""
    return (number - before + 0x8000) % 0x10000 - 0x8000


def feedback(datagram):
    """RTCP feedback in a datagram, as (format, SSRC of the media source, body)."""
    while len(datagram) >= 4:
        first, kind, words = struct.unpack("!BBH", datagram[:4])
        packet, datagram = datagram[4:4 + 4 * words], datagram[4 + 4 * words:]
        if kind == FEEDBACK:
            yield first & 31, struct.unpack("!I", packet[4:8])[0], packet[8:]


class Wire:
    """What a sniffer saw on home0; times in ms."""

    def __init__(self, capture):
        self.boxes = collections.defaultdict(lambda: types.SimpleNamespace(
            requests=[], terminations=[], nacks=[], again=[], joins=[], announced=[]))  # by IP address
        self.streams = collections.defaultdict(list)  # by group
        fields = ["frame.time_epoch", "ip.src", "ipv6.src", "ip.dst", "ipv6.dst", "udp.srcport", "udp.payload"]
        for when, src4, src6, dst4, dst6, port, payload in capture.rows(fields, "udp"):
            self._take(float(when) * 1000, src4 or src6, dst4 or dst6, int(port), bytes.fromhex(payload.replace(":", "")))
        for when, src, old, new, newer, *kinds in capture.rows(
                ["frame.time_epoch", "eth.src", "igmp.maddr", "icmpv6.mld.multicast_address", "icmpv6.mldr.mar.multicast_address",
                 "igmp.record_type", "icmpv6.mldr.mar.record_type"],
                "eth.src[0:3] == 00:10:94 && (igmp.type == 0x22 || igmp.type == 0x16 || icmpv6.type == 143 || icmpv6.type == 131)"):
            for group, kind in zip((old or new or newer).split(","), "".join(kinds).split(",")):
                if kind != "3":  # becomes INCLUDE: a leave
                    self.boxes[int(src[-2:], 16)].joins.append((float(when) * 1000, group))

    def _take(self, when, source, target, port, data):
        server = source in test_files.SERVER.values()
        if ipaddress.ip_address(target).is_multicast:
            self.streams[target].append(Packet(when, struct.unpack("!H", data[2:4])[0]))
        elif server and port == PORT and data[1] & 127 == RETRANSMISSION_TYPE:
            marked = bool(data[0] & 16)
            at = 12 + (4 + 4 * struct.unpack("!H", data[14:16])[0] if marked else 0)
            self.box(target).again.append(Again(when, *struct.unpack("!H", data[2:4]), *struct.unpack("!H", data[at:at + 2]), marked,
                                                marked and bool(struct.unpack("!H", data[16:18])[0] & 8)))
        elif server:  # the sequence number in RAMS-I that the burst begins with
            self.box(target).announced += [Packet(when, *struct.unpack("!H", body[at + 4:at + 6]))
                                           for kind, _, body in feedback(data) if kind == RAMS
                                           for at in range(4, len(body) - 7, 8) if body[at] == FIRST_SEQUENCE]
        else:
            for kind, ssrc, body in feedback(data):
                if kind == NACK:
                    first, mask = struct.unpack("!HH", body[:4])
                    others = [first + 1 + bit & 0xFFFF for bit in range(16) if mask >> bit & 1]
                    self.box(source).nacks.append(Nack(when, [first, *others]))
                elif kind == RAMS:
                    box = self.box(source)
                    if body[0] == REQUEST:  # the channel is in its first element
                        box.requests.append(Sent(when, struct.unpack("!I", body[8:12])[0]))
                    else:
                        box.terminations.append(Sent(when, ssrc))

    def box(self, address):
        """Boxes have the addresses .10 or ::10 and the next ones; their number is also the end of their MAC address."""
        return self.boxes[int(re.split("[.:]", address)[-1]) - 9 if "." in address
                          else int(address.split(":")[-1], 16) - 15]

    def views(self, test, outcome):
        """Of each event: the event, its box, when its view began and when the next one did, and a function that gives a time of
        the event, or of another one of the run, on the sniffer's clock."""
        by_box = collections.defaultdict(list)
        for event in outcome.events:
            by_box[event["settop_index"]].append(event)
        offset = None
        for number, events in sorted(by_box.items()):
            box = self.boxes[number]
            key = "unicast_join_ts" if box.requests else "mcast_join_ts"
            begun = [(time, ssrc) for time, ssrc in box.requests] or [
                (time, int(ipaddress.ip_address(group)) & 0xFFFFFFFF) for time, group in box.joins]
            begun = [one for i, one in enumerate(begun) if i == 0 or one[1] != begun[i - 1][1]]  # repetitions
            events.sort(key=lambda event: event[key])
            channels = [int(ipaddress.ip_address(event["viewed_ip"])) & 0xFFFFFFFF for event in events]
            test.assertEqual([ssrc for _, ssrc in begun][:len(events)], channels)
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
        join = next(time for time, group in box.joins if begin <= time < end and group == event["viewed_ip"])
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
                    version=version, packets=1000, interval=4000, seconds=8, stbs=2, channels=8, boxes=boxes)
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

    # Options of the server and more settings; what must be wrong in the figures or, if anything, in the error.
    MISBEHAVIOUR = {
        "FAST_CHANNEL_CHANGE": (
            ("--silent", {}, "has not answered 2 requests for bursts", lambda f: f.bursts_unanswered == f.no_burst == 2),
            ("--refuse 503", {}, "has refused 2 requests for bursts with response 503", lambda f: f.no_burst == 2),
            ("--late 150", {}, None, lambda f: f.no_burst == 0 and min(f.latencies) >= 150),
            ("--burst-rate 0.8", BY_PACKETS, None, lambda f: f.sbit_failures == 2 and f.never_joined == 2),
            ("--burst-rate 100", BY_PACKETS, None, lambda f: f.highest_rate > 3000),
            ("--lose-burst 20", {}, None, lambda f: 20 < f.lost < 90),
            ("--no-sbit --burst-rate 2", BY_PACKETS, None, lambda f: 350 < max(f.join_delays) < 450 and f.sbit_failures == 0),
            ("--sbit-late 300 --burst-rate 2", {**BY_PACKETS, "MaxSbitDelay": 500}, None,
             lambda f: 490 < max(f.join_delays) < 510 and f.sbit_failures == 1),
            ("--wrong-osn 3", {}, "packets whose original sequence numbers are not those of the stream", lambda f: True),
            ("--twice", {}, None, lambda f: f.duplicates == f.unicast / 2),
            ("--ignore-termination", {}, "went on sending 2 bursts after it was asked three times", lambda f: f.slow_leaves == 2),
            ("--require-token", {}, "has refused 2 requests for bursts with response 405", lambda f: f.no_burst == 2),
            ("--require-token --token-life 1", {"live": MAPPING}, None, lambda f: f.no_burst == 0),
            ("--silent", {"live": MAPPING}, "has not answered 2 port mapping requests with a token", lambda f: f.no_burst == 2),
            ("", {"address": "10.0.254.9"}, "could not be sent 1 messages", lambda f: f.bursts_requested == 0)),
        "RELIABLE_RETRANSMISSION": (
            ("--silent", {}, None, lambda f: f.packets_repaired == 0 and f.failed == f.nacks_sent > 5),
            ("--late 150", {}, None, lambda f: f.packets_repaired > 5 and f.failed > 5),  # those that are asked for again
            ("--lose-repairs 50", {}, None, lambda f: f.packets_repaired > 5 and f.failed > 2),
            ("--wrong-osn 3", {}, None, lambda f: f.packets_repaired < 3 and f.failed > 5),
            ("--twice", {}, None, lambda f: 5 < f.packets_repaired <= f.packets_missed and f.failed < 3),
            ("--require-token", {}, "that had no valid token", lambda f: f.packets_repaired == 0 and f.failed == f.nacks_sent),
            ("--require-token", {"live": MAPPING}, None, lambda f: f.packets_repaired > 5 and f.failed < 3),
            ("", {"address": "10.0.254.9"}, "could not be sent 1 messages", lambda f: f.nacks_sent == 0 < f.packets_missed)),
    }

    def test_misbehaviour_shows(self):
        for kind, cases in self.MISBEHAVIOUR.items():
            repairs = kind == "RELIABLE_RETRANSMISSION"
            for server, settings, error, is_right in cases:
                with self.subTest(kind=kind, server=server, settings=settings):
                    command = dict(settings)
                    live, address = command.pop("live", ""), command.pop("address", None)
                    with laboratory.Laboratory(last_member_interval=100, fcc_server="--burst-start 400 " + server,
                                               loss=1 if repairs else 0) as lab:
                        outcome = test_files.Run(lab, test_files.make(
                            kind=kind, environment="REAL_WORLD" if repairs else "TESTING", interval=2000, gap=300, seconds=4,
                            command=command, live=live, boxes=test_files.servers(4, repairs, address))).wait(60)
                    figures = self.figures(outcome)
                    self.assertTrue(is_right(figures), f"{figures}\n{outcome.errors}")
                    if error:
                        self.assertEqual(outcome.status, 3)
                        server_address = re.escape(f"{address or test_files.SERVER[4]}:{PORT}")
                        self.assertRegex(outcome.errors, rf'Port "Viewers" \(home0\): the server {server_address} .*{error}.*, '
                                                         r"first of STB 1 of STB block \d+")
                    else:
                        self.assertEqual((outcome.status, "Error" in outcome.errors), (0, False), outcome.errors)

    @staticmethod
    def figures(outcome):
        viewers, = [port for port in outcome.json["live_ports"] if port["name"] == "Viewers"]
        events = outcome.events
        bursts = [event for event in events if "first_unicast_nosb_pkt_ts" in event]

        def total(*names):
            return sum(event.get(name, 0) for event in events for name in names)

        def times(later, earlier, chosen):
            return [test_files.milliseconds(event, later, earlier) for event in chosen if later in event]

        return types.SimpleNamespace(
            **viewers, no_burst=len(events) - len(bursts), never_joined=sum("mcast_join_ts" not in event for event in events),
            latencies=times("first_unicast_nosb_pkt_ts", "unicast_join_ts", bursts),
            join_delays=times("mcast_join_ts", "first_unicast_nosb_pkt_ts", bursts),
            highest_rate=max((1000 * event["total_unicast_nosb_packets"] / time for event in bursts for time in
                              times("last_unicast_nosb_pkt_ts", "first_unicast_nosb_pkt_ts", [event]) if time > 0), default=0),
            lost=total("lost_unicast_packets"), duplicates=total("duplicate_unicast_packets"),
            unicast=total("total_unicast_nosb_packets", "total_unicast_sbit_packets"),
            sbit_failures=total("sbit_failure"), slow_leaves=total("unicast_leave_latency_flag"),
            failed=sum(event.get("retrans_fail", False) for event in outcome.rrr_events))


if __name__ == "__main__":
    laboratory.main()
