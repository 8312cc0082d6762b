-- An empty list database; every list's file begins as a copy of it.

pragma journal_mode = wal;

create table email (
    mid     integer primary key autoincrement,
    email   text not null collate nocase unique, -- one list never mails a person twice
    fname   text,
    lname   text,
    title   text,
    contact text,
    company text,
    memo    text,
    status  text,                                -- null: not sent; 'S': sent; 'F': failed
    remark  text                                 -- why the last send failed
);

-- How far a run that has not ended has come: written in the same commit as each recipient's
-- outcome, deleted when the run is stored in its job. What is found here later was left by a crash,
-- and tells where to go on so that nobody is mailed twice.
create table sending (
    jobid      integer primary key,
    start_time text not null,
    last_mid   integer not null
);
