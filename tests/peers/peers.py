#!/usr/bin/env python3
"""The program's transfers against real peers.

    peers.py [--bin FOLDER] [--jobs N] [--seed N] [--all] GROUP...

FOLDER holds quillon-line and faultrelay; lrzsz is the peer. --all takes every
group, and within the groups the cases that last too long for each day.
"""

import argparse
import functools
import os
import random
import shutil
import socket
import struct
import subprocess
import sys
import time

import blocks
import kermit
from rig import (KINDS, PARTIAL, Place, Programs, check, content, digest,
                 judge, our_receiver, our_sender, ours, relay, run_all, rz,
                 sz, wire)

SIZES = (0, 1, 127, 128, 1023, 1024, 1025, 4096, 1 << 20)
GROUPS = {"block-sizes": blocks.block_sizes,
          "block-faults": blocks.block_faults,
          "kermit-sizes": kermit.kermit_sizes,
          "kermit-faults": kermit.kermit_faults}


def group(function):
    """A group is a function of (seed, everything) that yields its cases."""
    GROUPS[function.__name__.replace("_", "-")] = function
    return function


# ---- sizes, contents, names ---------------------------------------------------

def batch(files, sender, receiver, options=()):
    """All files in one call, both ends content, everything whole."""
    with Place() as place:
        paths = [place.put(name, data) for name, data in files.items()]
        done = relay(place, sender(*paths), receiver(place.into), options)
        check(done.a == 0 and done.b == 0, done)
        judge(place, {os.fsencode(n): d for n, d in files.items()}, True)
        lines = place.log()
        # Received files without a byte are told by nobody.
        wanted = 0
        if ours(sender()):
            wanted += len(files)
        if ours(receiver("")):
            wanted += sum(len(d) > 0 for d in files.values())
        check(len(lines) == wanted, "lines of the log:", len(lines))


def all_sizes():
    return {f"{kind}-{size}": content(kind, size)
            for kind in KINDS for size in SIZES}


TO_US = {"sender": sz, "receiver": our_receiver}
FROM_US = {"sender": our_sender, "receiver": lambda folder: rz()}
OURSELVES = {"sender": our_sender, "receiver": our_receiver}


@group
def sizes(seed, everything):
    twenty = {f"file {i:02}": content("random", i * 531 + seed)
              for i in range(20)}
    escaped = functools.partial(our_sender, options=("--escape",))
    window = functools.partial(our_sender, options=("--window", "4096"))
    small = functools.partial(our_sender, options=("--block", "2"))
    sz_escapes = functools.partial(sz, options=("-e",))
    for name, ends in (("to us", TO_US), ("from us", FROM_US)):
        yield f"all sizes {name}", functools.partial(
            batch, all_sizes(), **ends)
        yield f"twenty files {name}", functools.partial(batch, twenty, **ends)
    some = {f"{kind}-{size}": content(kind, size)
            for kind in KINDS for size in (1024, 30001)}
    yield "all sizes by ourselves", functools.partial(
        batch, all_sizes(), **OURSELVES)
    yield "controls escaped to us", functools.partial(
        batch, some, sz_escapes, our_receiver)
    yield "controls escaped from us", functools.partial(
        batch, some, escaped, lambda folder: rz())
    yield "window from us", functools.partial(
        batch, some, window, lambda folder: rz())
    yield "small blocks from us", functools.partial(
        batch, some, small, lambda folder: rz())
    yield "on a terminal to us", functools.partial(
        batch, some, options=("--pty",), **TO_US)


@group
def names(seed, everything):
    """As they stand. Here a name of more than 31 bytes is cut, which the tests
    of the names look at."""
    short = ["two words and  more.txt", "n" * 31, " leading", "back\\slash*?",
             "M\u00fcller"]
    long = ["a:b:c", "n" * 32, "y" * 200, os.fsdecode(b"\xff\xfe")]
    for word, ends, taken in (("to us", TO_US, short),
                              ("from us", FROM_US, short + long)):
        files = {n: content("text", 100 + i) for i, n in enumerate(taken)}
        yield f"names {word}", functools.partial(batch, files, **ends)


# ---- resume ---------------------------------------------------------------------

RESUMED = 150000  # bytes of a file that is cut


