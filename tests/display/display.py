#!/usr/bin/env python3
"""Walks the real program with keys on a real display: a first start, dialogs, a run. After each step
what is painted in the main window's bars must be what they say then; offscreen painting does not
tell. Usage: display.py BUILD"""

import os
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time

build = os.path.abspath(sys.argv[1])
root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
work = tempfile.mkdtemp(prefix="quillbright-display.")
started = []


def start(*command, **options):
    started.append(subprocess.Popen(command, stderr=subprocess.DEVNULL, **options))
    return started[-1]


def output(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=60).stdout


def wait(what, condition):
    """Returns the first true value of the condition; slow machines get two minutes."""
    end = time.monotonic() + 120
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(0.1)
    picture = os.path.join(build, "display.png")
    output("import", "-window", "root", picture)
    sys.exit(f"It never came to this: {what}. The screen is in {picture}.")


def window(title):
    def is_active():
        return re.fullmatch(title, output("xdotool", "getactivewindow", "getwindowname").decode().strip())
    wait(f"the window {title}", is_active)


def keys(*names):
    for name in names:
        output("xdotool", "key", "--clearmodifiers", name)


def painted(number):
    """The lines of pixels of a window, from the top."""
    _, size, _, pixels = output("import", "-window", number, "-depth", "8", "ppm:-").split(b"\n", 3)
    line = 3 * int(size.split()[0])
    return [pixels[at : at + line] for at in range(0, len(pixels), line)]


def bars(number):
    """The menu bar with the toolbar's icons, and the status bar."""
    lines = painted(number)
    return b"".join(lines[:60]), b"".join(lines[-16:])


def is_light(bar):
    return sum(bar) / len(bar) > 128


def at_rest(number):
    before = painted(number)
    time.sleep(0.5)
    return before if before == painted(number) else None


def walk(environment):
    folder = tempfile.mkdtemp(dir=work)
    catcher = start(f"{build}/tools/quillbright-mailcatcher", "--out", f"{folder}/received", "--reject",
                    "@unknown.example", stdout=subprocess.PIPE)
    port = catcher.stdout.readline().split()[1].decode()
    subprocess.run([f"{root}/scripts/sample-folder", build, folder], check=True,
                   env=os.environ | {"PORT": port})

    def stored(statement):
        with sqlite3.connect(f"{folder}/sys.mdb") as database:
            return list(database.execute(statement))

    stored("delete from mjob")
    program = start(f"{build}/Quillbright/quillbright", "--folder", folder,
                    env=os.environ | {"XDG_CONFIG_HOME": f"{folder}/config"} | environment)
    window("Create Job")  # a first start leads straight there
    main = wait("the main window", lambda: output("xdotool", "search", "--onlyvisible", "--name",
                                                  "^Quillbright$").split())[-1].decode()
    wait("bars that are painted", lambda: all(map(is_light, bars(main))))
    before, _ = bars(main)
    output("xdotool", "type", "Sale")
    keys("Tab", "Down", "Tab", "Tab", "Down", "Return")
    window("Quillbright")
    wait("a job", lambda: stored("select 1 from mjob"))
    wait("a Start button that is lit", lambda: bars(main)[0] != before)
    before = wait("the job's email", lambda: at_rest(main))
    top, bottom = bars(main)

    keys("ctrl+n")
    window("Create Job")
    keys("Escape")
    window("Quillbright")
    wait("a window without a trace of the dialog", lambda: painted(main) == before)

    keys("ctrl+Return")
    window("Job Manager")
    keys("Return")
    window("Quillbright")
    wait("counts in the status bar", lambda: bars(main)[1] != bottom)
    wait("commands that are enabled again", lambda: bars(main)[0] == top)
    assert stored("select progress, success, failure from mjob") == [("Complete", 6, 2)]
    assert len(os.listdir(f"{folder}/received")) == 6
    program.send_signal(signal.SIGHUP)  # the terminal it was started from is closed
    assert program.wait(120) == 0, "the program ended badly"


try:
    number, write = os.pipe()
    start("Xvfb", "-displayfd", str(write), "-screen", "0", "1366x768x24", "-nolisten", "tcp",
          pass_fds=[write])
    os.environ["DISPLAY"] = ":" + os.read(number, 16).decode().strip()
    start("openbox")
    # The engine's sandbox refuses to run for root; what the engine leaks and how it frees is not ours.
    os.environ |= {"XDG_RUNTIME_DIR": work, "QT_QPA_PLATFORM": "xcb", "QTWEBENGINE_DISABLE_SANDBOX": "1",
                   "ASAN_OPTIONS": "new_delete_type_mismatch=0:detect_leaks=0"}
    walk({})
    walk({"QT_XCB_GL_INTEGRATION": "none"})  # a display that cannot draw with OpenGL
finally:
    for process in reversed(started):
        process.kill()
        process.wait()
    shutil.rmtree(work)
