#!/usr/bin/env python3
"""A peer of libnkProtocol that shares no code with it: Python's standard library only.

Written from docs/wire-format.md alone, whose chapters it follows; it serves as an example for
peers in other languages, and the tests run it against the programs.

    peer.py --connect 127.0.0.1:4711 --to 2 generic hello panel
    peer.py --listen 127.0.0.1:4711 --address 2
    peer.py --selftest docs/wire-format.md
"""

import argparse
import hashlib
import heapq
import itertools
import json
import re
import socket
import struct
import sys
import time
from collections import Counter
from dataclasses import dataclass, field

BROADCAST = 0xFFFFFFFE
CEILING = 64 << 20  # the most that content may have, in bytes


class Refused(Exception):
    """Bytes that are not what they should be. The text says why."""


def need(condition, why):
    if not condition:
        raise Refused(why)


# --- Base-128 and CRC-8 ---------------------------------------------------------------------------


def base128_encode(plain):
    out = bytearray()
    for at in range(0, len(plain), 7):  # 7 bytes give 8 whole ones
        group = plain[at : at + 7]
        number = int.from_bytes(group, "little")
        for shift in range(0, 8 * len(group), 7):
            out.append(0x80 | number >> shift & 0x7F)
    return bytes(out)


def base128_decode(encoded):
    need(len(encoded) % 8 != 1, "base-128 of a length that no encoding has")
    need(all(byte >= 0x80 for byte in encoded), "a byte below 80 in base-128")
    out = bytearray()
    for at in range(0, len(encoded), 8):
        group = encoded[at : at + 8]
        number = 0
        for i, byte in enumerate(group):
            number |= (byte & 0x7F) << 7 * i
        size = 7 * len(group) // 8
        need(number >> 8 * size == 0, "padding bits of base-128 that are not zero")
        out += number.to_bytes(size, "little")
    return bytes(out)


def crc8_of_byte(crc):
    for _ in range(8):
        crc = (crc << 1 ^ (0x07 if crc & 0x80 else 0)) & 0xFF
    return crc


CRC_TABLE = [crc8_of_byte(byte) for byte in range(256)]


def crc8(data):
    crc = 0xFF
    for byte in data:
        crc = CRC_TABLE[crc ^ byte]
    return crc


# --- Frames ---------------------------------------------------------------------------------------

REQUEST, REQUEST_WITH_RESPONSE, RESPONSE = 1, 2, 3
HEADER = struct.Struct("<IIIIIBI")


@dataclass
class Part:
    source: int
    destination: int
    id: int
    number: int
    stamp: int
    kind: int
    last: bool
    form: int
    payload: bytes


def frame_body(part):
    flags = part.kind | (0x08 if part.last else 0x04) | part.form << 4
    head = (part.source, part.destination, part.id, part.number, part.stamp, flags)
    body = HEADER.pack(*head, len(part.payload)) + part.payload
    return body + bytes([crc8(body)])


def frame_encode(part):
    return b"\x01" + base128_encode(frame_body(part)) + b"\x02"


def frame_decode(encoded):
    """Takes what stands between 01 and 02."""
    body = base128_decode(encoded)
    need(len(body) >= HEADER.size + 1, "a frame that is too short")
    need(crc8(body) == 0, "a frame with a wrong CRC")
    *head, flags, size = HEADER.unpack_from(body)
    need(size <= len(body) - HEADER.size, "a frame that is shorter than it says")
    payload = body[HEADER.size : HEADER.size + size]
    kind = flags & 3 or REQUEST_WITH_RESPONSE
    return Part(*head, kind, flags >> 2 & 3 == 2, flags >> 4 & 3, payload)


