#include "connection.h"
#include "keyset.h"
#include "programfolder.h"
#include "recordset.h"
#include "smalldisk.h"
#include "testfiles.h"
#include "testfolder.h"

#include <QProcess>
#include <QTest>

#include <sys/syscall.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
int syncs = 0;
}

// The engine's calls come here instead of to the system.
extern "C" int fdatasync(int file)
{
    ++syncs;
    return int(syscall(SYS_fdatasync, file));
}
extern "C" int fsync(int file)
{
    return fdatasync(file);
}

/// What the failure of `action` is told as; empty when it does not fail.
static QString failureOf(const std::function<void()> &action)
{
    try {
        action();
    } catch (const StorageError &e) {
        return e.description();
    }
    return {};
}

class TestStorage final : public QObject
{
    Q_OBJECT

private slots:
    void opensOnlyWhatIsADatabase()
    {
        const QTemporaryDir directory;
        const ProgramFolder folder(directory.path());
        const QString path = folder.file(u"sys.mdb"_s);
        const auto open = [&] { Connection connection(folder.systemConnectionString()); };
        QVERIFY(failureOf(open).endsWith(u"does not exist."_s));
        QVERIFY(!QFile::exists(path));
        writeFile(path, QByteArray("this is a letter, not a database").repeated(40));
        QVERIFY(failureOf(open).endsWith(u"is damaged or is not a database."_s));
    }

    void runsOneStatementAtATime()
    {
        const TestFolder folder;
        folder.addList("L", {});
        folder.execute("delete from mjob ; ");
        folder.execute("update mjob set jobname='a;b; delete from mjob'");
        for (const char *sql :
             {"delete from mjob; delete from mlist", "select * from mjob where jobname='O'Brien'"})
            QVERIFY_EXCEPTION_THROWN(folder.execute(sql), StorageError);
        QCOMPARE(folder.rows("select listid from mlist").size(), 1);
    }

    void quotesText()
    {
        const TestFolder folder;
        QStringList names{u"O'Brien"_s, u"'''"_s, u"x'; delete from mlist; --"_s,
                          u"a\r\nb \U0001f600"_s, u"a"_s + QChar(0) + u'b'};
        for (const QString &name : std::as_const(names))
            folder.addList(name, {});
        names.last().remove(QChar(0));
        QCOMPARE(folder.rows("select listname from mlist order by listid"), names);
        // A number is never used twice.
        folder.execute("delete from mlist");
        QCOMPARE(folder.addList("B", {}), names.size() + 1);
    }

    void functionsKnowAllLetters()
    {
        const TestFolder folder;
        for (const char *truth :
             {"'Müller' like '%MÜLL%'", "'ΣΟΦΙΑ' like '%σοφια%'", "not 'Muller' like '%Müll%'",
              "ucase('äpfel') = 'ÄPFEL'", "not 'abc' like 'ab'", "'aXbXc' like '%a%x_'",
              "'a%c' like 'a\\%c' escape '\\' and not 'abc' like 'a\\%c' escape '\\'",
              "'a😀c' like 'a_c' and not '' like '_'", "null like '%' is null", "12 like '%2'"})
            QVERIFY2(folder.row(u"select "_s + QString::fromUtf8(truth)) == u"1"_s, truth);
        // Between these two zones it is never the same day.
        for (const char *zone : {"Etc/GMT+12", "Etc/GMT-14"}) {
            qputenv("TZ", zone);
            QCOMPARE(folder.row("select date()"), QDate::currentDate().toString(Qt::ISODate));
        }
        qunsetenv("TZ");
    }

    void refusesRowsInPlainWords()
    {
        const TestFolder folder;
        const qint64 list = folder.addList("L", {"ann@example.org"});
        const auto insert = [&](const char *value) {
            return failureOf([&] {
                folder.execute(u"insert into email (email) values (%1)"_s.arg(QLatin1String(value)),
                               list);
            });
        };
        QCOMPARE(insert("'ANN@Example.org'"), u"This email address is already in the list."_s);
        QCOMPARE(insert("null"), u"A recipient needs an email address."_s);
    }

    void listDatabaseFilesComeAndGo()
    {
        const TestFolder folder;
        const ProgramFolder &files = folder.folder();
        files.createListDatabase(7);
        // A file in the way is a stranger, and is kept.
        folder.execute("insert into email (email) values ('a@x.org')", 7);
        files.createListDatabase(7);
        QCOMPARE(folder.row("select count(*) from email", 7), u"0"_s);
        QVERIFY(QFile::exists(folder.file("data\\m7.mdb.old")));
        files.deleteListDatabase(7);
        QVERIFY(!QFile::exists(folder.file("data\\m7.mdb")));
        QVERIFY_EXCEPTION_THROWN(files.deleteListDatabase(7), StorageError);
        QVERIFY(QFile::remove(folder.file("mtemplate.mdb")));
        QVERIFY_EXCEPTION_THROWN(files.createListDatabase(8), StorageError);
        QVERIFY(!QFile::exists(folder.file("data\\m8.mdb")));
    }