def only_the_rest(done, size, held, kind="random"):
    """Escapes and frames take some percent."""
    most = (size - held) * (1.15 if kind == "control" else 1.06) + 2500
    check(done.a_sent <= most, "sent", done.a_sent, "bytes for the last",
          size - held, "of", size)


def resume(sender, receiver, name, wanted, held_in, size, cut, kind="random",
           word="", also=lambda place: None):
    """The first call is cut, the second sends what is missing. `held_in` tells
    how many bytes of the stream a partial file holds, and whether it is a
    start of what is wanted."""
    with Place() as place:
        a, b = sender(place), receiver(place.into)
        done = relay(place, a, b, ("--cut", cut))
        check(done.a != 0 and done.b != 0, "both call it a success:", done)
        got, held = place.received(), 0
        check(len(got) <= 1, "too many files", list(got))
        for partial, start in got.items():
            check(not ours(b) or partial == name + PARTIAL, "named", partial)
            held = held_in(start)
        done = relay(place, a, b)
        check(done.a == 0 and done.b == 0, "second call:", done)
        judge(place, {name: wanted}, True)
        only_the_rest(done, size, held, kind)
        if held:
            text = done.b_text if ours(b) else done.a_text
            check(word in text and " Resume" in text, "no word of it:", text)
            log = place.log()
            check(log and b"Resume" in log[-1], "the log says", log[-1:])
        also(place)


def resume_binary(sender, receiver, kind, cut):
    data = content(kind, RESUMED)

    def held_in(start):
        check(data.startswith(start) and len(start) < len(data),
              "what is left is no start:", len(start))
        return len(start)

    resume(lambda place: sender(place.put("a file", data)), receiver,
           b"a file", data, held_in, len(data), cut, kind)


def resume_text(sender, cut):
    """The partial text has four bytes of position behind it."""
    data = content("text", RESUMED)
    wanted = data.replace(b"\n", b"\r")

    def held_in(start):
        held = struct.unpack("=i", start[-4:])[0]
        check(start[:-4] == wanted[:held], "no start of the text")
        return held

    resume(lambda place: sender(place.put("a text", data)),
           functools.partial(our_receiver, options=("--convert", "T")),
           b"a text", wanted, held_in, len(data), cut,
           word="Resume TEXT transfer.")


def double(fork, info=b"TESTqLNE" + bytes(24)):
    """An AppleDouble sidecar: Finder info and resource fork."""
    return (struct.pack(">II16xH", 0x00051607, 0x00020000, 2) +
            struct.pack(">IIIIII", 9, 50, len(info), 2, 82, len(fork)) +
            info + fork)


def fork_of(folder, name):
    with open(os.path.join(folder, "._" + name), "rb") as f:
        bytes_ = f.read()
    for i in range(struct.unpack(">H", bytes_[24:26])[0]):
        kind, at, length = struct.unpack(">III", bytes_[26 + 12 * i:38 + 12 * i])
        if kind == 2:
            return bytes_[at:at + length]
    return b""


def macbinary(name, data, fork):
    """The stream of both forks, in the order of this machine."""
    head = bytearray(128)
    head[1:2 + len(name)] = bytes([len(name)]) + name
    head[65:73] = b"TESTqLNE"
    struct.pack_into("=ii", head, 83, len(data), len(fork))
    return bytes(head) + data + bytes(-len(data) % 128) + fork


def resume_macbinary(cut, by_peer):
    """Both forks, with the line cut in either; the stream is made by us, or
    is a file of sz. The lengths stand in the header in the machine's order,
    and a header is one only if their first bytes are 0: so these are whole
    pages."""
    data, fork = content("random", 70144), content("random", 60160, 2)

    def sender(place):
        if by_peer:
            return sz(place.put("a file", macbinary(b"a file", data, fork)))
        place.put("._a file", double(fork))
        return our_sender(place.put("a file", data), options=("--convert", "M"))

    def receiver(folder):
        return our_receiver(folder, ("--convert", "M"))

    def held_in(start):
        check(data.startswith(start[:-128]), "no start of the data fork")
        return struct.unpack("=i", start[-16:-12])[0]

    def forks(place):
        got = fork_of(place.into, "a file")
        check(got == fork, "resource fork is wrong:", len(got))

    resume(sender, receiver, b"a file", data, held_in,
           128 + len(data) + len(fork), cut, word="Resume MacBinary transfer.",
           also=forks)


