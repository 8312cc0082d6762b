#!/usr/bin/env python3
"""Kills runs of the console at random moments and counts what the mail catcher got.

killedruns.py CONSOLE MAILCATCHER PRISTINE KILLS RECIPIENTS SECONDS: in a folder of its own, with
copies of the empty databases in PRISTINE; every run is killed within SECONDS, and the next one starts
at once. Fails when somebody got nothing, or twice without having been in flight at a kill.
"""
import os
import pathlib
import random
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile

console, catcher, pristine = sys.argv[1:4]
kills, recipients, seconds = int(sys.argv[4]), int(sys.argv[5]), float(sys.argv[6])

with tempfile.TemporaryDirectory() as name:
    folder = pathlib.Path(name)
    (folder / "data").mkdir()
    shutil.copy(pathlib.Path(pristine) / "sys.mdb", folder)
    shutil.copy(pathlib.Path(pristine) / "mtemplate.mdb", folder / "data/m1.mdb")
    members = sqlite3.connect(folder / "data/m1.mdb")
    members.executemany("insert into email (email) values (?)",
                        ((f"r{i}@example.org",) for i in range(recipients)))
    members.commit()
    members.close()
    system = sqlite3.connect(folder / "sys.mdb", isolation_level=None)
    system.executescript("""insert into mlist (listname) values ('Members');
        insert into mmsg (subject, senderemail, source) values ('S', 'a@b.c', 'B');
        insert into mjob (jobname, listid, msgid) values ('J', 1, 1);""")

    server = subprocess.Popen([catcher, "--out", str(folder / "mail")],
                              stdout=subprocess.PIPE, text=True)
    port = server.stdout.readline().split()[1]
    settings = folder / "config/Quillbright/Quillbright.conf"
    settings.parent.mkdir(parents=True)
    settings.write_text(f"[General]\nSMTP=127.0.0.1:{port}\n")
    environment = dict(os.environ, XDG_CONFIG_HOME=str(folder / "config"))

    command = [console, "start", "1", "--folder", name, "--batch-pause", "0"]
    quiet = dict(env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    done = 0
    while system.execute("select progress from mjob").fetchone()[0] != "Complete":
        run = subprocess.Popen(command, **quiet)
        try:
            if run.wait(random.uniform(0, seconds) if done < kills else None) not in (0, 1, 3):
                break
        except subprocess.TimeoutExpired:
            run.kill()
            run.wait()
            done += 1
    server.terminate()
    server.wait()
    order = [int(re.search(rb"X-Envelope-To: r(\d+)@", mail.read_bytes())[1])
             for mail in sorted((folder / "mail").glob("*.eml"))]
    twice = len(order) - len(set(order))
    members = sqlite3.connect(folder / "data/m1.mdb")
    sent = [mid for (mid,) in members.execute("select mid from email where status='S'")]
    doubt = [mid for (mid,) in members.execute(
        "select mid from email where status='F' and remark like 'In doubt: %' order by mid")]
    arrived = {mid + 1 for mid in order}
    verified = subprocess.run([console, "verify", "1", "--folder", name], env=environment)
    state = system.execute("select progress, total, unsent, success, failure from mjob").fetchone()
    print(f"{done} kills, {len(arrived)} of {recipients} arrived, {twice} twice, {len(doubt)} in "
          f"doubt ({len(arrived & set(doubt))} of them arrived), job {state}")
    sys.exit(order != sorted(set(order)) or arrived - set(doubt) != set(sent)
             or len(sent) + len(doubt) != recipients or len(doubt) > done
             or verified.returncode != 0
             or state != ("Complete", recipients, 0, len(sent), len(doubt)))
