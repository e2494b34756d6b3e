#!/usr/bin/env python3
"""ZMODEM figures, beside sz and rz of lrzsz over the same relay.

    zmodem.py BIN-DIR [PART...]

Parts: free line delay flips flips4 slowflips slowflips4; without a name, all.

Each part runs the four pairs of sender and receiver in turn, several times,
and prints their speed, CPU and wire bytes as ratios to sz -> rz of the same
part: speed above 1 and CPU or wire bytes below 1 are better than theirs. Every
file is compared. CPU and wire bytes are medians of the transfers that came
whole.

Speed is told twice: by the median of the transfers that came whole, and, in
brackets, by what came whole in the time of all turns, those that failed with
them. The second counts where some of sz -> rz fail: those that come whole are
the short ones then.

The time is that of the stream as the relay sees it, without the start and the
end of the programs, which each rest a while behind a transfer; so is CPU, and
behind it in brackets that of the whole program. The line is a socket pair:
lrzsz flushes its terminal after each answer and would lose blocks on a
terminal without transmission time.
"""
import concurrent.futures
import hashlib
import os
import random
import re
import shutil
import statistics
import subprocess
import sys
import tempfile

MIB = 1 << 20
RATE = 11520  # bytes a second of 115200 bit/s
PAIRS = [("theirs", "theirs"), ("theirs", "ours"), ("ours", "theirs"),
         ("ours", "ours")]

# name, title, bytes, turns, transfers side by side, options of the relay (%d:
# the seed), least ratio of speed asked for. At flips of 1e-4 a transfer waits
# most of its time, ten seconds whenever the answer to a block goes astray; so
# several run side by side, and don't disturb each other.
PARTS = [
    ("free", "no limit, 16 MiB", 16 * MIB, 9, 1, "", 1.0),
    ("line", "115200 bit/s, 192 KiB", 192 << 10, 2, 1, f"--rate {RATE}", 0.99),
    ("delay", "115200 bit/s, 100 ms each way, 192 KiB", 192 << 10, 2, 1,
     f"--rate {RATE} --delay 100", 0.99),
    ("flips", "no limit, flips 1e-5, 16 MiB", 16 * MIB, 20, 1,
     "--flip 1e-5 --seed %d", 0.9),
    ("flips4", "no limit, flips 1e-4, 16 MiB", 16 * MIB, 16, 6,
     "--flip 1e-4 --seed %d", 0.9),
    ("slowflips", "115200 bit/s, flips 1e-5, 128 KiB", 128 << 10, 3, 1,
     f"--rate {RATE} --flip 1e-5 --seed %d", 0.9),
    ("slowflips4", "115200 bit/s, flips 1e-4, 128 KiB", 128 << 10, 5, 1,
     f"--rate {RATE} --flip 1e-4 --seed %d", 0.9),
]
LIMIT = 180  # seconds for one transfer


class Bench:
    def __init__(self, bin_dir):
        self.bin = os.path.abspath(bin_dir)
        self.home = tempfile.mkdtemp(prefix="zmodem-", dir=memory_folder())
        self.env = dict(os.environ)
        self.sum = None  # of the file that is sent
        for place in ("CONFIG", "DATA", "STATE"):
            path = os.path.join(self.home, place.lower())
            os.mkdir(path)
            self.env[f"XDG_{place}_HOME"] = path

    def path(self, name):
        return os.path.join(self.home, name)

    def make_file(self, size):
        with open(self.path("file"), "wb") as out:
            out.write(random.Random(size).randbytes(size))
        self.sum = sha256(self.path("file"))

    def sender(self, whose):
        if whose == "theirs":
            return ["sz", "-b", "-q", "file"]
        return [f"{self.bin}/quillon-line", "send", "z", "file"]

    def receiver(self, whose, inbox):
        if whose == "theirs":
            return ["env", "-C", inbox, "rz", "-b", "-q"]
        return [f"{self.bin}/quillon-line", "receive", "z", inbox]

    def run(self, pair, relay):
        """One transfer: its figures, and whether the file came whole."""
        inbox = tempfile.mkdtemp(prefix="in-", dir=self.home)
        call = ([f"{self.bin}/faultrelay", "--limit", str(LIMIT)] +
                relay.split() + ["--"] + self.sender(pair[0]) +
                ["--"] + self.receiver(pair[1], inbox))
        done = subprocess.run(call, cwd=self.home, env=self.env, text=True,
                              stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, check=False)
        got = os.path.join(inbox, "file")
        whole = os.path.exists(got) and sha256(got) == self.sum
        said = {k: float(v)
                for k, v in re.findall(r"(\w+)=([0-9.]+)", done.stdout)}
        shutil.rmtree(inbox, ignore_errors=True)
        if not whole and said.get("b_exit") == 0:
            print(f"  {pair}: a file that isn't whole was called complete")
        ended = said.get("a_exit") == 0 and said.get("b_exit") == 0
        return {"stream": LIMIT, **said, "whole": whole and ended}


