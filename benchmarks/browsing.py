"""Browsing: opening the recipient browser on a list of a million, and the memory its rows take."""

import subprocess
import sys

from common import Bench

RECIPIENTS = 1_000_000


def main():
    bench = Bench(sys.argv[1])
    folder = bench.folder(RECIPIENTS)
    done = subprocess.run([bench.program("bench-browsing"), folder], check=True,
                          capture_output=True, text=True)
    first, every, pause, kilobytes = (int(figure) for figure in done.stdout.split())
    bench.add("browser on 1,000,000, first page", f"{first} ms", "",
              f"all rows {every} ms, longest pause {pause} ms", "<= 200 ms")
    bench.add("browser on 1,000,000, memory", f"{kilobytes / 1024:.0f} MB", "", "", "<= 64 MB")
    bench.finish()


main()
