"""Kermit against gkermit, C-Kermit and ourselves: groups for peers.py."""

import functools
import os

from rig import BLOCK_FAULTS as FAULTS, BLOCK_SIZES as SIZES
from rig import KINDS, Place, Programs, check, content, judge, relay

LENGTHS = (40, 90, 1000, 9024)


def us(verb, words, length, kind, seven):
    return [Programs.path("quillon-line"), verb, "k", "--verbose",
            "--kermit-length", str(length), "--kermit-check", kind,
            *(["--seven"] if seven else []), *words]


# Told 93 or 94 bytes it sends a length that its own receiver refuses.
def ckermit(verb, words, length, kind, seven):
    what = "msend " + " ".join(words) if verb == "send" else "receive"
    return ["kermit", "-Y", "-l", "0", "-C",
            "set quiet on, set transfer mode manual, set file type binary, "
            "set file names literal, set attributes off, set window 1, "
            "set streaming off, set control prefixed all, set retry 60, "
            "set receive timeout 2, set delay 0, "
            f"set parity {'space' if seven else 'none'}, "
            f"set send packet-length {length}, "
            f"set receive packet-length {length}, "
            f"set block-check {kind.replace('B', '4')}, {what}, exit"]


# Its buffer is a little shorter than the 9000 bytes that it announces.
def gkermit(verb, words, length, _, seven):
    return ["gkermit", "-q", "-i", "-P", "-w", "-e", str(min(length, 8980)),
            *(["-p", "s"] if seven else []),
            *(["-s", *words] if verb == "send" else ["-r"])]


def transfer(sender, receiver, how, files, options=(), sure=True):
    """Returns "whole" or "ended"."""
    with Place() as place:
        paths = [place.put(n, d) for n, d in files.items()]
        into = [place.into] if receiver is us else []
        done = relay(place, sender("send", paths, *how),
                     receiver("receive", into, *how), options, 1200)
        complete = done.a == 0 and done.b == 0
        check(complete or not sure, done)
        # A peer that failed may leave under its name what has come.
        if receiver is us or complete:
            judge(place, {os.fsencode(n): d for n, d in files.items()},
                  complete)
        return "whole" if complete else "ended"


def ends(everything):
    """What is called, sender, receiver, length, check, seven bits."""
    turn = 0
    for seven in (False, True):
        for length in LENGTHS:
            for peer in (gkermit, ckermit):
                for name, sender, receiver in (
                        (f"{peer.__name__} to us", peer, us),
                        (f"us to {peer.__name__}", us, peer)):
                    # gkermit asks for 3, or takes 1.
                    kinds = "13" if peer is gkermit else "123B"
                    turn += 1
                    for kind in kinds if everything else \
                            kinds[(turn + turn // 4) % len(kinds)]:
                        yield name, sender, receiver, (length, kind, seven)
            yield "us to us", us, us, (length, "3", seven)


def kermit_sizes(seed, everything):
    for turn, (name, sender, receiver, how) in enumerate(ends(everything)):
        pairs = [(k, s) for k in KINDS for s in SIZES] if everything else \
            [(KINDS[(i + turn + seed) % 4], s) for i, s in enumerate(SIZES)]
        # Names without runs of a byte, which gkermit would code.
        files = {f"{chr(97 + SIZES.index(s))}-{k}": content(k, s)
                 for k, s in pairs}
        options = ("--seven",) if how[2] else ()
        words = f"{name}, {how[0]} bytes, check {how[1]}" + \
            (", seven bits" if how[2] else "")
        if sender is not us:
            yield f"all files, {words}", functools.partial(
                transfer, sender, receiver, how, files, options)
            continue
        some = list(files) if everything else list(files)[turn % 14::14]
        for file in some:
            yield f"{file}, {words}", functools.partial(
                transfer, us, receiver, how, {file: files[file]}, options)


def kermit_faults(seed, everything):
    for i in range(seed, seed + (1000 if everything else 8)):
        word = list(FAULTS)[i % 4]
        to_us = i // 4 % 2
        how = (LENGTHS[1 + i // 8 % 3], "3", False)
        yield f"{word}, C-Kermit {'to' if to_us else 'from'} us, seed {i}", \
            functools.partial(
                transfer, ckermit if to_us else us, us if to_us else ckermit,
                how, {"file": content("random",
                                      50000 if everything else 5000, i)},
                (*FAULTS[word], "--seed", i), False)
