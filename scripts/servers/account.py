#!/usr/bin/env python3
"""Sends a job of 500 recipients to a mail server on loopback, and compares three accounts of it:
what the server delivered into a Maildir, table email of the list's database, and the ledger as
quillbright-console tells it. Run by scripts/servers/run."""

import argparse
import collections
import email
import email.policy
import json
import os
import random
import shutil
import smtplib
import sqlite3
import subprocess
import sys
import time

COUNTS = {"person": 455, "gone": 20, "later": 20, "left": 5}
REPLIES = {"person": "250 ", "gone": "550 ", "later": "250 ", "left": ""}
BODY = """<html>
<body><p>Dear %%FIRSTNAME%%,</p>
.a line that begins with a dot, and one that is nothing else:
.
From here on: dés caractères accentués, and Ελληνικά.
<p>Sent to %%EMAIL%%</p></body>
</html>
"""
ATTACHMENTS = {"invitation.txt": "Come on Saturday.\n.\nBring a friend.\n".encode(),
               "map.bin": bytes(range(256)) * 12}
MAILDIR_WAIT = 120  # seconds until the server has delivered what it accepted
Letter = collections.namedtuple("Letter", "message_id faults")


def recipients():
    """Addresses in the order of the list: mixed, but the same ones every time, with no three
    greylisted ones in a row (which would be trouble with the server) and six unknown ones in a row
    (at which servers begin to lose patience)."""
    kinds = [kind for kind, count in COUNTS.items() for _ in range(count)]
    chance = random.Random(10)
    chance.shuffle(kinds)
    while any(kinds[i:i + 3] == ["later"] * 3 for i in range(len(kinds))):
        chance.shuffle(kinds)
    together = [i for i, kind in enumerate(kinds) if kind == "gone"][:6]
    for place, i in enumerate(together):
        kinds[i], kinds[200 + place] = kinds[200 + place], kinds[i]
    return [f"{kind}{i:03}@example.org" for i, kind in enumerate(kinds)]


def kind_of(address):
    return address.split("@")[0].rstrip("0123456789")


def merged(address):
    return BODY.replace("%%FIRSTNAME%%", address.split("@")[0]).replace("%%EMAIL%%", address)


def make_folder(build, folder, port):
    """A program folder with one list, one message and one job, and settings that name the port."""
    program = os.path.join(folder, "program")
    os.makedirs(os.path.join(program, "data"))
    os.makedirs(os.path.join(program, "config", "Quillbright"))
    for name in ("sys.mdb", "mtemplate.mdb"):
        shutil.copy(os.path.join(build, "pristine", name), program)
    list_file = os.path.join(program, "data", "m1.mdb")
    shutil.copy(os.path.join(program, "mtemplate.mdb"), list_file)
    paths = []
    for name, content in ATTACHMENTS.items():
        paths.append(os.path.join(folder, name))
        with open(paths[-1], "wb") as file:
            file.write(content)

    addresses = recipients()
    database = sqlite3.connect(list_file)
    with database:
        database.executemany("insert into email (email, fname) values (?, ?)",
                             ((address, address.split("@")[0]) for address in addresses))
    database.close()
    database = sqlite3.connect(os.path.join(program, "sys.mdb"))
    with database:
        database.execute("insert into mlist (listname, listtype) values ('People', 'Client')")
        database.execute(
            "insert into mmsg (sendername, senderemail, format, subject, attach01, attach02, "
            "source) values ('The Club', 'club@example.org', 'HTML', 'Saturday', ?, ?, ?)",
            (*paths, BODY))
        database.execute("insert into mjob (jobname, listid, msgid) values ('Invitation', 1, 1)")
    database.close()
    with open(os.path.join(program, "ulist.txt"), "w", encoding="utf-8") as file:
        file.writelines(address + "\r\n" for address in addresses if kind_of(address) == "left")
    with open(os.path.join(program, "config", "Quillbright", "Quillbright.conf"), "w",
              encoding="utf-8") as file:
        file.write(f"[General]\nSMTP=127.0.0.1:{port}\nLog=1\n")
    return program


def greeting(port):
    """What the server offers on the encrypted link, once it is there."""
    for attempt in range(300):
        try:
            with smtplib.SMTP("127.0.0.1", port, timeout=30) as server:
                server.starttls()
                server.ehlo()
                return server.esmtp_features
        except OSError:
            if attempt == 299:
                raise
            time.sleep(0.1)


def console(options, *words):
    """Runs the console; its exit status, its output and what it told beside that."""
    program = os.path.join(options.folder, "program")
    environment = dict(os.environ, XDG_CONFIG_HOME=os.path.join(program, "config"))
    environment.pop("LD_LIBRARY_PATH", None)  # what Postfix needs is nothing to the program
    done = subprocess.run(
        [os.path.join(options.build, "Quillbright", "quillbright-console"), "--folder", program,
         *words], env=environment, capture_output=True, stdin=subprocess.DEVNULL, text=True,
        check=False)
    return done.returncode, done.stdout, done.stderr


