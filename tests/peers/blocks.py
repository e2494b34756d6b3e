"""The block protocols against real peers: groups of cases for peers.py, and
the table that they are made of."""

import functools
import os

from rig import BLOCK_FAULTS as FAULTS, BLOCK_SIZES as SIZES
from rig import (KINDS, PARTIAL, Place, Programs, check, content, digest,
                 relay)

FEW = (0, 1, 129, 897, 4096)  # rb rests two seconds behind each file
PAD = b"\x1a"


def send(letter, *options):
    return lambda names: [Programs.path("quillon-line"), "send", letter,
                          "--verbose", "--log", *options, *names]


def receive(letter, *options):
    return lambda folder, name: [
        Programs.path("quillon-line"), "receive", letter, "--verbose", "--log",
        *options, *(("--name", name) if letter == "x" else ()), folder]


def peer_sends(*words):
    return lambda names: [*words, *names]


def peer_receives(*words, named=False):
    return lambda folder, name: [*words, *((name,) if named else ())]


# What is called, whether it takes a batch of files, whether it pads them, and
# the two ends.
ENDS = {
    "sx to us": (False, True, peer_sends("sx", "-q"), receive("x")),
    "sx -k to us": (False, True, peer_sends("sx", "-q", "-k"), receive("x")),
    "sx to us by checksum": (False, True, peer_sends("sx", "-q"),
                             receive("x", "--checksum")),
    "sb to us": (True, False, peer_sends("sb", "-q", "-b"), receive("y")),
    "sb -k to us": (True, False, peer_sends("sb", "-q", "-b", "-k"),
                    receive("y")),
    "x to rx": (False, True, send("x"),
                peer_receives("rx", "-q", "-b", named=True)),
    "x to rx -c": (False, True, send("x"),
                   peer_receives("rx", "-q", "-b", "-c", named=True)),
    "X to rx -c": (False, True, send("X"),
                   peer_receives("rx", "-q", "-b", "-c", named=True)),
    "y to rb": (True, False, send("y"), peer_receives("rb", "-q", "-b")),
    "Y to rb": (True, False, send("Y"), peer_receives("rb", "-q", "-b")),
    "x to ourselves": (False, True, send("x"), receive("x")),
    "X to ourselves": (False, True, send("X"), receive("x", "--1k")),
    "y to ourselves": (True, False, send("y"), receive("y")),
    "Y to ourselves": (True, False, send("Y"), receive("y")),
    "G to ourselves": (True, False, send("Y"), receive("G")),
}


def same(got, wanted, pads):
    """Whether a file has arrived, by XMODEM up to its padding."""
    if pads and len(got) <= (len(wanted) + 1023) // 1024 * 1024:
        wanted += PAD * (len(got) - len(wanted))
    return digest(got) == digest(wanted)


def transfer(ends, files, options=(), limit=None, sure=True):
    """One call with all the files. Returns "whole" or "ended": what came
    under its own name is whole either way."""
    _, pads, sender, receiver = ENDS[ends]
    with Place() as place:
        paths = [place.put(n, d) for n, d in files.items()]
        done = relay(place, sender(paths),
                     receiver(place.into, next(iter(files))), options,
                     limit or 60 + 3 * len(files))  # rb rests between files
        complete = done.a == 0 and done.b == 0
        check(complete or not sure, done)
        got = place.received()
        # Some peers leave what has come under its name, and say so.
        for name, data in got.items() if done.b == 0 or "us" in ends or \
                "ourselves" in ends else ():
            wanted = files.get(os.fsdecode(name.removesuffix(PARTIAL)))
            if wanted is None:  # nobody has told its name
                check(done.b != 0 and name.startswith(b"ZRcv"),
                      "a file that nobody sent:", name)
            elif not name.endswith(PARTIAL):
                check(same(data, wanted, pads), name, "is called complete and"
                      " is wrong:", len(data), "bytes of", len(wanted))
        check(not complete or len(got) == len(files), "missing:",
              set(files) - set(map(os.fsdecode, got)))
        return "whole" if complete else "ended"


def pick(sizes, seed):
    """A kind for each size, so that all kinds come up."""
    return [(KINDS[(i + seed) % len(KINDS)], size)
            for i, size in enumerate(sizes)]


def block_sizes(seed, everything):
    for name, (batch, *_) in ENDS.items():
        pairs = [(k, s) for k in KINDS for s in SIZES] if everything else \
            pick(FEW if "rx" in name or "rb" in name or not batch else SIZES,
                 seed)
        files = {f"{k}-{s}": content(k, s) for k, s in pairs}
        if batch:
            yield f"all files, {name}", functools.partial(transfer, name, files)
            continue
        for file, data in files.items():
            yield f"{file}, {name}", functools.partial(transfer, name,
                                                       {file: data})
    yield "a name that is taken", names_taken


def names_taken():
    """A file without a name gets one beside the file that has it."""
    with Place() as place:
        first, second = content("text", 128), content("random", 256)
        path = place.put("f", second)
        with open(os.path.join(place.into, "f"), "wb") as f:
            f.write(first)
        done = relay(place, send("x")([path]), receive("x")(place.into, "f"))
        check(done.a == 0 and done.b == 0, done)
        check(place.received() == {b"f": first, b"f #1": second},
              "there are", list(place.received()))


# A checksum lets one damage in 256 pass, and YMODEM-G has no second try.
CHECKED = [name for name in ENDS
           if not name.endswith((" rx", "checksum")) and name[0] != "G"]


def fault_cases(seeds, size=20000):
    for seed in seeds:
        word = list(FAULTS)[seed % len(FAULTS)]
        name = CHECKED[seed // len(FAULTS) % len(CHECKED)]
        options = (*FAULTS[word], "--seed", seed)
        yield f"{word}, {name}, seed {seed}", functools.partial(
            transfer, name, {"file": content("random", size, seed)}, options,
            600, False)


def block_faults(seed, everything):
    yield from fault_cases(range(seed, seed + (2000 if everything else 16)),
                           50000 if everything else 5000)
