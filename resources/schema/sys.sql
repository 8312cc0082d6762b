-- The system database: the catalogues of jobs, mail lists and messages.
-- Numbers are never used twice: a list's number names its file, and a deleted list's file name
-- must not come back under another list.

pragma journal_mode = wal;

create table mjob (
    jobid      integer primary key autoincrement,
    jobname    text,
    listid     integer not null,
    msgid      integer not null,
    progress   text,                        -- null: never run; '': reset; 'Paused'; 'Complete'
    total      integer not null default 0,
    unsent     integer not null default 0,
    success    integer not null default 0,
    failure    integer not null default 0,
    start_time text,                        -- 'yyyy/mm/dd hh:mm:ss'
    end_time   text,
    last_mid   integer not null default 0   -- where a paused run goes on after
);

create table mlist (
    listid      integer primary key autoincrement,
    listname    text,
    listtype    text,
    create_time text not null default (date('now', 'localtime')),
    update_time text,
    rec_count   integer not null default 0
);

create table mmsg (
    msgid       integer primary key autoincrement,
    sendername  text,
    senderemail text,
    format      text,                       -- 'TEXT' or 'HTML'
    replyemail  text,
    encode      text,
    priority    text,
    subject     text,
    attach01    text,
    attach02    text,
    attach03    text,
    source      text
);
