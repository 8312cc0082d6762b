// The catalogue's rows and the database files beside them.

#include "connection.h"
#include "listcatalogue.h"
#include "listcount.h"
#include "testfolder.h"

#include <QFile>
#include <QTest>

namespace
{

struct Setup {
    Setup()
    {
        leads = folder.addList(QStringLiteral("Leads"), {QStringLiteral("Ann@Example.org")});
        folder.addList(QStringLiteral("Ünï"), {QStringLiteral("b@other.example")});
        folder.execute(QStringLiteral("update mlist set listtype = 'Customer', create_time = "
                                      "'2024-02-01' where listid = 1"));
        folder.execute(QStringLiteral("update mlist set listtype = null where listid = 2"));
    }

    bool hasDatabase(qint64 list) const
    {
        return QFile::exists(folder.folder().listDatabaseFile(list));
    }
    QStringList rows() const
    {
        return folder.rows(QStringLiteral("select listid, listname, listtype from mlist"));
    }

    TestFolder folder;
    qint64 leads = 0;
    ListCatalogue catalogue{folder.folder()};
};

QString failure(const std::function<void()> &action)
{
    try {
        action();
        return QStringLiteral("none");
    } catch (const StorageError &e) {
        return e.description();
    }
}

} // namespace

class TestListCatalogue final : public QObject
{
    Q_OBJECT

private slots:
    void lists();
    void searches_data();
    void searches();
    void leavesOutListsItCannotRead();
    void creates();
    void undoesWhatItCannotFinish();
    void renames();
    void removes();
    void keepsListsInUse();
    void recounts();
};

void TestListCatalogue::lists()
{
    const Setup setup;
    const std::vector<MailList> lists = setup.catalogue.lists();
    QCOMPARE(lists.size(), size_t(2));
    QCOMPARE(lists[0].id, 1);
    QCOMPARE(lists[0].name, QStringLiteral("Leads"));
    QCOMPARE(lists[0].type, QStringLiteral("Customer"));
    QCOMPARE(lists[0].created, QStringLiteral("2024/02/01"));
    QCOMPARE(lists[0].count, QStringLiteral("0"));
    QCOMPARE(lists[1].type, QString());
    QCOMPARE(setup.catalogue.types(), QStringList{QStringLiteral("Customer")});
}

void TestListCatalogue::searches_data()
{
    QTest::addColumn<int>("field");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("found");
    const auto row = [](const char *name, ListCatalogue::SearchField field, const char *text,
                        const char *found) {
        QTest::newRow(name) << int(field) << QString::fromUtf8(text) << QString::fromUtf8(found);
    };
    row("name in another case", ListCatalogue::ListName, "ünÏ", "Ünï");
    row("part of a name", ListCatalogue::ListName, "EAD", "Leads");
    row("type", ListCatalogue::Type, "cust", "Leads");
    row("type of none", ListCatalogue::Type, "x", "");
    row("address", ListCatalogue::EmailAddress, "example.org", "Leads");
    row("part of all addresses", ListCatalogue::EmailAddress, "EXAMPLE", "Leads,Ünï");
    row("blanks", ListCatalogue::EmailAddress, "  ", "Leads,Ünï");
    row("address and a blank", ListCatalogue::EmailAddress, "ann ", "");
    row("nothing", ListCatalogue::Type, "", "Leads,Ünï");
    row("any", ListCatalogue::ListName, "l_a%", "Leads");
}

void TestListCatalogue::searches()
{
    QFETCH(int, field);
    QFETCH(QString, text);
    QFETCH(QString, found);
    const Setup setup;
    QStringList names;
    for (const MailList &list :
         setup.catalogue.search(ListCatalogue::SearchField(field), text,
                                [](const QString &told) { QFAIL(qPrintable(told)); }))
        names += list.name;
    QCOMPARE(names.join(QLatin1Char(',')), found);
    // An apostrophe goes into the statement as it was typed.
    QVERIFY(failure([&] {
                setup.catalogue.search(ListCatalogue::ListName, QStringLiteral("O'Neil"), {});
            }) != QStringLiteral("none"));
}