    void copyOfWalDatabaseIsIdentical()
    {
        const TestFolder folder;
        const qint64 from = folder.addList("From", {"a@example.org"});
        const qint64 to = folder.addList("To", {"z@example.org"});
        {
            const Connection open(folder.folder().listConnectionString(from));
            folder.execute("update email set fname='Ann'", from);
            QVERIFY_EXCEPTION_THROWN(folder.folder().duplicateListDatabase(from, to), StorageError);
        }
        QCOMPARE(folder.row("select email from email", to), u"z@example.org"_s);
        folder.folder().duplicateListDatabase(from, to);
        QVERIFY(readFile(folder.folder().listDatabaseFile(from)) ==
                readFile(folder.folder().listDatabaseFile(to)));
        QCOMPARE(folder.row("select email, fname from email", to), u"a@example.org|Ann"_s);
    }

    void commitsLast()
    {
        const TestFolder folder;
        Connection connection(folder.folder().listConnectionString(folder.addList("L", {})));
        const auto insert = [&](bool commit) {
            Transaction transaction(connection);
            connection.execute(u"insert into email (email) values (random())"_s);
            if (commit)
                transaction.commit();
            return std::exchange(syncs, 0);
        };
        syncs = 0;
        QVERIFY(insert(true) > 0);
        insert(false);
        QCOMPARE(connection.number(u"select count(*) from email"_s), 1);
        connection.beginBulk();
        QCOMPARE(insert(true), 0);
        connection.endBulk();
        QVERIFY(syncs > 0);
        QVERIFY(insert(true) > 0);
    }

    void keepsFilesPrivate()
    {
        const TestFolder folder;
        const qint64 list = folder.addList("L", {"a@example.org"});
        const Connection open(folder.folder().listConnectionString(list));
        folder.execute("update email set fname='Ann'", list);
        const QString database = folder.folder().listDatabaseFile(list);
        const QStringList paths{database, database + u"-wal"_s, database + u"-shm"_s,
                                folder.file("data")};
        constexpr auto others = QFileDevice::ReadGroup | QFileDevice::ReadOther;
        for (const QString &path : paths) {
            QVERIFY2(!(QFile::permissions(path) & others), qPrintable(path));
            QFile::setPermissions(path, QFile::permissions(path) | others);
        }
        Connection again(ProgramFolder(folder.file("")).listConnectionString(list));
        for (const QString &path : paths)
            QVERIFY2(!(QFile::permissions(path) & others), qPrintable(path));
    }

    void readsWhereNothingCanBeWritten()
    {
        TestFolder folder;
        const qint64 list = folder.addList("L%3f?#", {"a@example.org"});
        SmallDisk disk(folder.file("data"), "1M");
        if (!disk.isMounted())
            QSKIP("no right to mount");
        folder.folder().createListDatabase(list);
        folder.execute("insert into email (email) values ('b@example.org')", list);
        // A full disk is called so, also where the engine has not begun to write.
        QFile filler(folder.file("data/filler"));
        QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        while (filler.write(QByteArray(4096, 'x')) == 4096)
            ;
        const QString full = failureOf([&] { folder.row("select email from email", list); });
        QVERIFY2(full.startsWith(u"The disk that holds"_s), qPrintable(full));
        filler.remove();
        QCOMPARE(QProcess::execute(u"mount"_s, {u"-o"_s, u"remount,ro"_s, folder.file("data")}), 0);
        QCOMPARE(folder.row("select email from email", list), u"b@example.org"_s);
        QVERIFY(failureOf([&] {
                    folder.execute("delete from email", list);
                }).endsWith(u"may not be written to."_s));
    }

    void keysetStaysAsOpened()
    {
        const TestFolder folder;
        QStringList addresses;
        constexpr int count = 3 * Keyset::windowSize + 5;
        for (int i = 1; i <= count; ++i)
            addresses += u"r%1@example.org"_s.arg(i);
        const qint64 list = folder.addList("L", addresses);
        Connection connection(folder.folder().listConnectionString(list));
        Keyset keyset(folder.folder().listConnectionString(list), u"*"_s, u" where mid > 2"_s);
        connection.execute(u"delete from email where mid=200"_s);
        connection.execute(u"insert into email (email) values ('new@example.org')"_s);
        QCOMPARE(keyset.size(), count - 2);
        for (qsizetype i = 0; i < keyset.size(); ++i) {
            const Record *row = keyset.row(i);
            QCOMPARE(keyset.key(i), i + 3);
            QCOMPARE(row == nullptr, keyset.key(i) == 200);
            if (row)
                QCOMPARE(row->text(u"email"_s), addresses[i + 2]);
        }
        QCOMPARE(keyset.row(0)->text(u"EMAIL"_s), addresses[2]);
        QVERIFY(keyset.row(0)->isNull(u"fname"_s));
        QVERIFY_EXCEPTION_THROWN(keyset.row(0)->text(u"nothing"_s), StorageError);
    }
};

QTEST_GUILESS_MAIN(TestStorage)
#include "tst_storage.moc"
