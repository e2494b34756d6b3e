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
import signal
import socket
import struct
import subprocess
import sys
import time

import blocks
import kermit
import zhost
from rig import (PARTIAL, Child, Failure, Place, Programs, Skipped, check,
                 content, digest, judge, our_receiver, our_sender, ours, relay,
                 run_all, rz, sz, wire)

KINDS = ("ring", "random", "control", "text")
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
        yield f"one byte {name}", functools.partial(batch, {"one": b"1"},
                                                    **ends)
        yield f"an empty file {name}", functools.partial(
            batch, {"none": b""}, **ends)
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


LONG = "n" * 27


def names_to_us():
    """What the names become: ":" is ";", and one of more than 31 bytes is
    cut to 30."""
    names = {
        "two words and  more.txt": "two words and  more.txt",
        "a:b:c": "a;b;c",
        LONG + "-31x": LONG + "-31x",
        LONG + "-32xx": LONG + "-32",
        "y" * 200: "y" * 30,
        " leading": " leading",
        "back\\slash*?": "back\\slash*?",
        "M\u00fcller": "M\u00fcller",
    }
    with Place() as place:
        data = {n: content("text", 100 + i) for i, n in enumerate(names)}
        paths = [place.put(n, d) for n, d in data.items()]
        done = relay(place, sz(*paths), our_receiver(place.into))
        check(done.a == 0 and done.b == 0, done)
        judge(place, {os.fsencode(names[n]): d for n, d in data.items()}, True)


def names_from_us():
    names = ["two words and  more.txt", "a:b:c", LONG + "-31x", LONG + "-32xx",
             "y" * 200, " leading", "back\\slash*?", "M\u00fcller", b"\xff\xfe"]
    batch({os.fsdecode(n): content("text", 100 + i)
           for i, n in enumerate(names)}, **FROM_US)


def names_that_exist():
    """A second file of a name gets one of its own; the first stays."""
    with Place() as place:
        first, second = content("text", 5000), content("random", 5000)
        place.put("same name", second)
        with open(os.path.join(place.into, "same name"), "wb") as f:
            f.write(first)
        done = relay(place, sz("same name"), our_receiver(place.into))
        check(done.a == 0 and done.b == 0, done)
        judge(place, {b"same name": first, b"same name #1": second}, True)


@group
def names(seed, everything):
    yield "names to us", names_to_us
    yield "names from us", names_from_us
    yield "a name that exists", names_that_exist


# ---- resume ---------------------------------------------------------------------

RESUMED = 150000  # bytes of a file that is cut


def log_says(place, words):
    lines = place.log()
    check(lines and words in lines[-1], "the log says", lines[-1:])


def only_the_rest(done, size, held, kind="random"):
    """Escapes and frames take some percent."""
    most = (size - held) * (1.15 if kind == "control" else 1.06) + 2500
    check(done.a_sent <= most, "sent", done.a_sent, "bytes for the last",
          size - held, "of", size)


def resume_binary(sender, receiver, kind, cut):
    """The first call is cut, the second sends what is missing."""
    data = content(kind, RESUMED)
    with Place() as place:
        path = place.put("a file", data)
        a, b = sender(path), receiver(place.into)
        done = relay(place, a, b, ("--cut", cut))
        check(done.a != 0 and done.b != 0, "both call it a success:", done)
        got = judge_cut(place, data, ours(b))
        held = len(got)
        done = relay(place, a, b)
        check(done.a == 0 and done.b == 0, "second call:", done)
        judge(place, {b"a file": data}, True)
        only_the_rest(done, len(data), held, kind)
        if held:
            text = done.b_text if ours(b) else done.a_text
            check(" Resume" in text, "no word of the resume:", text)
            log_says(place, b"Resume")


def judge_cut(place, data, kept_by_us):
    """What the cut has left: nothing, or a start under the right name."""
    got = place.received()
    check(len(got) <= 1, "too many files", list(got))
    for name, start in got.items():
        if kept_by_us:
            check(name == b"a file" + PARTIAL, "named", name)
        check(data.startswith(start) and len(start) < len(data),
              "what is left is no start:", len(start))
        return start
    return b""


def as_text(data):
    """What conversion of text makes of it."""
    return data.replace(b"\r\n", b"\r").replace(b"\n", b"\r")


