-- A list (its recipients are imported), a message and a job to try the program with.

insert into mlist (listname, listtype) values ('Friends of the Library', 'Customer');

insert into mmsg (sendername, senderemail, format, replyemail, subject, attach01, attach02,
                  attach03, source)
values ('Greenfield Library', 'library@greenfield.example', 'HTML', 'desk@greenfield.example',
        'Book sale on Saturday – you’re invited', '', '', '',
'<html>
<body style="font-family: sans-serif; max-width: 36em">
<h2 style="color: #2a6b4f">Dear %%TITLE%% %%LASTNAME%%,</h2>
<p>on Saturday we open our store rooms: three thousand books, two rooms, one price.
%%FIRSTNAME%%, you have helped the library through the year, so you may come an hour before
everybody else.</p>
<p>We have you down as <b>%%COMPANY%%</b>, telephone %%CONTACT%%. If that is no longer so, just
answer this mail.</p>
<p>%%MEMO%%</p>
<p>Your Greenfield Library</p>
<p style="color: #777; font-size: smaller">Sent to %%EMAIL%% on %%SEND_DATE%%.</p>
</body>
</html>
');

insert into mjob (jobname, listid, msgid) values ('Book sale invitation', 1, 1);
