#include "fakes.h"
#include "maillistpanel.h"
#include "testfolder.h"

#include <QComboBox>
#include <QLineEdit>
#include <QTableView>
#include <QTest>
#include <QToolButton>

/// The Maillist tab by itself; in place of the main window, a test loads the list when asked.
class TestMaillistPanel final : public QObject
{
    Q_OBJECT

private slots:
    void searchesAsTyped();
    void brokenSearchIsTold();
};

namespace
{

struct Person {
    TestFolder folder;
    QString list = folder.folder().listConnectionString(folder.addList(
        QStringLiteral("L"), {QStringLiteral("'b@x.org','Bob'"), QStringLiteral("'a@x.org','Ann'"),
                              QStringLiteral("'c@x.org','Annika'")}));
    ScriptedOperator op;
    MaillistPanel panel{op};
    QComboBox *search = panel.findChild<QComboBox *>(QStringLiteral("combSearch"));
    QComboBox *sort = panel.findChild<QComboBox *>(QStringLiteral("combSort"));
    QLineEdit *text = panel.findChild<QLineEdit *>(QStringLiteral("txtSEmail"));
    QTableView *grid = panel.findChild<QTableView *>(QStringLiteral("DataGrid1"));

    Person()
    {
        QObject::connect(&panel, &MaillistPanel::refreshRequested, &panel,
                         [this] { panel.Load_db(list); });
        panel.Load_db(list);
        panel.show();
    }
    QString names() const
    {
        QStringList result;
        for (int row = 0; row < grid->model()->rowCount(); ++row)
            result += grid->model()->index(row, 1).data().toString();
        return result.join(QLatin1Char(' '));
    }
};

} // namespace

void TestMaillistPanel::searchesAsTyped()
{
    Person person;
    QCOMPARE(person.names(), QStringLiteral("Bob Ann Annika"));
    QTest::keyClicks(person.search, QStringLiteral("First"));
    QTest::keyClicks(person.text, QStringLiteral("ann"));
    QCOMPARE(person.names(), QStringLiteral("Bob Ann Annika")); // nothing was asked for yet
    QTest::keyClick(person.text, Qt::Key_Return);
    QCOMPARE(person.names(), QStringLiteral("Ann Annika"));
    person.sort->setCurrentText(QStringLiteral("Email"));
    person.search->setCurrentIndex(0);
    QTest::mouseClick(person.panel.findChild<QToolButton *>(QStringLiteral("cmdRefList")),
                      Qt::LeftButton);
    QCOMPARE(person.names(), QStringLiteral("Ann Bob Annika"));
    QCOMPARE(person.panel.shown().listConnectionString, person.list);
    QCOMPARE(person.panel.shown().query.sortField, 1);
    person.panel.resetSearch();
    person.panel.Load_db(person.list);
    QCOMPARE(person.names(), QStringLiteral("Bob Ann Annika"));
    QVERIFY(person.text->text().isEmpty());
}

void TestMaillistPanel::brokenSearchIsTold()
{
    Person person;
    person.search->setCurrentIndex(3);
    QTest::keyClicks(person.text, QStringLiteral("O'Brien\r"));
    QCOMPARE(person.op.told, QStringList{QStringLiteral("|near \"Brien\": syntax error")});
    QCOMPARE(person.names(), QStringLiteral("Bob Ann Annika"));
    QCOMPARE(person.panel.shown().query.searchField, 0); // an export follows what is on screen
}

QTEST_MAIN(TestMaillistPanel)
#include "tst_maillistpanel.moc"
