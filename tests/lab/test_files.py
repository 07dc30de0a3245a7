"""Test files for iptvtest with live ports at the laboratory's interfaces, and what a run of one says."""

import json
import os
import pathlib
import subprocess
import tempfile
import types

PROGRAM = os.environ.get("ORV_PROGRAM", "iptvtest")
HEAD = {4: "10.255.0", 6: "2001:db8:ffff:"}
SERVER, SERVER_PORT = {4: "10.0.255.1", 6: "2001:db8::255:1"}, 5006
HOME = {4: "10.0.0", 6: "2001:db8:0:"}


def _stack(device, family, mac, address, gateway, vlans):
    """Interfaces of a device as items of a list; `vlans`: the outer one first."""
    layers, below = [f"{{EthIIIf: , SourceMac: {mac}}}"], f"{device}/EthIIIf"
    for name, vlan in zip(("Outer", "Inner"), vlans):
        layers.append(f"{{VlanIf: {name}, VlanId: {vlan}, StackedOn: {below}}}")
        below = f"{device}/{name}"
    layers.append(f"{{Ipv{family}If: , Address: \"{address}\", Gateway: \"{gateway}\", "
                  f"PrefixLength: {16 if family == 4 else 64}, StackedOn: {below}}}")
    return ", ".join(layers)


def _more(properties):
    return "".join(f", {name}: {value}" for name, value in (properties or {}).items())


def servers(family, repairs, address=None, port=SERVER_PORT):
    """Properties of STBs that use a server. Each STB has a UDP port of its own, from 6001 on."""
    quoted = f'"{address or SERVER[family]}"'
    properties = {f"FccServerAddrV{family}": quoted, "FccServerPort": port, "UdpSourcePort": 6001, "UdpSourcePortStep": 1}
    if repairs:
        properties |= {f"RrrServerAddrV{family}": quoted, "RrrServerPort": port, "RtpNackEnable": "true"}
    return properties


def make(*, version="IGMP_V3", stbs=1, channels=4, vlans=(), head_vlans=None, group=None, interval=1000, gap=100,
         seconds=3, kind="ZAPPING", environment="TESTING", packets=500, start_step=0, sources=False, live="", boxes=None,
         profile=None, command=None):
    """`channels`: of zapping tests, a multiple of 4. `packets`: per second and channel. `sources`: STBs join with INCLUDE and
    the head end's address. `boxes`, `profile`, `command`: more properties of the STB block, the profile and the start command, by
    name. Tests of kinds that need a server use the laboratory's."""
    family, separator, host = (4, ".", "IgmpHostConfig") if version.startswith("IGMP") else (6, ":", "MldHostConfig")
    group = group or {4: "225.1.0.1", 6: "ff1e::101"}[family]
    include = ", FilterMode: INCLUDE, TrafficSources: [Sources]" if sources else ""
    repairs = kind in ("RELIABLE_RETRANSMISSION", "FCC_WITH_RRR")
    nack = f", RtpNackEnable: {str(repairs).lower()}"
    boxes = {**servers(family, repairs), **(boxes or {})} if repairs or kind == "FAST_CHANNEL_CHANGE" else boxes
    head_end, home = HEAD[family] + separator, HOME[family] + separator
    head = _stack("Sources", family, "00:10:94:ff:00:01", head_end + "2", head_end + "1",
                  vlans if head_vlans is None else head_vlans)
    homes = _stack("Homes", family, "00:10:94:00:00:01", home + "10", home + "1", vlans)
    return f"""project:
  - Port: Head end
    Location: linux://head0
    children:
      - {{StreamBlock: Streams, SrcBinding: Sources/Ipv{family}If, DstBinding: Groups/Ipv{family}NetworkBlock,
         Load: {packets}, LoadUnit: FRAMES_PER_SECOND}}
  - {{Port: Viewers, Location: "linux://home0"}}
  - Ipv{family}Group: Groups
    children: [{{Ipv{family}NetworkBlock: , StartIpList: "{group}", NetworkCount: {channels}}}]
  - {{IptvChannelBlock: Channels, MulticastParam: Groups{include}{nack}}}
  - {{IptvViewedChannels: Range, ChannelBlock: Channels, ChannelRangeEnd: {channels}, InitialChannelStep: 1{nack}}}
  - {{IptvViewingProfileConfig: Profile, Interval: {interval}, SetTopLeaveJoinDelay: {gap},
     JoinLatencyThreshold: {min(500, interval - gap)}, LeaveLatencyThreshold: {2 * interval}{_more(profile)}}}
  - {{EmulatedDevice: Sources, AffiliationPort: Head end, TopLevelIf: Sources/Ipv{family}If, children: [{head}]}}
  - EmulatedDevice: Homes
    DeviceCount: {stbs}
    AffiliationPort: Viewers
    TopLevelIf: Homes/Ipv{family}If
    children: [{homes},
      {{{host}: , Version: {version}, UsesIf: Homes/Ipv{family}If}},
      {{IptvStbBlockConfig: Boxes, IptvProfile: Profile, MulticastParam: Homes/{host}, StbChannel: [Range],
       InterClientStartDelayStep: {start_step}{_more(boxes)}}}]
sequence:
  - GeneratorStartCommand:
  - {{IptvStartTestCommand: Start, TestType: {kind}, TestEnv: {environment}, TestDuration: {seconds}{_more(command)}}}
  - IptvWaitForTestCompletionCommand:
  - GeneratorStopCommand:
{live}"""


class Run:
    """iptvtest with a test file, on a laboratory's tester's side."""

    def __init__(self, lab, text, prefix=(), recording=None, database=None):
        self._folder = tempfile.TemporaryDirectory(prefix="live-")
        folder = pathlib.Path(self._folder.name)
        os.chmod(folder, 0o777)
        (folder / "test.yaml").write_text(text)
        self._recording = recording or folder / "recording.jsonl"
        command = [*prefix, PROGRAM, "run", folder / "test.yaml", "--json", "--db", database or folder / "results.db",
                   "--record", self._recording]
        self.process = lab.start(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def wait(self, seconds=120):
        """The outcome: what the program says as JSON, with its exit status, its error output and the event records."""
        try:
            output, errors = self.process.communicate(timeout=seconds)
        except subprocess.TimeoutExpired:
            self.process.kill()
            raise
        outcome = types.SimpleNamespace(status=self.process.returncode, errors=errors, events=[], rrr_events=[])
        outcome.json = json.loads(output) if output else {}
        if self._recording.is_file():
            for line in self._recording.read_text().splitlines():
                for block in json.loads(line).get("blocks", []):
                    outcome.events += block["events"]
                    outcome.rrr_events += block.get("rrr_events", [])
        self._folder.cleanup()
        return outcome

    def kill(self):
        self.process.kill()
        self.process.communicate()
        self._folder.cleanup()


def milliseconds(event, later, earlier):
    """Between two time stamps of an event record, which count 10 ns."""
    return (event[later] - event[earlier]) / 1e5


def join_latencies(outcome):
    return [milliseconds(event, "first_mcast_pkt_ts", "mcast_join_ts") for event in outcome.events]


def leave_latencies(outcome):
    return [milliseconds(event, "last_mcast_pkt_ts", "mcast_leave_ts") for event in outcome.events
            if event.get("last_pkt_ts_valid")]
