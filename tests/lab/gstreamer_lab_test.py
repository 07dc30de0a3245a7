"""GStreamer's channels (scripts/lab/gstreamer_channels.py) lose packets; what it is asked for, it sends again."""

import ipaddress
import socket
import struct
import subprocess
import sys
import time

import laboratory
from fcc_client import COMPOUND, GROUP, Box, give_addresses, nack

CHANNELS = laboratory.PROJECT / "scripts" / "lab" / "gstreamer_channels.py"


class GstreamerLabTest(laboratory.LabTestCase):

    def test_gstreamer_answers_requests(self):
        for version in (4, 6):
            with self.subTest(version=version), laboratory.Laboratory() as lab:
                give_addresses(lab)
                command = [sys.executable, CHANNELS, "--group", GROUP[version], "--channels", 2, "--loss", 10]
                gstreamer = lab.start(command, on_device=True, stdout=subprocess.DEVNULL)
                self.addCleanup(gstreamer.wait)
                self.addCleanup(gstreamer.terminate)
                box = Box(lab, version, port=6000)
                self.addCleanup(box.socket.close)
                received = {}  # by SSRC and sequence number
                with lab.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(3)) as port:
                    port.bind(("home0", 0))
                    end = time.monotonic() + 3
                    while time.monotonic() < end:
                        rtp = port.recv(2000)[14 + {4: 20, 6: 40}[version] + 8:]
                        if len(rtp) == 12 + 1316:
                            _, sequence, _, ssrc = struct.unpack("!HHII", rtp[:12])
                            received[ssrc, sequence] = rtp[12:]
                first = int(ipaddress.ip_address(GROUP[version])) % 2**32
                self.assertEqual({ssrc for ssrc, _ in received}, {first, first + 1})
                for ssrc, beginning in ((first, COMPOUND), (first + 1, b"")):
                    mine = [sequence for there, sequence in received if there == ssrc]
                    all_sent = [(mine[0] + i) % 65536 for i in range((mine[-1] - mine[0]) % 65536 + 1)]
                    self.assertAlmostEqual(len(mine) / len(all_sent), 0.9, delta=0.06)
                    wanted = [sequence for sequence in all_sent[-100:] if sequence not in mine][:5] + mine[-1:]
                    for sequence in wanted:
                        repair, = box.ask(beginning + nack(ssrc, sequence), 0.1)
                        self.assertEqual((repair.header, repair.osn), ((0x80, 99), sequence))
                        self.assertEqual(len(repair.payload), 1316)
                    self.assertEqual(repair.payload, received[ssrc, wanted[-1]])


if __name__ == "__main__":
    laboratory.main()
