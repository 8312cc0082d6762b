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

// The engine's calls come here instead of to the system.
static int syncs = 0;
extern "C" int fdatasync(int file)
{
    return ++syncs, int(syscall(SYS_fdatasync, file));
}

/// What the failure of `action` is told as; empty when it does not fail.
template <typename Action>
static QString failureOf(const Action &action)
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
        const auto open = [&] { Connection connection(folder.systemConnectionString()); };
        QVERIFY(failureOf(open).endsWith(u"does not exist."_s));
        QVERIFY(QDir(directory.path()).isEmpty());
        writeFile(folder.file(u"sys.mdb"_s), QByteArray("a letter, not a database").repeated(40));
        QVERIFY(failureOf(open).endsWith(u"is damaged or is not a database."_s));
    }

    void runsOneStatementAtATime()
    {
        const TestFolder folder;
        const QStringList names{u"O'Brien"_s, u"'''"_s, u"x'; delete from mlist; --"_s,
                                u"a\r\nb \U0001f600"_s};
        for (const QString &name : names)
            folder.addList(name, {});
        folder.execute("delete from mjob ; ");
        folder.execute("update mjob set jobname='a;b; delete from mlist'");
        QVERIFY(
            !failureOf([&] { folder.execute("delete from mjob; delete from mlist"); }).isEmpty());
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
        const QByteArray farFromHere =
            QDateTime::currentDateTimeUtc().time().hour() < 12 ? "GMT+12" : "GMT-14";
        qputenv("TZ", "Etc/" + farFromHere); // where it is another day than in Greenwich
        QCOMPARE(folder.row("select date()"), QDate::currentDate().toString(Qt::ISODate));
        qunsetenv("TZ");
    }

    void copiesAreIdentical()
    {
        const TestFolder folder;
        const ProgramFolder &files = folder.folder();
        const qint64 from = folder.addList("From", {"a@example.org"});
        const qint64 to = folder.addList("To", {"z@example.org"});
        {
            const Connection open(files.listConnectionString(from));
            folder.execute("update email set fname='Ann'", from);
            QVERIFY(
                failureOf([&] { files.duplicateListDatabase(from, to); }).contains(u"in use"_s));
        }
        QCOMPARE(folder.row("select email from email", to), u"z@example.org"_s);
        files.duplicateListDatabase(from, to);
        QVERIFY(readFile(files.listDatabaseFile(from)) == readFile(files.listDatabaseFile(to)));
        QCOMPARE(folder.row("select email, fname from email", to), u"a@example.org|Ann"_s);
        // A file in the way is a stranger, and is kept.
        QVERIFY(QFile::exists(files.listDatabaseFile(to) + u".old"_s));
        files.deleteListDatabase(to);
        QVERIFY(!QFile::exists(files.listDatabaseFile(to)));
        QFile::remove(folder.file("mtemplate.mdb"));
        QVERIFY(!failureOf([&] { files.createListDatabase(to); }).isEmpty());
        QVERIFY(!QFile::exists(files.listDatabaseFile(to)));
    }

    void commitsLast()
    {
        const TestFolder folder;
        Connection connection(folder.folder().listConnectionString(folder.addList("L", {})));
        const auto syncsOf = [&](bool commit) {
            Transaction transaction(connection);
            connection.execute(u"insert into email (email) values (random())"_s);
            syncs = 0;
            if (commit)
                transaction.commit();
            return syncs;
        };
        QVERIFY(syncsOf(true) > 0);
        syncsOf(false);
        QCOMPARE(connection.number(u"select count(*) from email"_s), 1);
        connection.beginBulk();
        QCOMPARE(syncsOf(true), 0);
        connection.endBulk();
        QVERIFY(syncs > 0 && syncsOf(true) > 0);
    }

    void keepsFilesPrivate()
    {
        const TestFolder folder;
        const qint64 list = folder.addList("L", {"a@example.org"});
        const Connection open(folder.folder().listConnectionString(list));
        folder.execute("update email set fname='Ann'", list);
        const QString database = folder.folder().listDatabaseFile(list);
        for (const QString &path :
             {database, database + u"-wal"_s, database + u"-shm"_s, folder.file("data")}) {
            const auto before = QFile::permissions(path);
            QVERIFY2(!(before & QFile::ReadGroup), qPrintable(path));
            QFile::setPermissions(path, before | QFile::ReadGroup | QFile::ReadOther);
            Connection(ProgramFolder(folder.file("")).listConnectionString(list)).close();
            QCOMPARE(QFile::permissions(path), before);
        }
    }

    void readsWhereNothingCanBeWritten()
    {
        const TestFolder folder;
        QVERIFY(QDir().mkpath(folder.file("data")));
        const SmallDisk disk(folder.file("data"), "1M");
        if (!disk.isMounted())
            QSKIP("no right to mount");
        const qint64 list = folder.addList("L", {"a@example.org"});
        const auto insert = [&] { folder.execute("insert into email (email) values (1)", list); };
        // A full disk is called so, also where the engine has not begun to write.
        QFile filler(folder.file("data/filler"));
        QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        while (filler.write(QByteArray(4096, 'x')) == 4096)
            ;
        QVERIFY(failureOf(insert).startsWith(u"The disk that holds"_s));
        filler.remove();
        insert(); // which leaves no log behind
        QProcess::execute(u"mount"_s, {u"-o"_s, u"remount,ro"_s, folder.file("data")});
        QCOMPARE(folder.row("select count(*) from email", list), u"2"_s);
        QVERIFY(failureOf(insert).endsWith(u"may not be written to."_s));
    }

    void keysetStaysAsOpened()
    {
        const TestFolder folder;
        const qint64 list = folder.addList("L", {});
        const QString database = folder.folder().listConnectionString(list);
        Connection connection(database);
        constexpr int count = 3 * Keyset::windowSize + 5;
        connection.execute(u"with recursive n(i) as (values(1) union all select i+1 from n where "
                           "i<%1) insert into email (email) select 'r'||i from n"_s.arg(count));
        Keyset keyset(database, u"email"_s, u"*"_s, u" where mid > 2"_s);
        connection.execute(u"delete from email where mid=200"_s);
        connection.execute(u"insert into email (email) values ('new@example.org')"_s);
        QCOMPARE(keyset.size(), count - 2);
        for (qsizetype i = 0; i < keyset.size(); ++i) {
            const Record *row = keyset.row(i);
            QCOMPARE(keyset.key(i), i + 3);
            QCOMPARE(row ? row->text(u"EMAIL"_s) : u"r200"_s, u"r%1"_s.arg(i + 3));
        }
        QVERIFY(!keyset.row(197) && keyset.row(0)->isNull(u"fname"_s));
        QVERIFY_EXCEPTION_THROWN(keyset.row(0)->text(u"nothing"_s), StorageError);
    }
};

QTEST_GUILESS_MAIN(TestStorage)
#include "tst_storage.moc"