class Frames:
    """Cuts the bytes that come from a stream into frames."""

    def __init__(self):
        self.buffer = bytearray()

    def feed(self, data):
        """Gives the parts in all frames that are complete now; damaged ones are told and dropped."""
        self.buffer += data
        parts = []
        while True:
            begin = self.buffer.find(1)
            if begin == -1:
                self.buffer.clear()  # noise: nothing of it can belong to a frame
                return parts
            end = self.buffer.find(2, begin)
            if end == -1:
                return parts
            try:
                parts.append(frame_decode(self.buffer[begin + 1 : end]))
            except Refused as why:
                tell(f"dropped {why}")
            del self.buffer[: end + 1]


# --- Compressed content ---------------------------------------------------------------------------


class Reader:
    """Takes bytes off the front of some."""

    def __init__(self, data):
        self.data, self.at = data, 0

    def left(self):
        return len(self.data) - self.at

    def take(self, count):
        need(count <= self.left(), "something is cut off")
        self.at += count
        return self.data[self.at - count : self.at]

    def number(self):
        """A number of variable length."""
        value = 0
        for i in range(5):
            byte = self.take(1)[0]
            value |= (byte & 0x7F) << 7 * i
            if byte < 0x80:
                need(byte != 0 or i == 0, "a number that is not in its shortest form")
                need(value < 1 << 32, "a number that is too large")
                return value
        raise Refused("a number that is too long")

    def size_at_front(self):
        size = self.number()
        need(size != 0, "a size of 0")
        need(size <= CEILING, "a size above the ceiling")
        return size


def number_encode(value):
    out = bytearray()
    while value > 0x7F:
        out.append(0x80 | value & 0x7F)
        value >>= 7
    return bytes(out) + bytes([value])


def runs_encode(content):
    out = [number_encode(len(content))]

    def literals(data):
        if data:
            out.append(number_encode(2 * (len(data) - 1)) + data)

    end = 0
    for run in re.finditer(rb"(.)\1{2,}", content, re.DOTALL):
        literals(content[end : run.start()])
        length, end = run.end() - run.start(), run.end()
        out.append(number_encode(2 * (length - 3) + 1) + run[1])
    literals(content[end:])
    return b"".join(out)


def runs_decode(encoded):
    reader = Reader(encoded)
    size = reader.size_at_front()
    out = bytearray()
    while len(out) < size:
        half, is_run = divmod(reader.number(), 2)
        count = half + (3 if is_run else 1)
        need(count <= size - len(out), "a token that gives more than the content lacks")
        out += reader.take(1) * count if is_run else reader.take(count)
    need(reader.left() == 0, "bytes behind the last token")
    return bytes(out)


PIECE = 16384
LONGEST = 11  # bits of a code