def read_letter(path):
    """The recipient of the envelope, and what there is to say about the letter."""
    with open(path, "rb") as file:
        letter = email.message_from_binary_file(file, policy=email.policy.default)
    address = next(str(letter[name]) for name in ("Delivered-To", "Envelope-to", "X-Envelope-To")
                   if letter[name])
    faults = []
    if letter["To"].addresses[0].addr_spec != address:
        faults.append(f"is addressed to {letter['To']}")
    if "ESMTPS" not in letter.get_all("Received")[0].upper():
        faults.append("came over an unencrypted link")
    body = letter.get_body(("html",))
    if body is None or body.get_content().replace("\r\n", "\n").rstrip() != merged(address).rstrip():
        faults.append("has another body than was sent")
    parts = {part.get_filename(): part.get_payload(decode=True)
             for part in letter.iter_attachments()}
    if parts != ATTACHMENTS:
        faults.append(f"has the attachments {sorted(parts)}, or others in their names")
    return address, Letter(letter["Message-ID"].strip(), faults)


def read_maildir(maildir, expected):
    """Every letter in the Maildir by its recipient, once no more are to come."""
    folder = os.path.join(maildir, "new")
    os.makedirs(folder, exist_ok=True)  # a server makes it with the first letter
    give_up = time.monotonic() + MAILDIR_WAIT
    while time.monotonic() < give_up and len(os.listdir(folder)) < expected:
        time.sleep(0.1)
    time.sleep(2)  # a second copy comes after the last first one
    letters = collections.defaultdict(list)
    for name in os.listdir(folder):
        address, letter = read_letter(os.path.join(folder, name))
        letters[address].append(letter)
    return letters


def read_table(options):
    path = os.path.join(options.folder, "program", "data", "m1.mdb")
    database = sqlite3.connect(f"file:{path}?mode=ro", uri=True)
    rows = {address: (status, remark or "") for address, status, remark in
            database.execute("select email, status, remark from email")}
    database.close()
    return rows


def read_ledger(options):
    """The last outcome of everyone."""
    status, output, _ = console(options, "report", "Invitation", "--json")
    outcomes = json.loads(output or "[]")
    return status, {outcome["email"]: outcome for outcome in outcomes}


def compare(letters, table, ledger, deferred):
    """What doesn't agree, a line each."""
    faults = []
    for address in recipients():
        kind = kind_of(address)
        copies = letters.get(address, [])
        status, remark = table.get(address, (None, ""))
        outcome = ledger.get(address, {})
        should = "S" if kind in ("person", "later") else "F"
        if status != should:
            faults.append(f"{address}: table email has {status!r} ({remark}), not {should!r}")
        if len(copies) != (status == "S"):
            faults.append(f"{address}: status {status!r}, but {len(copies)} letters in the Maildir")
        if outcome.get("result") != {"S": "sent", "F": "failed"}.get(status):
            faults.append(f"{address}: status {status!r}, but in the ledger {outcome}")
        elif outcome["reason"] != remark:
            faults.append(f"{address}: remark {remark!r}, but in the ledger {outcome['reason']!r}")
        elif not outcome["reply"].startswith(REPLIES[kind]):
            faults.append(f"{address}: the server's reply in the ledger is {outcome['reply']!r}")
        for letter in copies:
            faults.extend(f"{address}: the letter {fault}" for fault in letter.faults)
            if letter.message_id.strip("<>") != outcome.get("messageid", "").strip("<>"):
                faults.append(f"{address}: the letter is {letter.message_id}, in the ledger it is "
                              f"{outcome.get('messageid')!r}")
        if kind == "later" and address not in deferred:
            faults.append(f"{address}: was never deferred")
    for what, accounts in (("Maildir", letters), ("table email", table), ("ledger", ledger)):
        faults.extend(f"{address}: nobody's, but in the {what}"
                      for address in set(accounts) - set(recipients()))
    return faults


def main():
    os.umask(0o077)  # as the program has it for what holds recipients
    parser = argparse.ArgumentParser()
    for name in ("build", "folder", "port", "maildir", "server", "version", "table"):
        parser.add_argument(f"--{name}", required=True)
    options = parser.parse_args()

    features = greeting(int(options.port))
    make_folder(options.build, options.folder, options.port)
    start = time.monotonic()
    status, _, told = console(options, "start", "Invitation", "--rerun-wait", "0",
                              "--batch-pause", "0")
    seconds = time.monotonic() - start

    table = read_table(options)
    sent = sum(status == "S" for status, _ in table.values())
    letters = read_maildir(options.maildir, sent)
    deferred = set(os.listdir(os.path.join(options.folder, "greylist")))
    ledger_status, ledger = read_ledger(options)
    verified, disagreeing, _ = console(options, "verify", "People")

    faults = compare(letters, table, ledger, deferred)
    for what, got, wanted in (("start", status, 1), ("report", ledger_status, 0),
                              ("verify", verified, 0)):
        if got != wanted:
            faults.append(f"quillbright-console {what} ended with {got}, not with {wanted}")
    faults.extend(disagreeing.splitlines() if verified else ())
    if faults:
        print(told, file=sys.stderr)
    for fault in faults[:10]:
        print(f"{options.server}: {fault}", file=sys.stderr)
    if len(faults) > 10:
        print(f"{options.server}: and {len(faults) - 10} more", file=sys.stderr)

    refused = sum(status == "F" and kind_of(address) == "gone"
                  for address, (status, _) in table.items())
    row = (options.server, options.version, "yes" if "pipelining" in features else "no",
           sum(len(copies) for copies in letters.values()), refused,
           sum(address in letters for address in deferred),
           sum(len(copies) > 1 for copies in letters.values()), "no" if faults else "yes",
           f"{seconds:.1f}")
    with open(options.table, "a", encoding="utf-8") as file:
        file.write("|".join(str(cell) for cell in row) + "\n")
    return 1 if faults else 0


sys.exit(main())
