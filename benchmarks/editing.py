"""Editing: the time of a key press in a long body, and the memory of its history."""

import subprocess
import sys

from common import Bench


def main():
    bench = Bench(sys.argv[1])
    done = subprocess.run([bench.program("bench-editing")], check=True, capture_output=True,
                          text=True)
    *keys, kept = (float(figure) for figure in done.stdout.split())
    for where, slowest, middle in (("a 1 MB body", *keys[:2]), ("one line of 1 MB", *keys[2:])):
        bench.add(f"key press in {where}", f"{middle:.1f} ms", "", f"slowest {slowest:.1f} ms",
                  "<= 16 ms")
    bench.add("100 changes of a 1 MB body", f"{kept:.1f} bodies", "100 copies",
              f"{kept / 100:.3f}", "<= 0.02")
    bench.finish()


main()
