"""The laboratory's server for rapid acquisition and retransmission (tools/lab_server)."""

import json
import os
import signal
import subprocess
import time

import laboratory
from fcc_client import BOX, COMPOUND, ME, RATE, SSRC, Box, Streams, element, frame, give_addresses, nack, payload, rams_r, \
    rams_t, rtcp, stream_packet, u32
from live_lab_test import question

SERVER = os.environ.get("ORV_LAB_SERVER", laboratory.PROJECT / "build" / "dev" / "bin" / "lab_server")


class FccServerTest(laboratory.LabTestCase):

    def up(self, **options):
        lab = self.enterContext(laboratory.Laboratory(fcc_server="", **options))
        give_addresses(lab)
        streams = Streams(lab)
        self.addCleanup(streams.stop)
        time.sleep(1.5)
        return lab, streams

    def box(self, *options):
        box = Box(*options)
        self.addCleanup(box.socket.close)
        return box

    def check_packets(self, box, version=4, wrong=0):
        """They are those of the channel, one after the other."""
        for i, packet in enumerate(box.rtx):
            original = box.rams_i[0][32] + i
            self.assertEqual(
                (packet.header, packet.ssrc, packet.sequence, packet.timestamp % 65536, packet.osn, packet.payload),
                ((0x80, 99), box.rtx[0].ssrc, (box.rtx[0].sequence + i) % 65536, original * 450 % 65536,
                 (original + wrong) % 65536, payload(SSRC[version], original)))

    def test_server_bursts_and_repairs(self):
        lab, streams = self.up()
        capture = self.enterContext(lab.capture("home0"))
        for version, beginning in ((4, COMPOUND), (6, b"")):
            with self.subTest(version=version):
                box, ssrc = self.box(lab, version), SSRC[version]
                box.ask(beginning + rams_r(ssrc, element(2, u32(800)), element(4, bytes(4) + u32(10**8))), 1)
                box.ask(beginning + rams_r(ssrc), 2)
                first_multicast = (streams.newest + 20) % 65536
                box.ask(beginning + rams_t(ssrc, first_multicast), 0.3)
                information, update = box.rams_i
                self.assertEqual((information["sender"], information["media"], information[31], information["kind"],
                                  information["number"], information["response"], information[34]),
                                 (ssrc, ssrc, ssrc, 2, 0, 200, 10000))
                self.assertEqual((update["number"], update["response"], update[32]), (1, 200, information[32]))
                self.assertAlmostEqual(information[33], 2000, delta=50)
                self.assertAlmostEqual(information[35], 1.5 * RATE * 8 * (1314 + 22), delta=60000)
                self.check_packets(box, version)
                self.assertEqual(box.rtx[-1].osn, (first_multicast - 1) % 65536)
                self.assertNotEqual(box.rtx[0].ssrc, ssrc)
                for begin, end, rate in ((0, 0.9, 1.5 * RATE), (2.1, 2.9, RATE)):
                    count = sum(begin <= packet.time < end for packet in box.rtx)
                    self.assertAlmostEqual(count / (end - begin), rate, delta=15)
                join = next(packet.time for packet in box.rtx if packet.join)
                self.assertAlmostEqual(join, information[33] / 1000, delta=0.05)
                self.assertEqual({packet.join for packet in box.rtx if packet.time >= join}, {True})
                for first, mask, offsets in ((streams.newest - 30, 0, (0,)), (streams.newest - 300, 0x8001, (0, 1, 16)),
                                             (streams.newest + 900, 0, ())):
                    repairs = box.ask(beginning + nack(ssrc, first, mask), 0.05)
                    expected = [(first + offset) % 65536 for offset in offsets]
                    self.assertEqual([(packet.osn, packet.join, packet.payload) for packet in repairs],
                                     [(osn, None, payload(ssrc, osn)) for osn in expected])
                box.ask(beginning + rams_r(0x12345678), 0.05)
                self.assertEqual((box.rams_i[-1]["response"], box.rams_i[-1][33], 32 in box.rams_i[-1]), (509, 0, False))
                box.ask(beginning + rams_r(ssrc, element(2, b"abc")), 0.05)
                self.assertEqual(box.rams_i[-1]["response"], 400)
                box.ask(beginning + rams_r(ssrc)[:-4], 0.05)
        counts = json.loads(subprocess.run([laboratory.LAB_SCRIPT, "status"], capture_output=True).stdout.splitlines()[-1])
        expected = {"requests": 8, "updates": 2, "refused": 4, "bursts": 2, "terminations": 2, "nacks": 6, "asked": 10,
                    "repairs": 8, "unknown": 2, "malformed": 4, "not_sent": 0, "not_received": 0}
        self.assertEqual({name: counts[name] for name in expected}, expected)
        capture.stop()
        # tshark knows RTCP by its compounds.
        rows = capture.rows(["rtcp.length_check", "_ws.malformed", "udp.checksum.status"], "rtcp && udp.srcport == 5006",
                            ["rtcp_udp"])
        self.assertEqual([(set(row[0].split(",")), *row[1:]) for row in rows], [({"1"}, "", "1")] * 4)

    def test_server_keeps_vlans_apart(self):
        lab, streams = self.up()
        server = json.loads(lab.ask_device("ip", "-j", "link", "show", "br0"))[0]["address"]
        for vlans in ((101,), (201, 101)):
            with self.subTest(vlans=vlans), lab.capture("home0") as capture:
                for sequence in range(3):
                    packet = frame("01005e010001 001094ff0001", vlans, 4, "10.255.0.2", "225.1.0.1", 5000,
                                   stream_packet(4, sequence))
                    lab.send("head0", packet)
                request = frame(server.replace(":", "") + "001094000001", vlans, 4, BOX[4], "10.0.255.1", 5006,
                                rams_r(SSRC[4]))
                lab.send("home0", question("10.0.255.1", vlans), question("2001:db8::255:1", vlans), request)
                time.sleep(0.5)
            fields = ["vlan.id", "eth.dst", "arp.src.hw_mac", "icmpv6.opt.linkaddr", "ip.dst", "udp.dstport"]
            tags, box = ",".join(map(str, vlans)), "00:10:94:00:00:01"
            asker = "02:10:94:00:00:01"
            self.assertEqual(capture.rows(fields, f"eth.src == {server} && (arp || icmpv6.type == 136 || udp)"),
                             [[tags, asker, server, "", "", ""], [tags, asker, "", server, "", ""]] +
                             [[tags, box, "", "", BOX[4], "5006"]] * 4)

    # Options: answers to RAMS-R, their response, packets within 0.8 s, when the first one says that the box may join, whether
    # they go on after RAMS-T, what is added to original sequence numbers, answers to one NACK of 10 packets.
    MISBEHAVIOUR = {
        "--burst-start 500": (1, 200, 240, None, False, 0, 10),
        "--silent": (0, 0, 0, None, False, 0, 0),
        "--refuse 512": (1, 512, 0, None, False, 0, 10),
        "--late 300": (1, 200, 150, None, True, 0, 0),
        "--burst-rate 0.5": (1, 200, 80, None, False, 0, 10),
        "--burst-rate 5": (1, 200, 360, 0.25, False, 0, 10),
        "--burst-rate 5 --sbit-late 300": (1, 200, 360, 0.55, False, 0, 10),
        "--burst-rate 5 --no-sbit": (1, 200, 360, None, False, 0, 10),
        "--burst-rate 2.5 --wrong-osn 3": (1, 200, 360, 0.67, False, 3, 10),
        "--twice": (2, 200, 480, None, False, 0, 20),
        "--lose-burst 25": (1, 200, 180, None, False, 0, 10),
        "--lose-repairs 100": (1, 200, 240, None, False, 0, 0),
        "--ignore-termination": (1, 200, 240, None, True, 0, 10),
    }

    def start(self, lab, number, *options):
        """Another server beside the laboratory's, and a box for it."""
        address = f"10.0.255.{number}"
        server = lab.start([SERVER, *options, "--address4", address, "--address6", f"2001:db8::{number}", "br0"],
                           on_device=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(server.communicate)
        self.addCleanup(server.kill)
        server.stderr.readline()  # it is ready
        return server, self.box(lab, 4, address)

    def test_server_misbehaves(self):
        lab, streams = self.up()
        started = [self.start(lab, number, *options.split()) for number, options in enumerate(self.MISBEHAVIOUR, 2)]
        time.sleep(1.2)
        for (server, box), (options, expected) in zip(started, self.MISBEHAVIOUR.items()):
            informations, response, packets, join, goes_on, wrong, repairs = expected
            with self.subTest(options=options):
                box.begin = time.monotonic()
                count = len(box.ask(COMPOUND + rams_r(SSRC[4]), 0.8))
                self.assertAlmostEqual(count, packets, delta=packets * 0.1)
                self.assertEqual([message["response"] for message in box.rams_i], [response] * informations)
                first = next((packet.time for packet in box.rtx if packet.join), None)
                self.assertAlmostEqual(first, join, delta=0.05) if join else self.assertEqual(first, join)
                self.assertEqual({packet.join is None for packet in box.rtx}, {"--no-sbit" in options} if packets else set())
                if options not in ("--twice", "--lose-burst 25"):
                    self.check_packets(box, wrong=wrong)
                if options == "--late 300":
                    self.assertAlmostEqual(box.rams_i[0]["time"], 0.3, delta=0.02)
                box.ask(COMPOUND + rams_t(SSRC[4]), 0.05)
                self.assertEqual(len(box.ask(COMPOUND, 0.15)) > 0, goes_on)
                before = len(box.rtx)
                if "ignore" not in options and "late" not in options:
                    self.assertEqual(len(box.ask(nack(SSRC[4], streams.newest - 20, 0x1FF), 0.05)), repairs)
                    server.send_signal(signal.SIGTERM)
                    counts = json.loads(server.communicate()[0])
                    copies = 2 if options == "--twice" else 1
                    self.assertEqual((counts["burst_packets"] * copies, counts["repairs"] * copies), (before, repairs))
                    self.assertEqual(counts["repairs_lost"], 10 if options == "--lose-repairs 100" else 0)
                    self.assertEqual(counts["burst_lost"] > 0, options == "--lose-burst 25")

    def test_server_has_one_burst_for_a_box(self):
        lab, streams = self.up()
        for packets, request in ((120, rams_r(SSRC[6])), (0, rams_r(0x12345678)), (0, rtcp(1, 203, u32(ME)))):
            with self.subTest(packets=packets, request=request.hex()):
                box = self.box(lab)
                first, = {packet.ssrc for packet in box.ask(rams_r(SSRC[4]), 0.2)}
                box.ask(request, 0.05)
                after = box.ask(COMPOUND, 0.4)
                self.assertAlmostEqual(len(after), packets, delta=packets * 0.1)
                self.assertNotIn(first, {packet.ssrc for packet in after})

    def test_server_wants_tokens(self):
        lab, streams = self.up()
        _, box = self.start(lab, 2, "--require-token")
        time.sleep(1.2)
        box.ask(COMPOUND + rtcp(1, 210, u32(ME) + b"nonce-64"), 0.1)
        (kind, response), = box.tokens
        self.assertEqual((kind, response[4:16], response[16:18]), (2, u32(ME) + b"nonce-64", b"\0\10"))
        token, expiry, seconds, types = response[16:28], response[28:36], response[36:40], response[40:]
        self.assertEqual((seconds, types[:3]), (u32(300), b"\2\315\313"))
        self.assertAlmostEqual(int.from_bytes(expiry, "big") - 2208988800, time.time() + 300, delta=2)
        good = rtcp(3, 210, u32(ME) + b"nonce-64" + token + expiry)
        bad = rtcp(3, 210, u32(ME) + b"nonce-65" + token + expiry)
        for verification, nonce in ((b"", bytes(8)), (bad, b"nonce-65"), (good, None)):
            for message, five in ((rams_r(SSRC[4]), 6), (nack(SSRC[4], streams.newest - 20), 1)):
                box.tokens, box.rams_i, box.rtx = [], [], []
                box.ask(COMPOUND + verification + message, 0.1)
                failure = u32(SSRC[4], ME) + bytes([205, five << 3, 0, 0]) + (nonce or b"")
                self.assertEqual(box.tokens, [(4, failure)] if nonce else [])
                self.assertEqual([message["response"] for message in box.rams_i],
                                 [] if five == 1 else [405] if nonce else [200])
                self.assertEqual(bool(box.rtx), nonce is None)


if __name__ == "__main__":
    laboratory.main()
