"""Set-top boxes on channels of GStreamer (scripts/lab/gstreamer_channels.py), which lose packets: it sends them again.

No code of ours is on that side: neither the channels nor the answers to NACKs.
"""

import math
import socket
import subprocess
import sys

import laboratory
import test_files
from test_files import milliseconds

CHANNELS = laboratory.PROJECT / "scripts" / "lab" / "gstreamer_channels.py"
GROUP = {"IGMP_V3": "225.1.0.1", "MLD_V2": "ff1e::101"}
LOSS = 0.1


class GstreamerLabTest(laboratory.LabTestCase):

    def start_channels(self, lab, group):
        command = [sys.executable, CHANNELS, "--group", group, "--channels", 2, "--loss", 100 * LOSS]
        gstreamer = lab.start(command, on_device=True, stdout=subprocess.DEVNULL)
        self.addCleanup(gstreamer.wait)
        self.addCleanup(gstreamer.terminate)
        with lab.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(3)) as port:
            port.bind(("home0", 0))
            port.settimeout(20)
            while len(port.recv(2000)) < 1316:
                pass

    def test_gstreamer_repairs_our_boxes(self):
        for version, live in (("IGMP_V3", ""), ("MLD_V2", "live: {reduced_size_rtcp: true}\n")):
            with self.subTest(version=version), laboratory.Laboratory() as lab:
                self.start_channels(lab, GROUP[version])
                outcome = test_files.Run(lab, test_files.make(
                    version=version, kind="RELIABLE_RETRANSMISSION", environment="REAL_WORLD", channels=2, interval=7000,
                    seconds=6, live=live,
                    boxes={"UdpSourcePort": 6000, "RtpNackDelay": 5, "RtpNackInterval": 200})).wait()
                self.assertEqual(outcome.status, 0, outcome.errors)
                viewers, = [port for port in outcome.json["live_ports"] if port["name"] == "Viewers"]
                # One view of six seconds, of a channel of 100 packets/s.
                missed = viewers["packets_missed"]
                self.assertLess(abs(missed - LOSS * 600), 4 * math.sqrt(LOSS * 600) + 5)
                self.assertGreater(viewers["packets_repaired"], missed - 5)  # not those asked for at the end
                answered = [nack for nack in outcome.rrr_events if not nack.get("retrans_fail")]
                self.assertGreater(len(answered), len(outcome.rrr_events) - 5)
                for nack in answered:
                    self.assertLess(milliseconds(nack, "last_retrans_rtp_pkt_rx_ts", "nack_pkt_tx_ts"), 100)


if __name__ == "__main__":
    laboratory.main()