def resume_text(sender, cut):
    """The partial text has four bytes of position behind it."""
    data = content("text", RESUMED)
    wanted = as_text(data)
    with Place() as place:
        path = place.put("a text", data)
        a = sender(path)
        b = our_receiver(place.into, ("--convert", "T"))
        done = relay(place, a, b, ("--cut", cut))
        check(done.a != 0 and done.b != 0, "both call it a success:", done)
        got = place.received()
        held = 0
        for name, start in got.items():
            check(name == b"a text" + PARTIAL, "named", name)
            held = struct.unpack("=i", start[-4:])[0]
            check(start[:-4] == wanted[:held], "no start of the text")
        done = relay(place, a, b)
        check(done.a == 0 and done.b == 0, "second call:", done)
        judge(place, {b"a text": wanted}, True)
        only_the_rest(done, len(data), held)
        if held:
            check("Resume TEXT transfer." in done.b_text and
                  " Resume" in done.b_text, "no word of it:", done.b_text)
            log_says(place, b"Resume")


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


def put_forked(place, name, data, fork):
    place.put("._" + name, double(fork))
    return place.put(name, data)


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
    with Place() as place:
        if by_peer:
            a = sz(place.put("a file", macbinary(b"a file", data, fork)))
        else:
            path = put_forked(place, "a file", data, fork)
            a = our_sender(path, options=("--convert", "M"))
        b = our_receiver(place.into, ("--convert", "M"))
        done = relay(place, a, b, ("--cut", cut))
        check(done.a != 0 and done.b != 0, "both call it a success:", done)
        got = place.received()
        held = 0
        for name, bytes_ in got.items():
            check(name == b"a file" + PARTIAL, "named", name)
            check(data.startswith(bytes_[:-128]), "no start of the data fork")
            held = struct.unpack("=i", bytes_[-16:-12])[0]
        done = relay(place, a, b)
        check(done.a == 0 and done.b == 0, "second call:", done)
        judge(place, {b"a file": data}, True)
        check(fork_of(place.into, "a file") == fork, "resource fork is wrong:",
              len(fork_of(place.into, "a file")))
        only_the_rest(done, 128 + 70144 + 60160, held)
        if held:
            check("Resume MacBinary transfer." in done.b_text and
                  " Resume" in done.b_text, "no word of it:", done.b_text)
            log_says(place, b"Resume")


def cuts(seed, size, count=20):
    chance = random.Random(seed)
    return sorted(chance.randrange(200, size) for _ in range(count))


@group
def resume_b(seed, everything):
    for i, cut in enumerate(cuts(seed, RESUMED - 2000)):
        kind = KINDS[i % len(KINDS)]
        yield f"{kind} to us, cut at {cut}", functools.partial(
            resume_binary, sz, our_receiver, kind, cut)


@group
def resume_s(seed, everything):
    """rz resumes with -r, and overwrites with -y: so without that."""
    for i, cut in enumerate(cuts(seed + 1, RESUMED - 2000)):
        kind = KINDS[i % len(KINDS)]
        yield f"{kind} from us, cut at {cut}", functools.partial(
            resume_binary, our_sender,
            lambda folder: ["rz", "-b", "-q", "-r"], kind, cut)


@group
def resume_t(seed, everything):
    for cut in cuts(seed + 2, RESUMED - 2000):
        yield f"text to us, cut at {cut}", functools.partial(
            resume_text, functools.partial(sz, options=("-a",)), cut)
    sender = functools.partial(our_sender, options=("--convert", "T"))
    yield "text by ourselves", functools.partial(resume_text, sender, 40000)


@group
def resume_m(seed, everything):
    # Within the header, in the data, between the forks, in the resources.
    at = [150, 300, 71300, 71700] + cuts(seed + 3, 128000, 16)
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


PROMPT = b"\r\nhost prompt> "


def shows_prompt(text):
    check("host prompt>" in text, "the prompt isn't shown:", repr(text))


def cancelling_sender(step):
    """A host that cancels, with its prompt right behind: the receiver ends at
    once and shows it."""
    data = content("random", 5000)
    with Place() as place:
        b = Child(place, our_receiver(place.into), place.into, "b")
        host = zhost.Host(b.socket)
        goodbye = zhost.CANCEL + PROMPT
        try:
            host.expect(zhost.ZRINIT)
            if step >= 1:
                host.offer(zhost.file_block(b"a file", len(data)))
            if step >= 2:
                host.send(zhost.binary_header(zhost.ZDATA))
            if step == 3:
                host.send(zhost.subpacket(data[:1024], zhost.ZCRCW))
                host.expect(zhost.ZACK)
            if step == 4:
                host.send(zhost.subpacket(data[:1024], zhost.ZCRCG) +
                          data[1024:1500].replace(b"\x18", b""))
            host.send(goodbye)
            check(b.wait(15) == 1, "exit", b.code)
        finally:
            b.interrupt(signal.SIGKILL)
        shows_prompt(b.text())
        judge(place, {b"a file": data}, False)


