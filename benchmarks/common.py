"""What the measurements share: program folders to measure on, and the table of ratios."""

import os
import shutil
import sqlite3
import subprocess
import tempfile

BODY = (
    "<html><body><p>Dear %%FIRSTNAME%% %%LASTNAME%%,</p>\n<p>"
    + "\n".join(["the club meets again on Saturday, and we hope to see you there."] * 13)
    + "</p>\n<p>%%COMPANY%%</p>\n<p>Sent to %%EMAIL%%</p></body></html>\n"
)


class Bench:
    """One run: a scratch folder on the project's own disk, and the rows of the table."""

    def __init__(self, build):
        self.build = os.path.abspath(build)
        self.scratch = tempfile.mkdtemp(prefix="bench.", dir=self.build)
        self.rows = []

    def program(self, name):
        for folder in ("Quillbright", "tools", "benchmarks"):
            path = os.path.join(self.build, folder, name)
            if os.path.exists(path):
                return path
        raise FileNotFoundError(name)

    def folder(self, recipients, body=BODY):
        """A new program folder with one list, one message and one job."""
        folder = tempfile.mkdtemp(dir=self.scratch)
        for name in ("sys.mdb", "mtemplate.mdb"):
            shutil.copy(os.path.join(self.build, "pristine", name), folder)
        os.makedirs(os.path.join(folder, "data"))
        shutil.copy(os.path.join(folder, "mtemplate.mdb"), os.path.join(folder, "data", "m1.mdb"))
        system = sqlite3.connect(os.path.join(folder, "sys.mdb"))
        with system:
            system.execute("insert into mlist (listname, listtype) values ('L', 'Client')")
            system.execute(
                "insert into mmsg (sendername, senderemail, format, subject, source) "
                "values ('The Club', 'club@example.org', 'HTML', 'Saturday', ?)", (body,))
            system.execute("insert into mjob (jobname, listid, msgid) values ('J', 1, 1)")
        system.close()
        self.fill_list(os.path.join(folder, "data", "m1.mdb"), recipients)
        return folder

    @staticmethod
    def add_jobs(folder, count):
        system = sqlite3.connect(os.path.join(folder, "sys.mdb"))
        with system:
            system.executemany("insert into mjob (jobname, listid, msgid) values (?, 1, 1)",
                               ((f"Job {i}",) for i in range(count)))
        system.close()

    @staticmethod
    def fill_list(path, recipients, first=0):
        database = sqlite3.connect(path)
        with database:
            database.executemany(
                "insert into email (email, fname, lname, title, contact, company, memo) "
                "values (?, ?, ?, 'Dr', '0117 496 0000', ?, 'member')",
                ((f"recipient{i}@example.org", f"First{i}", f"Last{i}", f"Company {i}")
                 for i in range(first, first + recipients)))
        database.close()

    @staticmethod
    def peak_kb(command, **options):
        """Runs a command; returns its exit status and its peak memory in kB."""
        done = subprocess.run(["/usr/bin/time", "-f", "PEAK %M", *command], capture_output=True,
                              text=True, **options)
        peak = [line for line in done.stderr.splitlines() if line.startswith("PEAK ")]
        return done.returncode, int(peak[-1].split()[1])

    def add(self, work, figure, against, reached, goal):
        self.rows.append((work, figure, against, reached, goal))
        print(f"measured: {work}", flush=True)

    def finish(self):
        shutil.rmtree(self.scratch, ignore_errors=True)
        header = ("work", "measured", "against", "reached", "goal")
        rows = [header, *self.rows]
        widths = [max(len(row[i]) for row in rows) for i in range(len(header))]
        print()
        for row in rows:
            print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
