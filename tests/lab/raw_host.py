"""A minimal host: frames out of and into a packet socket, without automatic answers."""

import contextlib
import ipaddress
import socket
import struct
import threading
import time

MAC = bytes.fromhex("021094000001")
STREAM_PORT = 5004
SOL_PACKET, PACKET_AUXDATA, PACKET_IGNORE_OUTGOING = 263, 8, 23
SO_TIMESTAMPNS = 35
SO_RCVBUFFORCE = 33
VLAN_VALID = 1 << 4

IGMP_HOST, MLD_HOST = "10.0.0.10", "fe80::10"
# What a host says: version -> (join, leave), as (IGMP or ICMPv6 type, kind of group record)
MEMBERSHIP = {
    "IGMPv2": ((0x16, None), (0x17, None)),
    "IGMPv3": ((0x22, 4), (0x22, 3)),  # filter mode becomes EXCLUDE, INCLUDE
    "MLDv1": ((131, None), (132, None)),
    "MLDv2": ((143, 4), (143, 3)),
}


def checksum(data):
    data += b"\0" * (len(data) % 2)
    total = sum(struct.unpack(f"!{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF


def ethernet(destination, payload, tags=()):
    """A frame to an IP address; tags are VLAN ids, the outermost first."""
    packed = ipaddress.ip_address(destination).packed
    mac = b"\x01\0\x5e" + bytes([packed[1] & 0x7F]) + packed[2:] if len(packed) == 4 else b"\x33\x33" + packed[12:]
    vlan = b"".join(struct.pack("!HH", 0x8100, tag) for tag in tags)
    return mac + MAC + vlan + struct.pack("!H", 0x0800 if len(packed) == 4 else 0x86DD) + payload


def ip_packet(source, destination, protocol, payload, hop_limit=1, options=b""):
    """With options: those of IPv4, or a hop-by-hop header of IPv6."""
    addresses = ipaddress.ip_address(source).packed + ipaddress.ip_address(destination).packed
    if len(addresses) == 32:
        first, rest = (0, bytes([protocol]) + options + payload) if options else (protocol, payload)
        return struct.pack("!IHBB", 6 << 28, len(rest), first, hop_limit) + addresses + rest
    words = 5 + len(options) // 4
    header = struct.pack("!BBHHHBBH", 0x40 | words, 0, words * 4 + len(payload), 0, 0, hop_limit, protocol, 0)
    right = checksum(header + addresses + options)
    return header[:10] + struct.pack("!H", right) + addresses + options + payload


def membership(version, group, join=True, sources=(), tags=()):
    """A join or leave of a group; with sources, of these alone."""
    kind, record = MEMBERSHIP[version][0 if join else 1]
    packed_group = ipaddress.ip_address(group).packed
    packed_sources = b"".join(ipaddress.ip_address(source).packed for source in sources)
    if record:
        record = (5 if join else 6) if sources else record  # ALLOW, BLOCK
        body = struct.pack("!HHBBH", 0, 1, record, 0, len(sources)) + packed_group + packed_sources
    else:
        body = (struct.pack("!HH", 0, 0) if len(packed_group) == 16 else b"") + packed_group
    everyone = {"IGMPv3": "224.0.0.22", "MLDv2": "ff02::16"}.get(version)
    to_routers = {"IGMPv2": "224.0.0.2", "MLDv1": "ff02::2"}.get(version)
    destination = everyone or (group if join else to_routers)
    if len(packed_group) == 4:
        message = struct.pack("!BBH", kind, 0, checksum(bytes([kind, 0, 0, 0]) + body)) + body
        return ethernet(destination, ip_packet(IGMP_HOST, destination, 2, message, options=b"\x94\x04\0\0"), tags)
    length = 4 + len(body)
    pseudo = ipaddress.ip_address(MLD_HOST).packed + ipaddress.ip_address(destination).packed + struct.pack(
        "!II", length, 58)
    message = struct.pack("!BBH", kind, 0, checksum(pseudo + bytes([kind, 0, 0, 0]) + body)) + body
    return ethernet(destination, ip_packet(MLD_HOST, destination, 58, message, options=b"\0\x05\x02\0\0\x01\0"), tags)


def question(target, tags=()):
    """Asks a host of the laboratory's home for its MAC address: ARP or a neighbour solicitation."""
    packed = ipaddress.ip_address(target).packed
    vlan = b"".join(struct.pack("!HH", 0x8100, tag) for tag in tags)
    if len(packed) == 4:
        asking = struct.pack("!HHBBH", 1, 0x0800, 6, 4, 1) + MAC + ipaddress.ip_address("10.0.0.9").packed
        return b"\xff" * 6 + MAC + vlan + b"\x08\x06" + asking + bytes(6) + packed
    # To all hosts of the link: a group of its own would be kept back by devices that snoop.
    source, everyone = "2001:db8::9", "ff02::1"
    pseudo = ipaddress.ip_address(source).packed + ipaddress.ip_address(everyone).packed + struct.pack("!II", 32, 58)
    body = bytes(4) + packed + b"\x01\x01" + MAC
    message = struct.pack("!BBH", 135, 0, checksum(pseudo + bytes([135, 0, 0, 0]) + body)) + body
    return ethernet(everyone, ip_packet(source, everyone, 58, message, hop_limit=255), tags)


def stream_packet(group, number, tags=()):
    """UDP with a sequence number; 1328 bytes of payload."""
    source = "2001:db8::2" if ":" in group else "10.255.0.2"
    udp = struct.pack("!HHHHI", STREAM_PORT, STREAM_PORT, 8 + 1328, 0, number) + bytes(1324)
    return ethernet(group, ip_packet(source, group, 17, udp, hop_limit=16), tags)


class RawPort:
    """Sends frames, and keeps those that arrive with the kernel's time: (seconds, frame with all tags)."""

    def __init__(self, laboratory, interface):
        with laboratory.inside():
            self._socket = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, 0)
            self._socket.setsockopt(SOL_PACKET, PACKET_IGNORE_OUTGOING, 1)
            self._socket.setsockopt(SOL_PACKET, PACKET_AUXDATA, 1)
            self._socket.setsockopt(socket.SOL_SOCKET, SO_TIMESTAMPNS, 1)
            self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 26)
            # Beyond what the machine allows everybody: a reader in Python falls behind a burst of thousands.
            with contextlib.suppress(PermissionError):
                self._socket.setsockopt(socket.SOL_SOCKET, SO_RCVBUFFORCE, 1 << 26)
            self._socket.bind((interface, 3))  # all protocols
        self._socket.settimeout(0.1)
        self.frames = []
        self._ended = False
        self._listener = threading.Thread(target=self._listen)
        self._listener.start()

    def send(self, frame):
        """Returns the time of day after sending."""
        self._socket.send(frame)
        return time.time()

    def close(self):
        self._ended = True
        self._listener.join()
        self._socket.close()

    def _listen(self):
        while not self._ended:
            try:
                data, ancillary, _, _ = self._socket.recvmsg(2048, 256)
            except TimeoutError:
                continue
            when = 0.0
            for level, kind, value in ancillary:
                if level == SOL_PACKET and kind == PACKET_AUXDATA:
                    status, _, _, _, _, tci, protocol = struct.unpack("IIIHHHH", value)
                    if status & VLAN_VALID:
                        data = data[:12] + struct.pack("!HH", protocol or 0x8100, tci) + data[12:]
                elif level == socket.SOL_SOCKET and kind == SO_TIMESTAMPNS:
                    seconds, nanoseconds = struct.unpack("qq", value)
                    when = seconds + nanoseconds / 1e9
            self.frames.append((when, data))

    def stream(self):
        """[(time, sequence number, VLAN ids)] of the stream packets so far."""
        found = []
        for when, frame in list(self.frames):
            at, tags = 12, []
            while frame[at:at + 2] in (b"\x81\0", b"\x88\xa8"):
                tags.append(int.from_bytes(frame[at + 2:at + 4], "big") & 0xFFF)
                at += 4
            v4 = frame[at:at + 2] == b"\x08\0"
            udp = at + 2 + (20 if v4 else 40)
            if frame[at + 2 + (9 if v4 else 6)] == 17 and frame[udp + 2:udp + 4] == STREAM_PORT.to_bytes(2, "big"):
                found.append((when, int.from_bytes(frame[udp + 8:udp + 12], "big"), tags))
        return found


class Stream:
    """Sends stream packets at a steady rate while the block runs."""

    def __init__(self, port, group, tags=(), interval=0.0005):
        self._port, self._group, self._tags, self._interval = port, group, tags, interval
        self._ended = False
        self._sender = threading.Thread(target=self._send)
        self.sent = []  # the time of each

    def __enter__(self):
        self._sender.start()
        return self

    def __exit__(self, *_):
        self._ended = True
        self._sender.join()

    def _send(self):
        while not self._ended:
            self.sent.append(time.time())
            self._port.send(stream_packet(self._group, len(self.sent) - 1, self._tags))
            time.sleep(self._interval)