def cuts(seed, size, count):
    """One in each part of the stream, anywhere within it."""
    chance, part = random.Random(seed), (size - 200) // count
    return [200 + i * part + chance.randrange(part) for i in range(count)]


@group
def resume_b(seed, everything):
    """To us, and from us to rz, which resumes with -r, and overwrites with
    -y: so without that."""
    rz_resumes = lambda folder: ["rz", "-b", "-q", "-r"]
    for name, a, b in (("to us", sz, our_receiver),
                       ("from us", our_sender, rz_resumes)):
        for i, cut in enumerate(cuts(seed, RESUMED - 2000,
                                     20 if everything else 8)):
            kind = KINDS[i % len(KINDS)]
            yield f"{kind} {name}, cut at {cut}", functools.partial(
                resume_binary, a, b, kind, cut)


@group
def resume_t(seed, everything):
    for cut in cuts(seed + 2, RESUMED - 2000, 20 if everything else 6):
        yield f"text to us, cut at {cut}", functools.partial(
            resume_text, functools.partial(sz, options=("-a",)), cut)
    sender = functools.partial(our_sender, options=("--convert", "T"))
    yield "text by ourselves", functools.partial(resume_text, sender, 40000)


@group
def resume_m(seed, everything):
    # Within the header, in the data, between the forks, in the resources.
    at = [150, 300, 71300, 71700] + cuts(seed + 3, 128000,
                                         16 if everything else 4)
    for i, cut in enumerate(at):
        yield f"MacBinary cut at {cut}", functools.partial(
            resume_macbinary, cut, i % 2 == 0)


# ---- faults ------------------------------------------------------------------------

FAULTS = {
    "clean": (),
    "flips of 1e-5": ("--flip", "1e-5"),
    "flips of 1e-4": ("--flip", "1e-4"),
    "drops": ("--drop", "5e-5"),
    "bursts": ("--burst", "2e-5", "100"),
    "doubles": ("--double", "5e-5"),
    "flow bytes": ("--flow", "1e-2"),
}
SURE = ("clean", "flips of 1e-5", "flow bytes")  # nothing here may fail


def faulty(sender, receiver, options, kind, sure, limit=100):
    """Whole, or ended with a message. `sure`: whole."""
    data = {b"first": content(kind, 100000), b"second": content(kind, 30000)}
    with Place() as place:
        paths = [place.put(n, d) for n, d in data.items()]
        a, b = sender(*paths), receiver(place.into)
        done = relay(place, a, b, options, limit)
        if ours(b):
            begun = judge(place, data, done.b == 0)
            check(done.b == 0 or not begun or "###" in done.b_text,
                  "ended without a message:", done)
        elif done.a == 0:
            judge(place, data, True)
        for line in place.log():
            if line[2].startswith(b"R") and b"ncomplete" not in line[-1]:
                name = line[9].split(b"\t")[0]
                check(digest(place.received().get(name, b"")) ==
                      digest(data[name]), "logged as whole:", line)
        if sure:
            check(done.a == 0 and done.b == 0, done)
        return f"{'whole' if done.a == done.b == 0 else 'ended'}"


@group
def faults(seed, everything):
    rounds = 5 if everything else 1
    for round_ in range(rounds):
        for word, options in FAULTS.items():
            for name, ends in (("to us", TO_US), ("from us", FROM_US),
                               ("by ourselves", OURSELVES)):
                if word == "clean" and name != "by ourselves":
                    continue
                yield f"{word} {name}", functools.partial(
                    faulty, options=(*options, "--seed", seed + round_),
                    kind="random", sure=word in SURE, **ends)
    # Frames have bytes of eight bits whatever is escaped: so it ends. A
    # receiver that goes back to XMODEM, while the sender waits, takes its time.
    escaping = functools.partial(our_sender, options=("--escape",))
    for kind in ("text", "random"):
        yield f"seven bits, {kind} to us", functools.partial(
            faulty, functools.partial(sz, options=("-e",)), our_receiver,
            ("--seven",), kind, False)
        if everything:
            yield f"seven bits, {kind} from us", functools.partial(
                faulty, escaping, lambda folder: rz(("-e",)), ("--seven",),
                kind, False, 400)


# ---- cancel ---------------------------------------------------------------------------

