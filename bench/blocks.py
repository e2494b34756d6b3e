#!/usr/bin/env python3
"""Figures of the block protocols and Kermit, beside peers over one relay.

    blocks.py BIN-DIR [PART...]

Parts: line delay text free idle; without a name, all.

line and delay send 128 KiB of random bytes over 115200 bit/s, with 0 and 100
ms on the way, and count from the first to the last byte on the line; text is
line with text, for Kermit, whose bytes depend on what they mean. free has no
limit and a larger file; its time, and the CPU time of each end, are those of
the stream. Every pair is run in turn with the peers' own pair, and told as
a ratio to it: speed of at least 1 (free: 0.8) and CPU of at most 1 are asked
for. idle is the CPU time of a receiver whose sender says nothing.
"""
import concurrent.futures
import os
import random
import re
import shutil
import statistics
import subprocess
import sys
import tempfile

RATE = 11520  # bytes a second of 115200 bit/s
KIB = 1 << 10
LIMIT = 600  # Kermit with 90 bytes and 100 ms takes seven minutes

# gkermit's buffer is a little shorter than the 9000 bytes it can announce.
def gkermit(length):
    return (f"Kermit {length}, gkermit",
            ["gkermit", "-q", "-i", "-P", "-S", "-e", length, "-s", "file"],
            ["gkermit", "-q", "-i", "-P", "-S", "-w", "-e", length, "-r"],
            ["send", "k", "--kermit-length", length, "file"],
            ["receive", "k", "--kermit-length", length, "IN"])


def ckermit(length):
    words = ("set quiet on, set transfer mode manual, set file type binary, "
             "set file names literal, set attributes off, set window 1, "
             "set streaming off, set control prefixed all, set delay 0, "
             f"set send packet-length {length}, set block-check 3, "
             f"set receive packet-length {length}, ")
    return (f"Kermit {length}, C-Kermit",
            ["kermit", "-Y", "-l", "0", "-C", words + "send file, exit"],
            ["kermit", "-Y", "-l", "0", "-C", words + "receive, exit"],
            *gkermit(length)[3:])


# name, then of theirs and ours: sender, receiver. IN is the folder to receive
# in, where the receiver is started; the file is called "file" on both sides.
PROTOCOLS = [
    ("XMODEM", ["sx", "-q", "file"], ["rx", "-q", "-b", "-c", "file"],
     ["send", "x", "file"], ["receive", "x", "--name", "file", "IN"]),
    ("XMODEM-1K", ["sx", "-q", "-k", "file"],
     ["rx", "-q", "-b", "-c", "file"], ["send", "X", "file"],
     ["receive", "x", "--name", "file", "IN"]),
    ("YMODEM", ["sb", "-q", "-b", "-k", "file"], ["rb", "-q", "-b"],
     ["send", "Y", "file"], ["receive", "y", "IN"]),
    gkermit("90"),
    gkermit("8980"),
    ckermit("9000"),
]
PAIRS = [("theirs", "theirs"), ("theirs", "ours"), ("ours", "theirs"),
         ("ours", "ours")]

# name, title, bytes, turns, transfers side by side, options of the relay,
# least ratio of speed. Those over a slow line wait most of their time, and
# don't disturb each other.
PARTS = [
    ("line", "115200 bit/s, 128 KiB", 128 * KIB, 1, 6, f"--rate {RATE}", 1.0),
    ("delay", "115200 bit/s, 100 ms each way, 128 KiB", 128 * KIB, 1, 12,
     f"--rate {RATE} --delay 100", 1.0),
    ("text", "text over 115200 bit/s, 128 KiB", 128 * KIB, 1, 12,
     f"--rate {RATE}", 1.0),
    ("free", "no limit, 2 MiB", 2048 * KIB, 5, 1, f"--end {2048 * KIB}", 0.8),
]


