"""From start to first paint: the program tells the moment at which its main
window was first painted, on the clock that was read before it was started."""
import os
import signal
import statistics
import subprocess
import sys
import tempfile
import time

STARTS = 15


def start(program, home):
    """Milliseconds from before the start to the end of the first paint."""
    env = dict(os.environ, HOME=home, XDG_CONFIG_HOME=home + "/config",
               XDG_DATA_HOME=home + "/data", XDG_STATE_HOME=home + "/state",
               QUILLON_QT_MESSAGES="1",
               QT_LOGGING_RULES="quillon.start.debug=true")
    began = time.monotonic_ns()
    run = subprocess.Popen([program], env=env, stderr=subprocess.PIPE,
                           text=True)
    try:
        for line in run.stderr:
            if "first paint at" in line:
                return int(line.split("at ")[1].split()[0]) / 1e3 - began / 1e6
    finally:
        run.send_signal(signal.SIGTERM)
        run.wait(10)
        run.stderr.close()
    sys.exit("the window was never painted")


def main():
    program = sys.argv[1] + "/quillon"
    where = os.environ.get("QT_QPA_PLATFORM", "the display")
    with tempfile.TemporaryDirectory() as home:
        first = start(program, home)
        times = sorted(start(program, home) for _ in range(STARTS))
    print(f"start to first paint on {where}: median "
          f"{statistics.median(times):.0f} ms ({times[0]:.0f} to "
          f"{times[-1]:.0f}, {STARTS} starts); a new account's first "
          f"{first:.0f} ms")


main()
