#!/usr/bin/env python3
"""Makes a long capture of the bundled ones: all of them, one after the other, again and again, each time later and from
other client ports, so that every round brings new connections.  mixed_capture.py FILE [MEGABYTES]"""
import pathlib
import struct
import sys

CAPTURES = pathlib.Path(__file__).resolve().parent.parent / "tests" / "captures"
FILE_HEADER = struct.Struct("<IHHiIII")
FRAME_HEADER = struct.Struct("<IIII")
MAGIC, ETHERNET, SNAP_LENGTH = 0xA1B2C3D4, 1, 262144
TAGS = (0x8100, 0x88A8, 0x9100)
FIRST_CLIENT_PORT = 1024  # below stand the services
PORTS_A_ROUND = 7919  # a prime: no round meets the ports of one before


def frames_of(path):
    """(microseconds since the capture began, frame) of a pcap file in this machine's order of bytes."""
    content = path.read_bytes()
    magic, *_, link_type = FILE_HEADER.unpack_from(content)
    if magic != MAGIC or link_type != ETHERNET:
        sys.exit(f"{path}: only pcap files with Ethernet frames and microseconds can be repeated")
    at, first = FILE_HEADER.size, None
    while at < len(content):
        seconds, fraction, captured, _ = FRAME_HEADER.unpack_from(content, at)
        time = seconds * 1_000_000 + fraction
        first = time if first is None else first
        at += FRAME_HEADER.size
        yield time - first, content[at:at + captured]
        at += captured


def port_offsets(frame):
    """Where the two ports of a TCP segment or UDP datagram stand; nothing for other frames."""
    at = 12
    while int.from_bytes(frame[at:at + 2], "big") in TAGS:
        at += 4
    kind, packet = int.from_bytes(frame[at:at + 2], "big"), at + 2
    if kind == 0x0800:
        is_later_fragment = int.from_bytes(frame[packet + 6:packet + 8], "big") & 0x1FFF
        protocol, transport = frame[packet + 9], packet + (frame[packet] & 15) * 4
    elif kind == 0x86DD:
        is_later_fragment, protocol, transport = 0, frame[packet + 6], packet + 40
    else:
        return ()
    if is_later_fragment or protocol not in (6, 17) or transport + 4 > len(frame):
        return ()
    return transport, transport + 2


def one_round():
    """The frames of all captures as they stand in a file, with the places of their times and of the clients' ports."""
    content, times, ports, clock = bytearray(), [], [], 0
    for path in sorted(CAPTURES.glob("*.pcap")):
        last = 0
        for time, frame in frames_of(path):
            times.append((len(content), clock + time))
            content += FRAME_HEADER.pack(0, 0, len(frame), len(frame))
            for offset in port_offsets(frame):
                port = int.from_bytes(frame[offset:offset + 2], "big")
                if port >= FIRST_CLIENT_PORT:
                    ports.append((len(content) + offset, port - FIRST_CLIENT_PORT))
            content += frame
            last = max(last, time)
        clock += last + 1_000_000
    return content, times, ports, clock


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    wanted = int(sys.argv[2] if len(sys.argv) == 3 else 200) * 1_000_000
    content, times, ports, length = one_round()
    if not times:
        sys.exit(f"There are no captures in {CAPTURES}.")
    start, frames, written = 1_700_000_000_000_000, 0, 0
    with open(sys.argv[1], "wb") as out:
        written += out.write(FILE_HEADER.pack(MAGIC, 2, 4, 0, 0, SNAP_LENGTH, ETHERNET))
        for number in range(-(-wanted // len(content))):
            for at, time in times:
                struct.pack_into("<II", content, at, *divmod(start + number * length + time, 1_000_000))
            for at, port in ports:
                struct.pack_into(">H", content, at, FIRST_CLIENT_PORT + (port + number * PORTS_A_ROUND) % 64512)
            written += out.write(content)
            frames += len(times)
    print(f"{written / 1e6:.1f} MB, {frames} frames")


if __name__ == "__main__":
    main()
