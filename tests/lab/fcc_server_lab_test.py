"""The laboratory's server for rapid acquisition and retransmission (tools/lab_server), asked by a client of the test's own.
live_unicast_lab_test.py has it misbehave, and answer on VLANs."""

import time

import laboratory
from fcc_client import COMPOUND, ME, SSRC, Box, Streams, element, give_addresses, nack, payload, rams_r, rams_t, rtcp, u32


class FccServerTest(laboratory.LabTestCase):

    def test_server_bursts_and_repairs(self):
        for version, options in ((4, ""), (6, "--require-token")):
            with self.subTest(version=version), laboratory.Laboratory(fcc_server=options) as lab, Streams(lab) as streams:
                give_addresses(lab)
                box, ssrc, beginning = Box(lab, version), SSRC[version], b""
                self.addCleanup(box.socket.close)
                time.sleep(1.5)
                with lab.capture("home0") as capture:
                    if options:
                        beginning = self.ask_for_token(box, ssrc)
                    self.check_burst(streams, box, ssrc, beginning)
                    for first, mask, offsets in ((streams.newest - 30, 0, (0,)), (streams.newest - 300, 0x8001, (0, 1, 16)),
                                                 (streams.newest + 900, 0, ())):
                        repairs = box.ask(beginning + nack(ssrc, first, mask), 0.05)
                        expected = [(first + offset) % 65536 for offset in offsets]
                        self.assertEqual([(packet.osn, packet.join, packet.payload) for packet in repairs],
                                         [(osn, None, payload(ssrc, osn)) for osn in expected])
                    for refused, response in ((rams_r(0x12345678), 509), (rams_r(ssrc, element(2, b"abc")), 400)):
                        box.ask(beginning + refused, 0.05)
                        self.assertEqual((box.rams_i[-1]["response"], 32 in box.rams_i[-1]), (response, False))
                # tshark knows RTCP by its compounds.
                rows = capture.rows(["rtcp.length_check", "_ws.malformed", "udp.checksum.status"], "rtcp && udp.srcport == 5006",
                                    ["rtcp_udp"])
                self.assertEqual([(set(row[0].split(",")), *row[1:]) for row in rows], [({"1"}, "", "1")] * (7 if options else 0))

    def ask_for_token(self, box, ssrc):
        """What messages begin with that show a token. Without it they get none of what they ask for."""
        nonce = b"nonce-64"
        for message, kind in ((rams_r(ssrc), 6), (nack(ssrc, 65210), 1)):
            self.assertEqual(box.ask(COMPOUND + message, 0.1), [])
            self.assertEqual(box.tokens.pop(), (4, u32(ssrc, ME) + bytes([205, kind << 3, 0, 0]) + bytes(8)))
        self.assertEqual(box.rams_i.pop()["response"], 405)
        box.ask(COMPOUND + rtcp(1, 210, u32(ME) + nonce), 0.1)
        (kind, response), = box.tokens
        self.assertEqual((kind, response[4:18], response[36:40]), (2, u32(ME) + nonce + b"\0\10", u32(300)))
        return COMPOUND + rtcp(3, 210, u32(ME) + nonce + response[16:36])

    def check_burst(self, streams, box, ssrc, beginning):
        box.begin = time.monotonic()
        box.ask(beginning + rams_r(ssrc, element(2, u32(800)), element(4, bytes(4) + u32(10**8))), 2.5)
        first_multicast = (streams.newest + 20) % 65536
        box.ask(beginning + rams_t(ssrc, first_multicast), 0.3)
        information, = box.rams_i
        self.assertEqual([information[name] for name in ("sender", "media", 31, "kind", "number", "response")],
                         [ssrc, ssrc, ssrc, 2, 0, 200])
        for i, packet in enumerate(box.rtx):  # those of the channel, one after the other
            original = box.rtx[0].osn + i
            self.assertEqual(
                (packet.header, packet.ssrc, packet.sequence, packet.timestamp % 65536, packet.osn, packet.payload),
                ((0x80, 99), box.rtx[0].ssrc, (information[32] + i) % 65536, original * 450 % 65536,
                 original % 65536, payload(ssrc, original)))
        self.assertEqual(box.rtx[-1].osn, (first_multicast - 1) % 65536)
        self.assertNotEqual(box.rtx[0].ssrc, ssrc)
        join = next(packet.time for packet in box.rtx if packet.join)
        self.assertAlmostEqual(join, information[33] / 1000, delta=0.05)
        self.assertEqual({packet.join for packet in box.rtx if packet.time >= join}, {True})


if __name__ == "__main__":
    laboratory.main()
