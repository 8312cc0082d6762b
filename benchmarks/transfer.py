"""Import, export and merge of recipients, against the database's own shell on the same tables."""

import os
import shutil
import subprocess
import sys
import tempfile
import time

from common import Bench

IMPORTED = 100_000
EXPORTED = 1_000_000
MERGED_LISTS = 5
ROUNDS = 3
FIELDS = "email, fname, lname, title, contact, company, memo"


def timed(command, **options):
    start = time.monotonic()
    subprocess.run(command, check=True, stdout=options.pop("stdout", subprocess.DEVNULL),
                   stderr=subprocess.DEVNULL, **options)
    return time.monotonic() - start


def shell(database, script):
    """The database's shell; a commit is as durable as the program's."""
    return timed(["sqlite3", "-batch", "-bail", database], text=True,
                 input="pragma synchronous=full;\n" + script)


def best(*measures):
    """The best round of each, measured in turn: a machine that slows down does so for all."""
    rounds = [[measure() for measure in measures] for _ in range(ROUNDS)]
    return [min(column) for column in zip(*rounds)]


def add(bench, work, count, ours, other, against, goal):
    bench.add(work, f"{count / ours:,.0f}/s", f"{against} {count / other:,.0f}/s",
              f"{other / ours:.2f}", goal)


def console(bench, folder, *words):
    return [bench.program("quillbright-console"), "--folder", folder, *words]


def list_file(folder, number=1):
    return os.path.join(folder, "data", f"m{number}.mdb")


def lines(path, count, whole_table):
    """A file of recipients; `whole_table`: with a value for each of the table's ten columns."""
    with open(path, "w", encoding="utf-8", newline="") as file:
        for i in range(count):
            fields = (f"recipient{i}@example.org,First{i},Last{i},Dr,0117 496 0000,Company {i},"
                      "member")
            file.write(f"{i + 1},{fields},,\n" if whole_table else f"{fields}\n")


def measure_import(bench):
    ours, theirs = (os.path.join(bench.scratch, name) for name in ("ours.csv", "theirs.csv"))
    lines(ours, IMPORTED, False)
    lines(theirs, IMPORTED, True)

    def program():
        folder = bench.folder(0)
        return timed(console(bench, folder, "import", "1", ours))

    def sqlite():
        folder = bench.folder(0)
        return shell(list_file(folder), f".mode csv\n.import '{theirs}' email\n")

    add(bench, f"import {IMPORTED:,} lines", IMPORTED, *best(program, sqlite),
        "sqlite3 .import", ">= 0.7")


def measure_export(bench):
    folder = bench.folder(EXPORTED)
    path = os.path.join(bench.scratch, "exported.csv")

    def program():
        return timed(console(bench, folder, "export", "1", path))

    def sqlite():
        # The program's file is on the disk when it says so.
        start = time.monotonic()
        with open(path, "wb") as file:
            timed(["sqlite3", "-csv", list_file(folder), f"select {FIELDS} from email"],
                  stdout=file)
            os.fsync(file.fileno())
        return time.monotonic() - start

    add(bench, f"export {EXPORTED:,} rows", EXPORTED, *best(program, sqlite),
        "sqlite3 -csv", ">= 1.0")


def measure_merge(bench):
    full = bench.folder(0)
    for number in range(1, MERGED_LISTS + 1):
        shutil.copy(os.path.join(full, "mtemplate.mdb"), list_file(full, number))
        bench.fill_list(list_file(full, number), IMPORTED, number * IMPORTED)
    count = MERGED_LISTS * IMPORTED
    target = MERGED_LISTS + 1

    def folder():
        copy = tempfile.mkdtemp(dir=bench.scratch)
        shutil.copytree(full, copy, dirs_exist_ok=True)
        shutil.copy(os.path.join(full, "mtemplate.mdb"), list_file(copy, target))
        return copy

    def program():
        return timed([bench.program("quillbright-mergelists"), folder(), str(target),
                      *map(str, range(1, target))])

    def sqlite():
        copy = folder()
        return shell(list_file(copy, target), "".join(
            f"attach '{list_file(copy, number)}' as s;\n"
            f"insert into email ({FIELDS}) select {FIELDS} from s.email order by mid;\n"
            "detach s;\n" for number in range(1, target)))

    add(bench, f"merge {MERGED_LISTS} lists of {IMPORTED:,}", count,
        *best(program, sqlite), "insert ... select", ">= 0.4")


def main():
    bench = Bench(sys.argv[1])
    measure_import(bench)
    measure_export(bench)
    measure_merge(bench)
    bench.finish()


main()