def cancelling_receiver(step):
    """Before its first header a receiver is not heard: there it's the user
    who ends the waiting."""
    data = content("random", 5000)
    with Place() as place:
        place.put("a file", data)
        a = Child(place, our_sender("a file"), place.out, "a")
        host = zhost.Host(a.socket)
        try:
            host.expect(zhost.ZRQINIT)
            if step >= 1:
                host.send(zhost.hex_header(zhost.ZRINIT))
                host.expect(zhost.ZFILE)
            if step >= 2:
                host.send(zhost.hex_header(zhost.ZRPOS))
                host.expect(zhost.ZDATA)
            if step >= 3:
                host.send(zhost.hex_header(zhost.ZACK, 1024))
                host.expect(zhost.ZEOF)
            host.send(zhost.CANCEL + PROMPT)
            if step == 0:
                host.more(0.5)
                a.interrupt()
            check(a.wait(15) == 1, "exit", a.code)
        finally:
            a.interrupt(signal.SIGKILL)
        if step > 0:
            shows_prompt(a.text())


def prompt_behind_end(sending):
    """After a transfer that went well."""
    data = content("random", 5000)
    with Place() as place:
        place.put("a file", data)
        command = our_sender("a file") if sending else our_receiver(place.into)
        child = Child(place, command, place.out if sending else place.into,
                      "a")
        host = zhost.Host(child.socket)
        try:
            if sending:
                host.expect(zhost.ZRQINIT)
                host.send(zhost.hex_header(zhost.ZRINIT))
                host.expect(zhost.ZFILE)
                host.send(zhost.hex_header(zhost.ZSKIP))
                host.expect(zhost.ZFIN)
                host.send(zhost.hex_header(zhost.ZFIN) + PROMPT)
            else:
                host.expect(zhost.ZRINIT)
                check(host.give(zhost.file_block(b"a file", 5000), data),
                      "not taken")
                host.send(zhost.hex_header(zhost.ZFIN))
                host.expect(zhost.ZFIN)
                host.send(b"OO" + PROMPT)
            check(child.wait(15) == (1 if sending else 0), "exit", child.code,
                  child.text())
        finally:
            child.interrupt(signal.SIGKILL)
        shows_prompt(child.text())


@group
def cancels(seed, everything):
    steps = (0, 22, 60, 150, 1000, 30000, 60000, 61500)
    for at in steps:
        for name, ends in (("to us", TO_US), ("from us", FROM_US)):
            for who, end in (("sender", 0), ("receiver", 1)):
                yield f"{name}, {who} cancels at {at}", functools.partial(
                    cancel, at=at, end=end, **ends)
    for step in range(5):
        yield f"host cancels its sending, step {step}", functools.partial(
            cancelling_sender, step)
    for step in range(4):
        yield f"host cancels its receiving, step {step}", functools.partial(
            cancelling_receiver, step)
    yield "prompt behind receiving", functools.partial(
        prompt_behind_end, False)
    yield "prompt behind sending", functools.partial(prompt_behind_end, True)


# ---- hostile hosts -------------------------------------------------------------------

def tree(folder):
    """Everything below, for a comparison."""
    found = {}
    for path, folders, names in os.walk(os.fsencode(folder)):
        for name in names:
            full = os.path.join(path, name)
            if os.path.islink(full):
                found[full] = os.readlink(full)
            elif os.path.isfile(full):
                with open(full, "rb") as f:
                    found[full] = f.read()
        for name in folders:
            full = os.path.join(path, name)
            found[full] = os.readlink(full) if os.path.islink(full) else None
    return found


HOSTILE = {
    "up": b"../x",
    "far up": b"../../../../../../../../tmp/quillon-was-here",
    "absolute": b"/etc/x",
    "empty": b"",
    "dot": b".",
    "dot dot": b"..",
    "slash": b"/",
    "hidden": b".bashrc",
    "long": b"l" * 300,
    "longest": b"l" * 1000,
    "no text": b"\xff\xfe\x80\xc0\xaf",
    "controls": b"\x01\x1b[2J\x07\r\n",
    "ends in the mark": b"known" + PARTIAL,
    "a sidecar": b"._known",
    "into a folder": b"folder/x",
    "through a link": b"way out/x",
    "a link": b"link",
    "a dangling link": b"dangling",
    "a folder": b"folder",
    "a pipe": b"pipe",
}


