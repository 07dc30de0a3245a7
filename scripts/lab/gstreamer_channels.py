"""Channels and their retransmission by GStreamer: a witness that has nothing of this project.

Run in the namespace of a laboratory's device, it takes the bridge away, gives the interface home the addresses of the
laboratory's server, sends RTP channels out of home, of which a share is lost, and answers NACKs that come to the server's port
with retransmission packets to one set-top box, until it is terminated. There is no snooping: the box gets the channels
whether it has joined them or not.

    ip netns exec "$ORV_LAB_DUT" python3 scripts/lab/gstreamer_channels.py --channels 2     # in lab.sh run -- COMMAND

What GStreamer 1.22 needs for that:
- rtpsession sends retransmission requests upstream only when it gets NACKs, in the profile AVPF, whether compound or of reduced
  size; therefore rtprtxsend stands before its send_rtp_sink. It may have any number of packets, but only so many ms of them.
- rtprtxsend wants to be told payload type and SSRC of retransmission packets, and gets the channel's clock rate from
  rtpmp2tpay.
- Both streams leave through the session's send_rtp_src: rtpssrcdemux separates them. The pads come with the first packet of
  each, which gst-launch waits for.
- The loss comes behind the session, so that what is lost can be asked for.
- Only retransmission packets from the server's port reach the box's socket. Two sockets are bound to that port: udpsrc's to the
  address as well, so that the kernel prefers it for what arrives.
- fakesrc keeps no time by itself: clocksync does, with the time stamps that fakesrc makes from its data rate.
- A session for each channel: what comes to the port goes to all of them, and each ignores the SSRCs of others.
"""

import argparse
import ipaddress
import os
import subprocess

PAYLOAD = 1316
ADDRESSES = {4: "10.0.255.1", 6: "2001:db8::255:1"}


def channel(options, group):
    """The elements of one channel. Its SSRC is the end of the group's address."""
    ssrc = int(group) % 2**32
    rtx = (ssrc + 0x10000000) % 2**32
    session, demux = f"session_{ssrc}", f"demux_{ssrc}"
    return f"""
        rtpsession name={session} rtp-profile=avpf
        fakesrc is-live=true format=time datarate={options.rate * PAYLOAD} sizetype=fixed sizemax={PAYLOAD} filltype=random
          ! clocksync ! video/mpegts,packetsize=188,systemstream=true
          ! rtpmp2tpay pt=33 ssrc={ssrc} mtu={PAYLOAD + 12}
          ! rtprtxsend max-size-packets=0 max-size-time={options.history}
              payload-type-map=application/x-rtp-pt-map,33=(uint){options.payload_type}
              ssrc-map=application/x-rtp-ssrc-map,{ssrc}=(uint){rtx}
          ! {session}.send_rtp_sink
        {session}.send_rtp_src ! rtpssrcdemux name={demux}
        {demux}.src_{ssrc} ! identity drop-probability={options.loss / 100}
          ! udpsink host={group} port={options.group_port} auto-multicast=false multicast-iface=home sync=false async=false
        {demux}.src_{rtx}
          ! udpsink host={options.box} port={options.box_port} bind-port={options.port} sync=false async=false
        requests. ! queue ! {session}.recv_rtcp_sink"""


def main():
    parser = argparse.ArgumentParser(description="RTP channels with retransmission, by GStreamer")
    parser.add_argument("--group", default="225.1.0.1", help="of the first channel; IPv4 or IPv6")
    parser.add_argument("--group-port", type=int, default=5000)
    parser.add_argument("--channels", type=int, default=1)
    parser.add_argument("--rate", type=int, default=100, help="packets/s of each channel")
    parser.add_argument("--loss", type=float, default=5, help="percent of each channel")
    parser.add_argument("--port", type=int, default=5006, help="where requests come to, and answers from")
    parser.add_argument("--box", help="the set-top box's address [10.0.0.10 or 2001:db8::10]")
    parser.add_argument("--box-port", type=int, default=6000, help="that answers go to")
    parser.add_argument("--payload-type", type=int, default=99, help="of retransmission packets")
    parser.add_argument("--history", type=int, default=3000, help="ms that can be asked for")
    options = parser.parse_args()
    first = ipaddress.ip_address(options.group)
    options.box = options.box or {4: "10.0.0.10", 6: "2001:db8::10"}[first.version]
    subprocess.run(["ip", "link", "delete", "br0"], stderr=subprocess.DEVNULL)  # if it is there still
    with open("/proc/sys/net/ipv6/conf/home/disable_ipv6", "w") as setting:
        setting.write("0")
    for address in (f"{ADDRESSES[4]}/16", f"{ADDRESSES[6]}/64"):
        subprocess.run(["ip", "address", "replace", address, "dev", "home", *(["nodad"] if ":" in address else [])], check=True)
    pipeline = f"udpsrc address={ADDRESSES[first.version]} port={options.port} caps=application/x-rtcp ! tee name=requests"
    for number in range(options.channels):
        pipeline += channel(options, first + number)
    os.execvp("gst-launch-1.0", ["gst-launch-1.0", "--quiet", *pipeline.split()])


if __name__ == "__main__":
    main()
