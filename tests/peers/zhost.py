"""A ZMODEM host that does what it is told, also what no sender should. Frames
by the public description: hex headers and binary ones with CRC-16."""

import binascii
import select
import struct
import time

from rig import Failure

ZPAD, ZDLE = 0x2A, 0x18
(ZRQINIT, ZRINIT, ZSINIT, ZACK, ZFILE, ZSKIP, ZNAK, ZABORT, ZFIN, ZRPOS,
 ZDATA, ZEOF, ZFERR, ZCRC, ZCHALLENGE, ZCOMPL, ZCAN) = range(17)
ZCRCE, ZCRCG, ZCRCQ, ZCRCW = b"hijk"
CANCEL = b"\x18" * 10 + b"\b" * 10
ESCAPED = frozenset(bytes([0x10, 0x11, 0x13, 0x18, 0x0d, 0x90, 0x91, 0x93,
                           0x8d, 0x7f, 0xff]))


def crc16(data):
    return binascii.crc_hqx(data, 0)


def escape(data):
    out = bytearray()
    for c in data:
        if c in (0x7f, 0xff):
            out += bytes([ZDLE, 0x6c if c == 0x7f else 0x6d])
        elif c in ESCAPED:
            out += bytes([ZDLE, c ^ 0x40])
        else:
            out.append(c)
    return bytes(out)


def hex_header(kind, pos=0):
    body = struct.pack("<BI", kind, pos)
    body += struct.pack(">H", crc16(body))
    return b"**\x18B" + body.hex().encode() + b"\r\x8a" + \
        (b"" if kind in (ZFIN, ZACK) else b"\x11")


def binary_header(kind, pos=0):
    body = struct.pack("<BI", kind, pos)
    return b"*\x18A" + escape(body + struct.pack(">H", crc16(body)))


def subpacket(data, end=ZCRCE):
    check = struct.pack(">H", crc16(data + bytes([end])))
    return escape(data) + bytes([ZDLE, end]) + escape(check)


def file_block(name, size=None, rest=b" 0 0 0"):
    figures = b"" if size is None else str(size).encode() + rest
    return name + b"\0" + figures + b"\0"


class Host:
    """One end of a line; the program has the other."""

    def __init__(self, socket, patience=20):
        self.socket = socket
        self.patience = patience
        self.heard = b""

    def send(self, data):
        try:
            self.socket.sendall(data)
        except ConnectionError:
            pass

    def more(self, seconds):
        ready, _, _ = select.select([self.socket], [], [], max(seconds, 0))
        try:
            data = self.socket.recv(65536) if ready else b""
        except ConnectionError:
            data = b""
        self.heard += data
        return bool(data)

    def header(self):
        """The next header, hex or binary: its type and position."""
        end = time.monotonic() + self.patience
        while True:
            found = self.take()
            if found:
                return found
            if not self.more(end - time.monotonic()):
                raise Failure(f"no header came, but {self.heard[-200:]!r}")

    def take(self):
        places = [p for p in (self.heard.find(mark) for mark in
                              (b"*\x18A", b"*\x18B", b"*\x18C")) if p >= 0]
        if not places:
            return None
        at = min(places)
        form = self.heard[at + 2:at + 3]
        body, used = bytearray(), at + 3
        if form == b"B":
            text = self.heard[used:used + 14]
            if len(text) < 14:
                return None
            body, used = bytearray.fromhex(text.decode()), used + 14
        else:
            while len(body) < (7 if form == b"A" else 9):
                piece = self.heard[used:used + 2]
                escaped = piece[:1] == b"\x18"
                if len(piece) < 1 + escaped:
                    return None
                body.append(piece[1] ^ 0x40 if escaped else piece[0])
                used += 2 if escaped else 1
        self.heard = self.heard[used:]
        return body[0], struct.unpack("<I", body[1:5])[0]

    def expect(self, *kinds):
        """The next header of one of the kinds: its type and position. Those
        of other kinds are passed by."""
        while True:
            kind, pos = self.header()
            if kind in kinds:
                return kind, pos

    def offer(self, block):
        """Offers a file. The answer's type and position."""
        self.send(binary_header(ZFILE) + subpacket(block, ZCRCW))
        return self.expect(ZRPOS, ZSKIP, ZABORT, ZFIN)

    def give(self, block, data):
        """One whole file. False if it wasn't wanted, or gone half-way."""
        kind, pos = self.offer(block)
        if kind != ZRPOS:
            return False
        self.send(binary_header(ZDATA, pos))
        parts = [data[i:i + 1024] for i in range(pos, len(data), 1024)] or [b""]
        for part in parts[:-1]:
            self.send(subpacket(part, ZCRCG))
        self.send(subpacket(parts[-1], ZCRCE))
        self.send(binary_header(ZEOF, max(pos, len(data))))
        return self.expect(ZRINIT, ZRPOS, ZFERR)[0] == ZRINIT
