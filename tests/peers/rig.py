"""Running the program against its peers: folders, programs, lines."""

import hashlib
import os
import random
import re
import select
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time

PARTIAL = b"\xa5"  # behind the name of an incomplete file
ENDED_LATE = 137   # a program that the relay had to kill


class Failure(Exception):
    """A case found something wrong."""


def check(good, *words):
    if not good:
        raise Failure(" ".join(str(w) for w in words))


# ---- contents ---------------------------------------------------------------

KINDS = ("ring", "random", "control", "text")
BLOCK_SIZES = (0, 1, 127, 128, 129, 895, 896, 897, 1000, 1023, 1024, 1025,
               4096, 100000)
# For the protocols whose blocks are acknowledged one by one.
BLOCK_FAULTS = {
    "flips of 1e-5": ("--flip", "1e-5"),
    "flips of 1e-4": ("--flip", "1e-4"),
    "drops": ("--drop", "2e-5"),
    "bursts": ("--burst", "1e-5", "64"),
}
SENTENCES = [
    "The line is quiet before the first byte arrives.\n",
    "Every block carries its own check, and every check is read.\n",
    "A file that is cut in two goes on where it ended.\n",
    "Nothing is lost, and nothing is told twice.\n",
]
CONTROLS = bytes(range(32)) + b"\x7f" + bytes(range(128, 160)) + b"\xff"


def content(kind, size, seed=1):
    """`size` bytes of a kind: ring, random, control, text."""
    chance = random.Random(f"{kind} {size} {seed}")
    if kind == "random":
        return chance.randbytes(size)
    if kind == "text":
        words = b""
        while len(words) < size:
            words += "".join(chance.choices(SENTENCES, k=1000)).encode()
        return words[:size]
    unit = {"ring": bytes(range(256)), "control": CONTROLS}[kind]
    return (unit * (size // len(unit) + 1))[:size]


def digest(data):
    return hashlib.sha256(data).hexdigest()[:16]


# ---- folders ------------------------------------------------------------------

class Place:
    """A folder of a case's own: `out` to send from, `into` to receive in."""

    def __init__(self):
        self.root = tempfile.mkdtemp(prefix="peers-")
        self.out = os.path.join(self.root, "out")
        self.into = os.path.join(self.root, "in")
        self.state = os.path.join(self.root, "state")
        for folder in (self.out, self.into, self.state):
            os.mkdir(folder)
        self.stamp = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.root, ignore_errors=True)

    def put(self, name, data):
        path = os.path.join(os.fsencode(self.out), os.fsencode(name))
        with open(path, "wb") as f:
            f.write(data)
        return os.fsdecode(path)

    def received(self, folder=None):
        """Name to contents of all plain files; sidecars are not listed."""
        folder = os.fsencode(folder or self.into)
        files = {}
        for entry in os.scandir(folder):
            if entry.is_file(follow_symlinks=False) and \
               not entry.name.startswith(b"._"):
                with open(entry.path, "rb") as f:
                    files[entry.name] = f.read()
        return files

    def log(self):
        """The lines of the program's log behind its head, as lists of
        fields. An empty file has none."""
        for folder, _, names in os.walk(self.state):
            for name in names:
                with open(os.path.join(folder, name), "rb") as f:
                    lines = [line.split(b"\t") for line in
                             f.read().split(b"\r")]
                lines = [line for line in lines if len(line) > 9]
                if lines:
                    return lines[1:]
        return []

    def environment(self):
        env = dict(os.environ, HOME=self.root, TZ="UTC", LC_ALL="C")
        for word in ("CONFIG", "DATA", "STATE", "CACHE"):
            env[f"XDG_{word}_HOME"] = os.path.join(self.state, word)
        env.setdefault("ASAN_OPTIONS", "detect_leaks=0")
        return env


def judge(place, wanted, complete, folder=None):
    """Of the files `wanted` (name to contents) none has arrived wrong: what
    bears its own name is whole, what is partial is a start. `complete` asks
    for all of them."""
    got = place.received(folder)
    for name, data in got.items():
        if name.endswith(PARTIAL):
            whole = wanted.get(name[:-1])
            check(whole is not None, "an unknown partial file", name)
            check(whole.startswith(data), name, "isn't a start of the file:",
                  len(data), "of", len(whole))
        else:
            check(name in wanted, "a file that nobody sent:", name)
            check(digest(data) == digest(wanted[name]), name,
                  "is called complete and is wrong:", len(data), "bytes of",
                  len(wanted[name]))
    if complete:
        lost = sorted(set(wanted) - set(got))
        check(not lost, "missing:", lost[:5])
    return got


# ---- programs --------------------------------------------------------------------

class Programs:
    folder = "bin"

    @classmethod
    def path(cls, name):
        return os.path.join(cls.folder, name)


def our_sender(*files, options=()):
    return [Programs.path("quillon-line"), "send", "z", "--verbose", "--log",
            *options, *files]


def our_receiver(folder, options=()):
    return [Programs.path("quillon-line"), "receive", "z", "--verbose",
            "--log", *options, folder]


def sz(*files, options=()):
    return ["sz", "-b", "-q", *options, *files]


def rz(options=()):
    return ["rz", "-b", "-q", "-y", *options]


def ours(command):
    return command[0].endswith("quillon-line")


class Result:
    """What a run has come to: for A and B their exit codes, what they said,
    and the bytes they sent."""

    def __init__(self, exits, texts, sent):
        self.a, self.b = exits
        self.a_text, self.b_text = texts
        self.a_sent, self.b_sent = sent

    def __str__(self):
        return (f"exits {self.a} {self.b}, sent {self.a_sent} {self.b_sent}\n"
                f"A: {self.a_text.strip()}\nB: {self.b_text.strip()}")

    def sound(self):
        """Both have ended by themselves, and ours without a report of the
        sanitizers."""
        for code, text in ((self.a, self.a_text), (self.b, self.b_text)):
            check(code != ENDED_LATE, "didn't end:", self)
            check("Sanitizer" not in text and "runtime error" not in text,
                  "a report:", text)
        return self


def read_text(path):
    with open(path, "rb") as f:
        return f.read().decode("mac_roman")


def relay(place, a, b, options=(), limit=90):
    """A and B over `faultrelay`; B works in `into`. A is the sender."""
    texts = [os.path.join(place.root, name) for name in ("a.txt", "b.txt")]
    shell = ["sh", "-c", 'cd "$1" && exec 2>"$2" && shift 2 && exec "$@"',
             "sh"]
    command = [Programs.path("faultrelay"), *map(str, options), "--limit",
               str(limit), "--", *shell, place.out, texts[0], *a, "--", *shell,
               place.into, texts[1], *b]
    done = subprocess.run(command, env=place.environment(),
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          check=False)
    figures = dict(re.findall(r"(\w+)=(\S+)", done.stdout.decode()))
    check("a_exit" in figures, "no figures:", done.stderr.decode())
    return Result((int(figures["a_exit"]), int(figures["b_exit"])),
                  [read_text(t) for t in texts],
                  (int(figures["a_bytes"]), int(figures["b_bytes"]))).sound()


class Child:
    """A program with one end of a socket as its line."""

    def __init__(self, place, command, cwd, name):
        self.text_path = os.path.join(place.root, name + ".txt")
        self.socket, theirs = socket.socketpair()
        # A slow line holds little.
        for end in (self.socket, theirs):
            end.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 4096)

        with open(self.text_path, "wb") as text:
            self.process = subprocess.Popen(
                command, cwd=cwd, env=place.environment(), stdin=theirs,
                stdout=theirs, stderr=text)
        theirs.close()
        self.code = None

    def interrupt(self, number=signal.SIGTERM):
        if self.poll():
            os.kill(self.process.pid, number)

    def poll(self):
        """Whether it still runs."""
        self.code = self.process.poll()
        return self.code is None

    def wait(self, seconds):
        """The exit code."""
        end = time.monotonic() + seconds
        while self.poll():
            if time.monotonic() > end:
                self.process.kill()
                raise Failure(f"{self.process.args[:3]} didn't end: "
                              f"{read_text(self.text_path)}")
            time.sleep(0.01)
        self.socket.close()
        return self.code

    def text(self):
        return read_text(self.text_path)