def hostile(name, rest):
    """A file of a bad name, and a good one behind it. Nothing outside the
    receive folder is touched, what was in it stays, and the good one comes."""
    bad, good = content("random", 3000, 3), content("text", 2000)
    if name.startswith(b"._"):
        bad = double(bad[:2918])
    with Place() as place:
        into = os.fsencode(place.into)
        outside = place.put("outside", b"somebody's own")
        os.mkdir(os.path.join(into, b"folder"))
        os.mkfifo(os.path.join(into, b"pipe"))
        os.symlink(outside, os.path.join(into, b"link"))
        os.symlink(place.out, os.path.join(into, b"way out"))
        os.symlink(os.path.join(place.out, "new"),
                   os.path.join(into, b"dangling"))
        with open(os.path.join(into, b"known"), "wb") as f:
            f.write(b"here before")
        before = tree(place.out)
        own = tree(place.into)
        b = Child(place, our_receiver(place.into), place.into, "b")
        host = zhost.Host(b.socket)
        try:
            host.expect(zhost.ZRINIT)
            taken = host.give(zhost.file_block(name, *rest), bad)
            if b.poll() and taken is not None:
                if not taken:
                    host.send(zhost.hex_header(zhost.ZRQINIT))
                if host.give(zhost.file_block(b"good", len(good)), good):
                    host.finish()
            b.wait(30)
        except Failure:
            # A refused file ends the transfer; but it does end.
            b.socket.shutdown(socket.SHUT_RDWR)
            b.wait(30)
        finally:
            b.interrupt(signal.SIGKILL)
        check(b.code in (0, 1), "exit", b.code, b.text())
        check("Sanitizer" not in b.text() and "runtime error" not in b.text(),
              b.text())
        check(tree(place.out) == before, "outside the folder:",
              set(tree(place.out)) ^ set(before))
        after = tree(place.into)
        for path, was in own.items():
            check(after.get(path, "gone") == was, path, "has changed")
        check(os.path.join(into, b"._known") not in after,
              "it passes for a fork of somebody else's file")
        check(not os.path.exists("/tmp/quillon-was-here"), "it was there")
        others = [p for p in os.listdir(place.root)
                  if p not in ("out", "in", "state", "b.txt", ".cache")]
        check(not others, "beside the folder:", others)
        if b.code == 0:
            contents = tree(place.into).values()
            check(bad in contents and good in contents,
                  "called whole:", list(after))
        return f"exit {b.code}: " + " ".join(
            repr(os.path.basename(p)) for p in sorted(set(after) - set(own)))


def garbage(seed):
    """Noise, and frames with noise between: the program lives and ends."""
    chance = random.Random(seed)
    with Place() as place:
        before = tree(place.out)
        b = Child(place, our_receiver(place.into), place.into, "b")
        host = zhost.Host(b.socket)
        try:
            host.expect(zhost.ZRINIT)
            for _ in range(200):
                kind, pos = chance.randrange(24), chance.getrandbits(32)
                host.send(chance.choice([
                    zhost.hex_header(kind % 12, pos),
                    zhost.binary_header(kind % 12, pos),
                    zhost.subpacket(chance.randbytes(chance.randrange(1100)),
                                    chance.choice(b"hijk")),
                    chance.randbytes(chance.randrange(300)),
                ]))
                while host.more(0):
                    pass
                if not b.poll():
                    break
            host.send(zhost.CANCEL)
            b.socket.shutdown(socket.SHUT_WR)
            check(b.wait(60) in (0, 1), "exit", b.code, b.text())
        finally:
            b.interrupt(signal.SIGKILL)
        check("Sanitizer" not in b.text() and "runtime error" not in b.text(),
              b.text())
        check(tree(place.out) == before, "outside the folder")


@group
def hostiles(seed, everything):
    for word, name in HOSTILE.items():
        yield f"name: {word}", functools.partial(hostile, name, (3000,))
    yield "name with a NUL inside", functools.partial(
        hostile, b"a\0b", (3000,))
    yield "no figures", functools.partial(hostile, b"plain", ())
    yield "wrong figures", functools.partial(
        hostile, b"plain", (99999999999999999999, b" 7777777777777777 -1 x"))
    for i in range(50 if everything else 8):
        yield f"garbage {i}", functools.partial(garbage, seed * 100 + i)


# ---- places that fail ------------------------------------------------------------------

