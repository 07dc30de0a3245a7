"""A head end and set-top boxes for the laboratory's server, with bytes written down from RFC 4585, 4588, 6284 and 6285."""

import ipaddress
import socket
import struct
import threading
import time
import types

SERVER = {4: "10.0.255.1", 6: "2001:db8::255:1"}
BOX = {4: "10.0.0.10", 6: "2001:db8::10"}
GROUP = {4: "225.1.0.1", 6: "ff1e::101"}
SSRC = {4: 0xE1010001, 6: 0xE1010002}
ME = 0x11223344
RATE = 200  # packets/s of each channel
MACS = {4: "01005e010001 001094ff0001", 6: "333300000101 001094ff0001"}


def u32(*numbers):
    return struct.pack(f"!{len(numbers)}I", *numbers)


def payload(ssrc, sequence):
    return struct.pack("!IH", ssrc, sequence % 65536) * 219  # 1,314 bytes


def stream_packet(version, sequence):
    rtp = struct.pack("!BBH", 0x80, 33, sequence % 65536) + u32(sequence * 450, SSRC[version])
    return rtp + payload(SSRC[version], sequence)


def frame(macs, version, source, destination, port, content):
    """A UDP datagram. That of IPv6 is without the checksum that it has to have."""
    udp = struct.pack("!HHHH", port, port, 8 + len(content), 0) + content
    addresses = ipaddress.ip_address(source).packed + ipaddress.ip_address(destination).packed
    header = struct.pack("!IHBB", 6 << 28, len(udp), 17, 8) + addresses
    if version == 4:
        header = struct.pack("!BBHHHBB", 0x45, 0, 20 + len(udp), 0, 0, 8, 17) + bytes(2) + addresses
        total = sum(struct.unpack("!10H", header)) % 0xFFFF
        header = header[:10] + struct.pack("!H", 0xFFFF - total) + header[12:]
    return bytes.fromhex(macs) + (b"\x08\0" if version == 4 else b"\x86\xdd") + header + udp


class Streams(threading.Thread):
    """The channels from head0 on."""

    def __init__(self, lab):
        super().__init__(daemon=True)
        self.port = lab.socket(socket.AF_PACKET, socket.SOCK_RAW, 0)
        self.port.bind(("head0", 0))
        self.newest, self.due, self.ended = 65200, time.monotonic(), False  # sequence numbers wrap soon
        self.start()

    def run(self):
        while not self.ended:
            for version, source in ((4, "10.255.0.2"), (6, "2001:db8:ffff::2")):
                packet = stream_packet(version, self.newest + 1)
                self.port.send(frame(MACS[version], version, source, GROUP[version], 5000, packet))
            self.newest += 1
            self.due += 1 / RATE
            time.sleep(max(0, self.due - time.monotonic()))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.ended = True
        self.join()
        self.port.close()


def rtcp(five, kind, body):
    return struct.pack("!BBH", 0x80 | five, kind, len(body) // 4) + body


def element(kind, value):
    return struct.pack("!BBH", kind, 0, len(value)) + value + bytes(-len(value) % 4)


def rams_r(ssrc, *elements):
    return rtcp(6, 205, u32(ME, ME, 1 << 24) + element(1, u32(ssrc)) + b"".join(elements))


def rams_t(ssrc, first=None):
    return rtcp(6, 205, u32(ME, ssrc, 3 << 24) + (b"" if first is None else element(61, u32(first))))


def nack(ssrc, first, mask=0):
    return rtcp(1, 205, u32(ME, ssrc) + struct.pack("!HH", first % 65536, mask))


COMPOUND = rtcp(0, 201, u32(ME)) + rtcp(1, 202, u32(ME) + b"\1\7box@lab" + bytes(3))


def give_addresses(lab):
    """The boxes are the kernel of the tester's side."""
    addresses = "".join(f"ip address add {address} dev home0;" for address in (f"{BOX[4]}/16", f"{BOX[6]}/64 nodad"))
    lab.start(["sh", "-c", f"echo 0 >/proc/sys/net/ipv6/conf/home0/disable_ipv6; {addresses}"]).wait()


class Box:
    """A set-top box's socket. What has come, with its time: rtx packets, rams_i messages as dictionaries of their
    elements, and token messages."""

    def __init__(self, lab, version, port=0):
        self.socket = lab.socket(socket.AF_INET if version == 4 else socket.AF_INET6, socket.SOCK_DGRAM)
        self.socket.bind((BOX[version], port))
        self.server, self.rtx, self.rams_i, self.tokens = SERVER[version], [], [], []
        self.begin = time.monotonic()

    def ask(self, datagram, seconds):
        """Sends it and takes what comes in so many seconds. Returns the packets among that."""
        before, end = len(self.rtx), time.monotonic() + seconds
        self.socket.sendto(datagram, (self.server, 5006))
        while (rest := end - time.monotonic()) > 0:
            self.socket.settimeout(rest)
            try:
                self.take(self.socket.recv(2000), time.monotonic() - self.begin)
            except TimeoutError:
                break
        return self.rtx[before:]

    def take(self, datagram, arrival):
        if not 192 <= datagram[1] <= 223:
            first, kind, sequence, timestamp, ssrc = struct.unpack("!BBHII", datagram[:12])
            # 24 bytes after the beginning of the UDP header, behind the header of the extension, of one word.
            extension, words, bits = struct.unpack("!HHH", datagram[12:18])
            at, join = (20, bool(bits & 8)) if first == 0x90 and words == 1 else (12, None)
            osn, = struct.unpack("!H", datagram[at:at + 2])
            self.rtx.append(types.SimpleNamespace(
                time=arrival, header=(first & 0xEF, kind), sequence=sequence, timestamp=timestamp, ssrc=ssrc, join=join,
                osn=osn, payload=datagram[at + 2:]))
        while 192 <= (datagram or bytes(2))[1] <= 223:
            first, kind, words = struct.unpack("!BBH", datagram[:4])
            body, datagram = datagram[4:4 + 4 * words], datagram[4 + 4 * words:]
            if (kind, first) == (205, 0x86):
                self.rams_i.append({"time": arrival, **self.read_rams_i(body)})
            elif kind == 210:
                self.tokens.append((first & 0x1F, body))

    @staticmethod
    def read_rams_i(body):
        sender, media, kind, number, response = struct.unpack("!IIBBH", body[:12])
        found, rest = {"sender": sender, "media": media, "kind": kind, "number": number, "response": response}, body[12:]
        while rest:
            kind, _, length = struct.unpack("!BBH", rest[:4])
            found[kind], rest = int.from_bytes(rest[4:4 + length], "big"), rest[4 + (length + 3) // 4 * 4:]
        return found