def wire(place, a, b, at=None, act=None, limit=60):
    """A and B over a slow line of our own, 64 KB a second at most. Once A (the
    sender) has sent `at` bytes, act(A, B) is called, once."""
    ends = [Child(place, a, place.out, "a"), Child(place, b, place.into, "b")]
    sent = [0, 0]
    end = time.monotonic() + limit
    open_ends = {0, 1}
    waiting = [b"", b""]  # for that end
    while ends[0].poll() or ends[1].poll():
        if act and sent[0] >= at:
            act(*ends)
            act = None
        if time.monotonic() > end:
            for child in ends:
                child.process.kill()
            raise Failure(f"didn't end: {ends[0].text()} {ends[1].text()}")
        time.sleep(0.001)
        reading = [ends[i].socket for i in open_ends if not waiting[1 - i]]
        writing = [ends[i].socket for i in open_ends if waiting[i]]
        ready, free, _ = select.select(reading, writing, [], 0.02)
        for i in (0, 1):
            try:
                if ends[i].socket in ready:
                    data = ends[i].socket.recv(64)
                    sent[i] += len(data)
                    waiting[1 - i] += data
                    if not data:
                        raise ConnectionError
                if ends[i].socket in free:
                    n = ends[i].socket.send(waiting[i], socket.MSG_DONTWAIT)
                    waiting[i] = waiting[i][n:]
            except BlockingIOError:
                pass
            except ConnectionError:
                open_ends.discard(i)
        # What an ended program has said reaches the other, then the line goes.
        for i in (0, 1):
            if i not in open_ends:
                waiting[i] = b""
                if not waiting[1 - i] and 1 - i in open_ends:
                    open_ends.discard(1 - i)
                    ends[1 - i].socket.shutdown(socket.SHUT_RDWR)
    codes = [child.wait(1) for child in ends]
    return Result(codes, [child.text() for child in ends], sent).sound()


# ---- many cases at once -----------------------------------------------------------

def run_all(cases, jobs):
    """Runs (name, function) in threads, since most of their time is waiting.
    Returns the numbers of passed and failed ones."""
    queue = list(cases)[::-1]
    counts = {"passed": 0, "failed": 0}
    lock = threading.Lock()

    def work():
        while True:
            with lock:
                if not queue:
                    return
                name, case = queue.pop()
            word, why, start = "passed", "", time.monotonic()
            try:
                why = case() or ""
            except Failure as e:
                word, why = "failed", str(e)
            except Exception as e:  # a fault of the case itself is one, too
                word, why = "failed", f"{type(e).__name__}: {e}"
            with lock:
                counts[word] += 1
                if why in ("whole", "ended"):
                    counts[why] = counts.get(why, 0) + 1
                print(f"{word} {time.monotonic() - start:6.2f} s  {name}"
                      f"{': ' + why if why else ''}", flush=True)

    threads = [threading.Thread(target=work) for _ in range(jobs)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    return counts