def give_one(child, size, told=None, patience=20):
    """The host's side of one random file. Whether it was taken."""
    data = content("random", size)
    host = zhost.Host(child.socket, patience)
    try:
        host.expect(zhost.ZRINIT)
        taken = host.give(zhost.file_block(b"a file", told), data)
        if taken:
            host.finish()
        else:
            host.send(zhost.CANCEL)
    except Failure:
        taken = False  # it has hung up on us
        host.send(zhost.CANCEL)
    child.socket.shutdown(socket.SHUT_WR)
    return taken, data


def mount(folder, size):
    if subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "peers",
                       folder], stderr=subprocess.DEVNULL,
                      check=False).returncode != 0:
        raise Skipped("no right to mount a small disk")


def full_disk(told):
    """With the length told it is refused before; else in the middle."""
    with Place() as place:
        mount(place.into, "256k")
        try:
            b = Child(place, our_receiver(place.into), place.into, "b")
            taken, data = give_one(b, 500000, told, 8)
            check(not taken, "called whole")
            check(b.wait(40) == 1, "exit", b.code)
            if told:
                check("Not enough disk space" in b.text(), b.text())
            else:
                check(" in zWriteData" in b.text(), b.text())
            judge(place, {b"a file": data}, False)
        finally:
            subprocess.run(["umount", place.into], check=False)


def file_too_big():
    """A write that fails in the middle; what is kept goes on later."""
    with Place() as place:
        b = Child(place, our_receiver(place.into), place.into, "b",
                  file_limit=100000)
        taken, data = give_one(b, 300000, 300000, 8)
        check(not taken, "called whole")
        check(b.wait(40) == 1, "exit", b.code)
        check(" in zWriteData" in b.text(), b.text())
        got = judge(place, {b"a file": data}, False)
        place.put("a file", data)
        done = relay(place, sz("a file"), our_receiver(place.into))
        check(done.a == 0 and done.b == 0, done)
        judge(place, {b"a file": data}, True)
        return f"kept {sum(map(len, got.values()))} bytes"


def read_only():
    with Place() as place:
        os.chmod(place.into, 0o555)
        b = Child(place, our_receiver(place.into), place.into, "b",
                  obey_bits=True)
        taken, data = give_one(b, 3000, 3000, 8)
        check(not taken and b.wait(40) == 1, "exit", b.code, b.text())
        check("###" in b.text(), "without a message:", b.text())
        check(not place.received(), "something came")


def folder_gone(step):
    """The folder goes before the file, or while it comes."""
    with Place() as place:
        b = Child(place, our_receiver(place.into), place.out, "b")
        before = tree(place.out)
        host = zhost.Host(b.socket, 8)
        data = content("random", 200000)
        try:
            host.expect(zhost.ZRINIT)
            if step == 0:
                shutil.rmtree(place.into)
            kind, _ = host.offer(zhost.file_block(b"a file", len(data)))
            if kind == zhost.ZRPOS:
                host.send(zhost.binary_header(zhost.ZDATA) +
                          zhost.subpacket(data[:1024], zhost.ZCRCW))
                host.expect(zhost.ZACK, zhost.ZFERR)
                shutil.rmtree(place.into)
                host.send(zhost.binary_header(zhost.ZDATA, 1024))
                for at in range(1024, len(data), 1024):
                    host.send(zhost.subpacket(data[at:at + 1024],
                                              zhost.ZCRCG))
                host.send(zhost.subpacket(b"", zhost.ZCRCE) +
                          zhost.binary_header(zhost.ZEOF, len(data)))
                host.expect(zhost.ZRINIT)
                host.finish()
        except Failure:
            pass  # it has ended, as it should
        try:
            b.socket.shutdown(socket.SHUT_WR)
        except OSError:
            pass
        check(b.wait(40) == 1, "exit", b.code, b.text())
        check("###" in b.text(), "without a message:", b.text())
        if step == 1:
            check(" Incomplete" in b.text().replace("\n", ""),
                  "called complete:", b.text())
            log_says(place, b"Incomplete")
        check(tree(place.out) == before, "it came elsewhere")
        return b.text().strip().splitlines()[-1]


@group
def places(seed, everything):
    yield "a full disk, length told", functools.partial(full_disk, 500000)
    yield "a full disk, length not told", functools.partial(full_disk, None)
    yield "a write that fails", file_too_big
    yield "a read-only folder", read_only
    yield "a folder gone before", functools.partial(folder_gone, 0)
    yield "a folder gone meanwhile", functools.partial(folder_gone, 1)


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
