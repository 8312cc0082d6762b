"""Editing: the time of a key press in a long body, and the memory of its history."""

import subprocess
import sys

from common import Bench


def main():
    bench = Bench(sys.argv[1])
    done = subprocess.run([bench.program("bench-editing")], check=True, capture_output=True,
                          text=True)
    slowest, middle, kept = (float(figure) for figure in done.stdout.split())
    bench.add("key press in a 1 MB body", f"{middle:.1f} ms", "", f"slowest {slowest:.1f} ms",
              "<= 16 ms")
    bench.add("100 changes of a 1 MB body", f"{kept:.1f} bodies", "100 copies",
              f"{kept / 100:.3f}", "<= 0.02")
    bench.finish()


main()