def code_lengths(counts):
    """Huffman's method. Where a code becomes too long the counts are levelled, and once more."""
    if len(counts) == 1:
        return {value: 0 for value in counts}
    while True:
        order = itertools.count()  # keeps the heap from comparing lists
        heap = [(count, next(order), [value]) for value, count in sorted(counts.items())]
        lengths = dict.fromkeys(counts, 0)
        heapq.heapify(heap)
        while len(heap) > 1:
            (one, _, left), (two, _, right) = heapq.heappop(heap), heapq.heappop(heap)
            for value in left + right:
                lengths[value] += 1
            heapq.heappush(heap, (one + two, next(order), left + right))
        if max(lengths.values()) <= LONGEST:
            return lengths
        counts = {value: (count + 1) // 2 for value, count in counts.items()}


def lengths_encode(lengths):
    halves, at = [], 0
    for value in sorted(lengths):
        gap = value - at
        if gap == 1 or gap == 2:
            halves.append(11 + gap)
        elif 3 <= gap <= 18:
            halves += [14, gap - 3]
        elif gap > 18:
            halves += [15, gap - 19 >> 4, gap - 19 & 15]
        halves.append(lengths[value])
        at = value + 1
    if len(halves) % 2:
        halves.append(0)
    return bytes(high << 4 | low for high, low in zip(halves[::2], halves[1::2]))


def lengths_decode(reader):
    pending = []  # the low half of the last byte, until it is used

    def half():
        if pending:
            return pending.pop()
        byte = reader.take(1)[0]
        pending.append(byte & 15)
        return byte >> 4

    lengths, value, total, after_gap = {}, 0, 0, False
    while total < 1 << LONGEST:
        entry = half()
        if entry > LONGEST:
            need(not after_gap, "two entries without codes in a row")
            gap = entry - 11
            if entry == 14:
                gap = half() + 3
            elif entry == 15:
                gap = 16 * half() + half() + 19
            value += gap
        else:
            need(value <= 255, "code lengths beyond the last value")
            need(entry != 0 or not lengths, "a length of 0 behind others")
            lengths[value] = entry
            total += 1 << LONGEST - entry
            value += 1
        after_gap = entry > LONGEST
        need(value <= 256, "code lengths beyond the last value")
        need(total <= 1 << LONGEST, "code lengths that sum up to too much")
    need(not pending or pending[0] == 0, "a left-over half byte that is not 0")
    return lengths


def codes_of(lengths):
    """Gives (code, length) for each value."""
    codes, code, last = {}, 0, 0
    for value in sorted(lengths, key=lambda each: (lengths[each], each)):
        code <<= lengths[value] - last
        last = lengths[value]
        codes[value] = (code, last)
        code += 1
    return codes


def cut_in_four(piece_size):
    quarter = piece_size // 4
    return [quarter, quarter, quarter, piece_size - 3 * quarter]


def stream_encode(part, codes):
    out, bits, have = bytearray(), 0, 0
    for byte in part:
        code, length = codes[byte]
        bits = bits << length | code
        have += length
        while have >= 8:
            have -= 8
            out.append(bits >> have)
            bits &= (1 << have) - 1
    if have:
        out.append(bits << 8 - have)
    return bytes(out)


def stream_decode(stream, count, lengths):
    longest = max(lengths.values())
    if longest == 0:
        need(not stream, "a stream for a single value")
        return bytes(lengths) * count
    table = []  # the first bits of the stream, as many as the longest code has, tell the value
    codes = codes_of(lengths)
    for value in sorted(codes, key=lambda each: codes[each][0] << longest - codes[each][1]):
        table += [(value, lengths[value])] * (1 << longest - lengths[value])
    out, bits, have = bytearray(), 0, 0
    supply = itertools.chain(stream, bytes(2))  # behind the end there are zeros to look at
    for _ in range(count):
        while have < longest:
            bits = bits << 8 | next(supply, 0)
            have += 8
        value, length = table[bits >> have - longest]
        have -= length
        bits &= (1 << have) - 1
        out.append(value)
    used = sum(lengths[value] * times for value, times in Counter(out).items())
    need(used <= 8 * len(stream), "a stream that ends before its part is complete")
    need(8 * len(stream) - used < 8, "a byte behind the last code")
    need(bits == 0, "filling bits that are not 0")
    return bytes(out)


def huffman_encode(content):
    out = [number_encode(len(content))]
    for at in range(0, len(content), PIECE):
        piece = content[at : at + PIECE]
        lengths = code_lengths(Counter(piece))
        codes = codes_of(lengths)
        reader = Reader(piece)
        streams = [stream_encode(reader.take(size), codes) for size in cut_in_four(len(piece))]
        is_last = at + PIECE >= len(content)
        out.append(lengths_encode(lengths))
        out += [number_encode(len(stream)) for stream in streams[: 3 if is_last else 4]]
        out += streams
    return b"".join(out)


def huffman_decode(encoded):
    reader = Reader(encoded)
    size = reader.size_at_front()
    out = bytearray()
    while len(out) < size:
        piece = min(PIECE, size - len(out))
        is_last = len(out) + piece == size
        lengths = lengths_decode(reader)
        sizes = [reader.number() for _ in range(3 if is_last else 4)]
        if is_last:
            need(sum(sizes) <= reader.left(), "something is cut off")
            sizes.append(reader.left() - sum(sizes))
        for stream, count in zip(sizes, cut_in_four(piece)):
            out += stream_decode(reader.take(stream), count, lengths)
    need(reader.left() == 0, "bytes behind the last piece")
    return bytes(out)


PLAIN, RUNS, HUFFMAN = 0, 1, 2
FORM_NAMES = ["plain", "run lengths", "Huffman", "plain"]


def compress(content):
    """Gives the shortest form and its number."""
    forms = [(content, PLAIN), (runs_encode(content), RUNS), (huffman_encode(content), HUFFMAN)]
    return min(forms, key=lambda each: len(each[0]))


def decompress(data, form):
    decode = {RUNS: runs_decode, HUFFMAN: huffman_decode}.get(form)
    return decode(data) if decode else data


# --- Telegrams ------------------------------------------------------------------------------------


@dataclass
class Telegram:
    source: int
    destination: int
    id: int
    kind: int
    content: bytes


@dataclass
class Link:
    """Sends and collects telegrams over a connected socket."""

    socket: socket.socket
    address: int
    part_size: int = 1 << 20
    frames: Frames = field(default_factory=Frames)
    incomplete: dict = field(default_factory=dict)
    complete: list = field(default_factory=list)

    def send(self, telegram):
        data, form = compress(telegram.content)
        stamp = int(time.time()) & 0xFFFFFFFF
        count = -(-len(data) // self.part_size)
        for i in range(count):
            payload = data[i * self.part_size : (i + 1) * self.part_size]
            head = (telegram.source, telegram.destination, telegram.id, i + 1, stamp)
            part = Part(*head, telegram.kind, i + 1 == count, form, payload)
            self.socket.sendall(frame_encode(part))
        self.report("sent", telegram, count, form)

    def receive(self):
        """Waits for the next telegram; None if the link is closed."""
        while not self.complete:
            data = self.socket.recv(1 << 16)
            if not data:
                return None
            for part in self.frames.feed(data):
                if part.destination in (self.address, BROADCAST):
                    self.collect(part)
        return self.complete.pop(0)

    def collect(self, part):
        if part.number == 1 and part.last:
            self.finish([part])
            return
        key = (part.source, part.destination, part.id, part.stamp, part.kind, part.form)
        parts = self.incomplete.setdefault(key, {})
        if part.number in parts:
            return
        last = max((number for number in parts if parts[number].last), default=None)
        beyond = last is not None and (part.last or part.number > last)
        if part.number == 0 or beyond or (part.last and part.number < max(parts, default=0)):
            tell("dropped a part that fits no telegram")
            return
        parts[part.number] = part
        if part.last:
            last = part.number
        if last == len(parts):
            self.finish(list(self.incomplete.pop(key).values()))

    def finish(self, parts):
        first = parts[0]
        parts.sort(key=lambda part: part.number)
        data = b"".join(part.payload for part in parts)
        try:
            content = decompress(data, first.form)
        except Refused as why:
            tell(f"dropped a telegram: {why}")
            return
        telegram = Telegram(first.source, first.destination, first.id, first.kind, content)
        self.report("received", telegram, len(parts), first.form)
        self.complete.append(telegram)

    @staticmethod
    def report(what, telegram, count, form):
        parts = f"{count} part" + ("" if count == 1 else "s")
        tell(f"{what} {len(telegram.content)} bytes in {parts}, {FORM_NAMES[form]}")


# --- Messages -------------------------------------------------------------------------------------

TIME, SHUTDOWN, GENERIC_REQ, GENERIC_RSP = 11, 12, 28, 29


def text_encode(text):
    data = text.encode()
    return struct.pack("<I", len(data)) + data


def text_decode(reader):
    return reader.take(struct.unpack("<I", reader.take(4))[0]).decode(errors="replace")


def message_encode(kind, version, *fields):
    body = b"".join(
        text_encode(each) if isinstance(each, str) else struct.pack("<I", each) for each in fields
    )
    return struct.pack("<HH", kind, version) + body


def message_decode(content):
    reader = Reader(content)
    kind, version = struct.unpack("<HH", reader.take(4))
    message = {"type": kind, "version": version}
    if kind == TIME:
        message["time"] = struct.unpack("<I", reader.take(4))[0]
    elif kind in (GENERIC_REQ, GENERIC_RSP):
        message["text1"], message["text2"] = text_decode(reader), text_decode(reader)
    return message


# --- A station and a panel ------------------------------------------------------------------------


def tell(text):
    print(f"peer.py: {text}", file=sys.stderr, flush=True)


def request_of(words):
    name, *texts = words
    if name == "generic" and len(texts) == 2:
        return message_encode(GENERIC_REQ, 0, *texts)
    if name == "file" and len(texts) == 1:
        with open(texts[0], "rb") as file:
            return file.read()
    if name == "time" and not texts:
        return message_encode(TIME, 0, int(time.time()))
    if name == "shutdown" and not texts:
        return message_encode(SHUTDOWN, 0)
    raise SystemExit("peer.py: the command is one of: generic TEXT TEXT, file FILE, time, shutdown")


def ask(link, destination, content):
    """Sends a request and gives the content of its response; None if the link closes before."""
    is_shutdown = content[:2] == struct.pack("<H", SHUTDOWN)
    kind = REQUEST if is_shutdown else REQUEST_WITH_RESPONSE
    request = Telegram(link.address, destination, 1, kind, content)
    link.send(request)
    if is_shutdown:
        return b""
    while telegram := link.receive():
        if telegram.kind == RESPONSE and telegram.id == request.id:
            return telegram.content
    return None


def panel(link):
    """Answers requests until the link closes. Gives whether the panel was shut down."""
    while telegram := link.receive():
        if telegram.kind == RESPONSE:
            continue
        try:
            message = message_decode(telegram.content)
        except Refused as why:
            tell(f"dropped a message: {why}")
            continue
        kind, version = message["type"], message["version"]
        if kind == SHUTDOWN:
            return True
        if kind == GENERIC_REQ:
            answer = message_encode(GENERIC_RSP, version, message["text1"], message["text2"])
        elif kind == TIME:
            answer = message_encode(TIME, version, int(time.time()))
        else:
            tell(f"no answer to messages of type {kind}")
            continue
        if telegram.kind == REQUEST_WITH_RESPONSE:
            link.send(Telegram(link.address, telegram.source, telegram.id, RESPONSE, answer))
    return False


# --- The vectors of the document ------------------------------------------------------------------


def bytes_of(cell):
    """The bytes that a cell of a table stands for: 2 times `00`, then `abc`"""
    out = b""
    for piece in cell.split(", then "):
        times, value = re.fullmatch(r"(?:(\d+) times )?(.*)", piece).groups()
        value = "" if value == "(nothing)" else value.strip('`"')
        is_hex = re.fullmatch(r"[0-9a-f]{2}( [0-9a-f]{2})*", value)
        out += (bytes.fromhex(value) if is_hex else value.encode()) * int(times or 1)
    return out


def tables(document):
    """Gives (heading above it, head, rows) of each table; smaller headings do not count."""
    heading, table = "", []
    for line in document.splitlines() + [""]:
        if line.startswith("|"):
            table.append([cell.strip() for cell in line.strip("|").split("|")])
            continue
        if table:
            yield heading, table[0], table[2:]
        table = []
        if re.match("##?#? ", line):
            heading = line.strip("# ")


def decoded(decode, encoded):
    """None if it is refused."""
    try:
        return decode(encoded)
    except Refused:
        return None


def vectors(document):
    """Gives (name, whether it holds) of each vector."""
    codecs = {
        "Base-128": (base128_encode, base128_decode),
        "Run lengths": (runs_encode, runs_decode),
        "Huffman codes": (huffman_encode, huffman_decode),
    }
    for heading, head, rows in tables(document):
        for row in rows:
            name = f"{heading}: {row[0]}"
            if heading == "CRC-8":
                yield name, crc8(bytes_of(row[0])) == bytes_of(row[1])[0]
            elif head[0] == "number":
                power = re.fullmatch(r"2\^(\d+) - 1", row[0])
                value, encoded = 2 ** int(power[1]) - 1 if power else int(row[0]), bytes_of(row[1])
                yield name, number_encode(value) == encoded and Reader(encoded).number() == value
            elif head[0] in ("plain", "content"):
                (encode, decode), plain = codecs[heading], bytes_of(row[0])
                yield name, decoded(decode, bytes_of(row[1])) == plain == decode(encode(plain))
                # There are many Huffman codes for one content, and one form of the others.
                if heading != "Huffman codes":
                    yield f"{name} encoded", encode(plain) == bytes_of(row[1])
            elif head[0] == "refused":
                yield name, decoded(codecs[heading][1], bytes_of(row[0])) is None
    body, frame, response = [
        bytes.fromhex(re.search(name + r":\n\n((?:    .*\n)+)", document)[1])
        for name in ("is its CRC", "Frame", "Body of the response")
    ]
    clock = 0x65431234
    request = message_encode(TIME, 0, clock)
    part = Part(1, 2, 7, 1, clock, REQUEST_WITH_RESPONSE, True, PLAIN, request)
    yield "Body", frame_body(part) == body
    yield "Frame", frame_encode(part) == frame and Frames().feed(frame) == [part]
    answer = message_encode(TIME, 0, clock + 2)
    part = Part(2, 1, 7, 1, clock + 2, RESPONSE, True, PLAIN, answer)
    yield "Body of the response", frame_body(part) == response
    yield from message_vectors(document)


def block(document, mark):
    return re.search(rf"```{mark}\n(.*?)```", document, re.DOTALL)[1]


def layout(text):
    """Gives the fields that the text lists, and the text behind them.

    A field is (its versions, its type, its name); the type of a list is a list of fields.
    """
    fields = []
    while found := re.match(r"[, ]*(?:v(\d)(\+?): )?(\w+) (\w+|\* \()", text):
        first, more, kind, name = found.groups()
        text = text[found.end() :]
        versions = range(int(first or 0), int(first) + 1 if first and not more else 1 << 16)
        if name == "* (":
            name = kind
            kind, text = layout(text)
        fields.append((versions, kind, name))
    return fields, text.removeprefix(")")


def body_encode(fields, version, values):
    out = b""
    for versions, kind, name in fields:
        value = values[name]
        if version not in versions:
            continue
        if isinstance(kind, list):
            out += b"".join(body_encode(kind, version, each) for each in value)
        elif kind == "text":
            out += text_encode(value)
        elif kind == "blob":
            out += struct.pack("<I", len(value) // 2) + bytes.fromhex(value)
        else:
            number = len(value) if isinstance(value, list) else value
            out += number.to_bytes(int(kind[1:]) // 8, "little", signed=kind[0] == "i")
    return out


def config_json(values, version):
    """The JSON form of a configuration, from the fields in the order of the body."""
    members = {"action": "config", "type": "request", "tv": 1}
    for name, value in values.items():
        if name == "flags":
            members["sleepUserEna"] = value & 1 == 1
        elif value != [] and (name != "frames" or version >= 3):
            members[name] = value
    text = json.dumps(members, ensure_ascii=False, separators=(",", ":"))
    # The digits of escapes are upper-case. What follows an escaped backslash is not an escape.
    return re.sub(r"\\(u00..|.)", lambda each: each[0][:2] + each[0][2:].upper(), text)


def schedules_body(fields, values, sent, asked):
    """What the checksum of schedules is of."""
    schedules = [dict(each) for each in values["schedules"]]
    for each in schedules:
        if sent < 2:
            each["stopTime"] = 0
        if asked >= 2:
            each["entries"] = sorted(each["entries"], key=lambda entry: entry["id"])
    schedules.sort(key=lambda each: each["id"])
    return body_encode(fields, asked, {"schedules": schedules})


def message_vectors(document):
    layouts = {}
    for line in block(document, "bodies").replace("\n    ", " ").splitlines():
        number, name, text = re.fullmatch(r"(\d+) (\w+):(.*)", line).groups()
        layouts[name] = int(number), layout(text)[0]
    sent = {}
    for vector in re.split(r"\n(?=\S)", block(document, "vectors").strip()):
        head, *rows = re.split(r"\n  v(\d) = ", vector)
        title, text = re.fullmatch(r"(.*?) (\{.*\})", head, re.DOTALL).groups()
        number, fields = layouts[title.split()[0]]
        values = json.loads(text)
        sent[title] = fields, values
        for version, row in zip(map(int, rows[::2]), rows[1::2]):
            content = struct.pack("<HH", number, version) + body_encode(fields, version, values)
            yield f"{title} v{version}", content == bytes.fromhex(row)
    texts = [text.replace("\n    ", "") for text in re.findall(r"    (\{.*(?:\n    .+)*)", document)]
    for line in block(document, "checksums").splitlines():
        title, version, asked, checksum = re.fullmatch(r"(.*) v(\d), v(\d) = (.*)", line).groups()
        fields, values = sent[title]
        if title.startswith("SET_CONFIG"):
            text = config_json(values, int(version))
            yield f"JSON of {line}", int(version) < 3 or text in texts
            summed = text.encode()
        else:
            summed = schedules_body(fields, values, int(version), int(asked))
        yield line, hashlib.sha1(summed).hexdigest() == checksum
    for file in sent["IMAGE"][1]["files"]:
        content = bytes.fromhex(file["content"])
        yield f"image {file['name']}", hashlib.sha1(content).hexdigest() == file["checksum"]


def self_test(path):
    with open(path, encoding="utf-8") as file:
        results = list(vectors(file.read()))
    for name, holds in results:
        if not holds:
            tell(f"does not hold: {name}")
    print(f"{sum(holds for _, holds in results)} of {len(results)} vectors hold")
    return 0 if all(holds for _, holds in results) else 1


def host_and_port(text):
    host, _, port = text.rpartition(":")
    return host, int(port)


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    mode = parser.add_mutually_exclusive_group(required=True)
    mode.add_argument("--connect", metavar="HOST:PORT", type=host_and_port, help="be a station")
    mode.add_argument("--listen", metavar="HOST:PORT", type=host_and_port, help="be a panel")
    mode.add_argument("--selftest", metavar="DOCUMENT", help="check the vectors of wire-format.md")
    parser.add_argument("--to", type=int, help="address of the panel that is asked")
    parser.add_argument("--address", type=int, default=1, help="address of this peer (1)")
    parser.add_argument("--part-size", type=int, default=1 << 20, help="most bytes of a part")
    parser.add_argument("--timeout", type=float, default=10, help="seconds for an answer (10)")
    parser.add_argument("words", metavar="COMMAND", nargs="*", help="generic, file, time, shutdown")
    options = parser.parse_args()

    if options.selftest:
        return self_test(options.selftest)
    if options.listen:
        with socket.create_server(options.listen) as server:
            tell("listening on tcp://%s:%d" % server.getsockname()[:2])
            while True:
                try:
                    with server.accept()[0] as connection:
                        if panel(Link(connection, options.address, options.part_size)):
                            return 0
                except ConnectionError as reason:
                    tell(f"a station broke the link: {reason}")
    if options.to is None or not options.words:
        parser.error("--connect needs --to and a command")
    content = request_of(options.words)
    with socket.create_connection(options.connect, timeout=options.timeout) as connection:
        answer = ask(Link(connection, options.address, options.part_size), options.to, content)
    if answer is None:
        tell("the link was closed before an answer came")
        return 1
    if answer:
        print(json.dumps(message_decode(answer), ensure_ascii=False))
    return 0


if __name__ == "__main__":
    sys.exit(main())