def sha256(path):
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


def memory_folder():
    return "/dev/shm" if os.access("/dev/shm", os.W_OK) else None


def median(runs, key):
    return statistics.median(key(r) for r in runs)


def delivered(runs):
    """Files that came whole, per second of all transfers."""
    return sum(r["whole"] for r in runs) / sum(r["stream"] for r in runs)


def print_part(title, size, turns, all_runs, floor):
    results = {pair: [r for r in runs if r["whole"]]
               for pair, runs in all_runs.items()}
    theirs = results[PAIRS[0]]
    print(f"{title}, {turns} turns:")
    if not theirs:
        print("  sz -> rz never got through")
        return
    wire = lambda r: r["a_bytes"] + r["b_bytes"]
    base = {
        "stream": median(theirs, lambda r: r["stream"]),
        **{k: max(median(theirs, lambda r: r[k]), 1e-4)
           for k in ("a_work", "b_work", "a_cpu", "b_cpu")},
        "wire": median(theirs, wire),
    }
    mb = size / 1e6
    print(f"  sz   -> rz    {mb / base['stream']:8.3f} MB/s   CPU/MB"
          f" {base['a_work'] / mb * 1e3:.2f} and"
          f" {base['b_work'] / mb * 1e3:.2f}"
          f" ms   wire/payload {base['wire'] / size:.4f}"
          f"   {len(theirs)}/{turns} whole")
    for pair in PAIRS[1:]:
        runs = results[pair]
        name = (("sz  " if pair[0] == "theirs" else "ours") + " -> " +
                ("rz  " if pair[1] == "theirs" else "ours"))
        if not runs:
            print(f"  {name}  never got through")
            continue
        speed = base["stream"] / median(runs, lambda r: r["stream"])
        mean = delivered(all_runs[pair]) / delivered(all_runs[PAIRS[0]])
        cpu = []
        for at, side, verb in ((0, "a", "send"), (1, "b", "receive")):
            if pair[at] == "ours":
                work, whole = (median(runs, lambda r: r[side + k]) /
                               base[side + k] for k in ("_work", "_cpu"))
                cpu.append(f"{verb} {work:.2f} ({whole:.2f})")
        counts = mean if len(theirs) < turns else speed
        missed = "" if counts >= floor else f" (below {floor})"
        print(f"  {name}  speed x {speed:.3f} ({mean:.3f}){missed}   CPU x"
              f" {', '.join(cpu)}   wire x"
              f" {median(runs, wire) / base['wire']:.4f}"
              f"   {len(runs)}/{turns} whole", flush=True)


def main():
    bench = Bench(sys.argv[1])
    wanted = sys.argv[2:]
    try:
        for name, title, size, turns, together, relay, floor in PARTS:
            if wanted and name not in wanted:
                continue
            bench.make_file(size)
            calls = [(pair, relay.replace("%d", str(turn + 1)))
                     for turn in range(turns) for pair in PAIRS]
            with concurrent.futures.ThreadPoolExecutor(together) as pool:
                runs = list(pool.map(lambda call: bench.run(*call), calls))
            print_part(title, size, turns,
                       {pair: runs[i::len(PAIRS)]
                        for i, pair in enumerate(PAIRS)}, floor)
    finally:
        shutil.rmtree(bench.home, ignore_errors=True)


if __name__ == "__main__":
    main()