CANCELLED = 60000


def cancel(sender, receiver, at, end):
    """The user of one end cancels when so much has been sent."""
    data = content("random", CANCELLED)
    with Place() as place:
        path = place.put("a file", data)
        commands = sender(path), receiver(place.into)
        done = wire(place, *commands, at,
                    lambda *ends: ends[end].interrupt())
        codes = (done.a, done.b)
        got = place.received()
        for i in (0, 1):
            if not ours(commands[i]):
                continue
            whole = got.get(b"a file") == data
            check(codes[i] != 0 or whole, "calls it a success:", done)
        if ours(commands[1]):
            judge(place, {b"a file": data}, False)
        return f"exits {done.a} {done.b}"


@group
def cancels(seed, everything):
    steps = (0, 22, 60, 150, 1000, 30000, 60000, 61500) if everything else \
        (22, 1000, 30000, 61500)
    for at in steps:
        for name, ends in (("to us", TO_US), ("from us", FROM_US)):
            for who, end in (("sender", 0), ("receiver", 1)):
                yield f"{name}, {who} cancels at {at}", functools.partial(
                    cancel, at=at, end=end, **ends)


# ---- memory --------------------------------------------------------------------------------

def highest(process):
    """Its peak memory in KiB, asked for as long as it runs: what is told at
    the end has that of the program that started it in it."""
    peak = 0
    while process.poll() is None:
        with open(f"/proc/{process.pid}/status", encoding="ascii") as f:
            for line in f:
                if line.startswith("VmHWM:"):
                    peak = max(peak, int(line.split()[1]))
        time.sleep(0.02)
    return peak


def memory(sender, receiver, size):
    """Peak memory of ours with a large file, over that with a small one."""
    peaks = []
    for length in (1 << 16, size):
        with Place() as place:
            path = place.put("large", b"")
            os.truncate(path, length)
            a, b = sender(path), receiver(place.into)
            left, right = socket.socketpair()
            ends = []
            for command, cwd, end in ((a, place.out, left),
                                      (b, place.into, right)):
                ends.append(subprocess.Popen(
                    command, cwd=cwd, env=place.environment(), stdin=end,
                    stdout=end, stderr=subprocess.DEVNULL))
            left.close()
            right.close()
            peaks.append(highest(ends[0 if ours(a) else 1]))
            for process, command in zip(ends, (a, b)):
                check(process.wait() == 0, command[:3], "exit",
                      process.returncode)
            check(os.path.getsize(os.path.join(place.into, "large")) == length,
                  "the length is wrong")
    check(peaks[1] < peaks[0] + 4096, "grows:", peaks, "KiB")
    return f"peak {peaks[0]} KiB with 64 KiB, {peaks[1]} KiB with {size >> 20} MiB"


@group
def memory_use(seed, everything):
    size = 1 << 30 if everything else 1 << 24
    yield "receiving", functools.partial(memory, sz, our_receiver, size)
    yield "sending", functools.partial(memory, our_sender, lambda f: rz(),
                                       size)


# ---- the call -------------------------------------------------------------------------------

def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("groups", nargs="*", metavar="GROUP",
                        help=" ".join(GROUPS))
    parser.add_argument("--bin", default="bin")
    # Most of each case's time is waiting, so there may be more than cores.
    parser.add_argument("--jobs", type=int, default=20)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--all", action="store_true")
    parser.add_argument("--match", default="", help="cases with this text")
    args = parser.parse_args()
    unknown = [g for g in args.groups if g not in GROUPS]
    if unknown or not (args.groups or args.all):
        parser.error(f"groups are {' '.join(GROUPS)}")
    Programs.folder = os.path.abspath(args.bin)
    for program in ("sz", "rz", Programs.path("quillon-line"),
                    Programs.path("faultrelay")):
        if not shutil.which(program):
            sys.exit(f"peers.py: no {program}")
    cases = [(f"{name}: {case}", run) for name in args.groups or GROUPS
             for case, run in GROUPS[name](args.seed, args.all)
             if args.match in case]
    counts = run_all(cases, args.jobs)
    print(", ".join(f"{n} {word}" for word, n in counts.items()))
    return 1 if counts["failed"] or not counts["passed"] else 0


if __name__ == "__main__":
    sys.exit(main())