class Bench:
    def __init__(self, bin_dir):
        self.bin = os.path.abspath(bin_dir)
        self.home = tempfile.mkdtemp(prefix="blocks-", dir=memory_folder())
        self.env = dict(os.environ)
        self.bytes = b""  # of the file that is sent
        for place in ("CONFIG", "DATA", "STATE"):
            path = os.path.join(self.home, place.lower())
            os.mkdir(path)
            self.env[f"XDG_{place}_HOME"] = path

    def make_file(self, size, text):
        chance = random.Random(size)
        self.bytes = chance.randbytes(size)
        if text:  # lines of 58 letters on average
            letters = b"abcdefghijklmnopqrstuvwxyz ,." * 2 + b"\n"
            self.bytes = bytes(chance.choices(letters, k=size))
        with open(os.path.join(self.home, "file"), "wb") as out:
            out.write(self.bytes)

    def ours(self, words, inbox):
        return [f"{self.bin}/quillon-line",
                *(inbox if w == "IN" else w for w in words)]

    def run(self, protocol, pair, relay):
        """One transfer: its figures, with "whole": whether the file came."""
        _, sx, rx, send, receive = protocol
        inbox = tempfile.mkdtemp(prefix="in-", dir=self.home)
        a = sx if pair[0] == "theirs" else self.ours(send, inbox)
        b = rx if pair[1] == "theirs" else self.ours(receive, inbox)
        done = subprocess.run(
            [f"{self.bin}/faultrelay", "--limit", str(LIMIT), *relay.split(),
             "--", *a, "--", "env", "-C", inbox, *b], cwd=self.home,
            env=self.env, text=True, stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL, check=False)
        said = {k: float(v)
                for k, v in re.findall(r"(\w+)=([0-9.]+)", done.stdout)}
        got = b""
        if os.path.exists(os.path.join(inbox, "file")):
            with open(os.path.join(inbox, "file"), "rb") as file:
                got = file.read()
        shutil.rmtree(inbox)
        padding = got[len(self.bytes):]
        whole = got.startswith(self.bytes) and len(padding) < 1024 and \
            not padding.strip(b"\x1a")
        return {**said, "whole": whole and said.get("a_exit") == 0 and
                said.get("b_exit") == 0}


def memory_folder():
    return "/dev/shm" if os.access("/dev/shm", os.W_OK) else None


def median(runs, key):
    return statistics.median(r[key] for r in runs)


def print_pairs(name, size, results, floor, free):
    """`results`: the runs of each pair."""
    time = "stream" if free else "span"
    mb = size / 1e6
    theirs = results[PAIRS[0]]
    base = median(theirs, time)
    share = "" if free else f", {size / RATE / base:.3f} of the line"
    print(f"  {name}, theirs: {mb / base:.3f} MB/s{share}")
    for pair in PAIRS[1:]:
        runs = results[pair]
        missed = sum(not r["whole"] for r in runs)
        speed = base / median(runs, time)
        words = f"    {pair[0]:6} -> {pair[1]:6}  speed x {speed:.3f}"
        if not free:
            words += f", {size / RATE / median(runs, time):.3f} of the line"
            wire = size / median(runs, "a_bytes")
            words += f", payload to wire {wire:.3f}"
        if speed < floor - 0.005:
            words += f" (below {floor})"
        for end, side, verb in ((0, "a_work", "send"), (1, "b_work",
                                                       "receive")):
            if free and pair[end] == "ours":
                cpu = median(runs, side) / max(median(theirs, side), 1e-4)
                words += f"   CPU x {cpu:.2f} ({verb})"
        print(words + (f"   {missed} not whole" if missed else ""),
              flush=True)


def idle(bench):
    """Each receiver waits for a silent peer: its CPU share."""
    for name, *_, receive in PROTOCOLS:
        inbox = tempfile.mkdtemp(prefix="in-", dir=bench.home)
        done = subprocess.run(
            [f"{bench.bin}/faultrelay", "--limit", "20", "--", "sleep", "19",
             "--", *bench.ours(receive, inbox)], env=bench.env, text=True,
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
        cpu = float(re.search(r"b_cpu=([0-9.]+)", done.stdout)[1])
        print(f"  {name}, 19 s of silence: {cpu / 19 * 100:.2f} % of a core, "
              "the start of the program with it")


def main():
    bench = Bench(sys.argv[1])
    wanted = sys.argv[2:]
    try:
        for name, title, size, turns, together, relay, floor in PARTS:
            if wanted and name not in wanted:
                continue
            bench.make_file(size, name == "text")
            protocols = [p for p in PROTOCOLS
                         if name != "text" or p[0].startswith("Kermit")]
            print(f"{title}, {turns} turns:", flush=True)
            calls = [(protocol, pair, relay) for protocol in protocols
                     for _ in range(turns) for pair in PAIRS]
            with concurrent.futures.ThreadPoolExecutor(together) as pool:
                runs = list(pool.map(lambda call: bench.run(*call), calls))
            for protocol in protocols:
                results = {pair: [run for call, run in zip(calls, runs)
                                  if call[:2] == (protocol, pair)]
                           for pair in PAIRS}
                print_pairs(protocol[0], size, results, floor, name == "free")
        if not wanted or "idle" in wanted:
            idle(bench)
    finally:
        shutil.rmtree(bench.home, ignore_errors=True)


if __name__ == "__main__":
    main()