void TestListCatalogue::leavesOutListsItCannotRead()
{
    const Setup setup;
    setup.folder.folder().deleteListDatabase(setup.leads);
    QStringList told;
    const auto found =
        setup.catalogue.search(ListCatalogue::EmailAddress, QStringLiteral("example"),
                               [&told](const QString &text) { told += text; });
    QCOMPARE(found.size(), size_t(1));
    QCOMPARE(told.size(), 1);
    QVERIFY2(told.first().endsWith(QStringLiteral("m1.mdb does not exist.")),
             qPrintable(told.first()));
}

void TestListCatalogue::creates()
{
    const Setup setup;
    const QString name = QStringLiteral("O'Brien");
    const qint64 first = setup.catalogue.create(name, QStringLiteral("It's"));
    const qint64 second = setup.catalogue.create(name, QStringLiteral("Other"));
    QCOMPARE(first, 3);
    QCOMPARE(second, 4);
    QCOMPARE(setup.rows().mid(2),
             (QStringList{QStringLiteral("3|O'Brien|It's"), QStringLiteral("4|O'Brien|Other")}));
    QCOMPARE(setup.folder.rows(QStringLiteral("select count(*) from email"), second),
             QStringList{QStringLiteral("0")});
}

void TestListCatalogue::undoesWhatItCannotFinish()
{
    const Setup setup;
    const QStringList before = setup.rows();
    QVERIFY(QFile::remove(setup.folder.file(QStringLiteral("mtemplate.mdb"))));
    const QString told = failure([&] { setup.catalogue.create(QStringLiteral("N"), {}); });
    QVERIFY2(told.contains(QStringLiteral("mtemplate.mdb")), qPrintable(told));
    setup.folder.folder().deleteListDatabase(setup.leads);
    const QString copied =
        failure([&] { setup.catalogue.duplicate(setup.catalogue.lists().front()); });
    QVERIFY2(copied.contains(QStringLiteral("m1.mdb")), qPrintable(copied));
    QCOMPARE(setup.rows(), before);
    QVERIFY(!setup.hasDatabase(3) && !setup.hasDatabase(4));
}

void TestListCatalogue::renames()
{
    const Setup setup;
    setup.catalogue.rename(setup.leads, QStringLiteral("O'Brien"), QStringLiteral("It's"));
    QCOMPARE(setup.folder.rows(QStringLiteral(
                 "select listname, listtype, update_time = date(), rec_count from mlist")),
             (QStringList{QStringLiteral("O'Brien|It's|1|0"), QStringLiteral("Ünï|null|null|0")}));
}

void TestListCatalogue::removes()
{
    const Setup setup;
    QVERIFY(setup.catalogue.remove(setup.leads));
    QVERIFY(!setup.hasDatabase(setup.leads));
    QCOMPARE(setup.rows(), QStringList{QStringLiteral("2|Ünï|null")});
    // A list whose database is gone already goes too.
    setup.folder.folder().deleteListDatabase(2);
    QVERIFY(setup.catalogue.remove(2));
    QCOMPARE(setup.rows(), QStringList{});
    // Its number is not used again.
    QCOMPARE(setup.catalogue.create(QStringLiteral("New"), {}), 3);
}

void TestListCatalogue::keepsListsInUse()
{
    const Setup setup;
    setup.folder.addJob(QStringLiteral("Spring"), setup.leads, 1);
    const QStringList before = setup.rows();
    QVERIFY(!setup.catalogue.remove(setup.leads));
    QCOMPARE(setup.rows(), before);
    QVERIFY(setup.hasDatabase(setup.leads));
}

void TestListCatalogue::recounts()
{
    const Setup setup;
    setup.folder.execute(QStringLiteral("insert into email (email) values ('x@y.example')"),
                         setup.leads);
    QCOMPARE(storeRecipientCount(setup.folder.folder(), setup.leads), 2);
    QCOMPARE(setup.folder.rows(QStringLiteral("select rec_count, update_time = date() from mlist")),
             (QStringList{QStringLiteral("2|1"), QStringLiteral("0|null")}));
}

QTEST_GUILESS_MAIN(TestListCatalogue)
#include "tst_listcatalogue.moc"
