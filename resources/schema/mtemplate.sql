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
