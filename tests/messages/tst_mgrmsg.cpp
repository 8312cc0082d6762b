#include "connection.h"
#include "fakes.h"
#include "frmmgrmsg.h"
#include "sortablelist.h"
#include "window.h"

#include <QComboBox>

using namespace Qt::StringLiterals;

/// What is of messages alone; the catalogue's window itself is tested with the lists.
class TestMgrMsg final : public QObject
{
    Q_OBJECT

private slots:
    void findsMakesAndDeletes()
    {
        const TestFolder folder;
        ScriptedOperator op;
        QStringList commands;
        folder.addMessage("O'Brien's 50%", "Hello");
        folder.addMessage("Offer", "Hello");
        folder.execute("update mmsg set sendername='Ann', encode='e', priority='p', "
                       "replyemail='r', attach01='/1', attach02='/2', attach03='/3' where msgid=2");
        const auto command = [&](const QString &name) {
            commands += name;
            folder.execute("update mmsg set subject='Zebra' where msgid=2");
            folder.addMessage("New", {});
            return true;
        };
        frmMgrMsg window(
            folder.folder(), op,
            {[](Connection &system, qint64 number) {
                 return system.number(u"select count(*) from mjob where msgid=%1"_s.arg(number)) >
                        0;
             },
             [&] { return command(u"new"_s); },
             [&](qint64, const QString &caption) { return command(caption); },
             [&](qint64 number) { commands += u"send %1"_s.arg(number); },
             [&](qint64 number) { commands += u"find %1"_s.arg(number); }});
        auto *list = child<SortableList>(window, "ListView1");
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        // The listed messages, from the top, the selected one in brackets.
        const auto rows = [list] {
            QStringList result;
            for (int row = 0; row < list->count(); ++row)
                result += QString(row == list->selectedRow() ? u"[%1]"_s : u"%1"_s)
                              .arg(list->row(row).cells.join(u'|'));
            return result.join(u' ');
        };
        const auto search = [&](int field, const TestText &text) {
            child<QComboBox>(window, "combType")->setCurrentIndex(field);
            type(window, "txtSearch", text);
            press(window, "cmdSearch");
            return rows();
        };
        QCOMPARE(search(0, "o'b"), u"O'Brien's 50%|1|The Club"_s);
        QCOMPARE(search(1, "CLUB"), u"O'Brien's 50%|1|The Club"_s);
        for (const char *key : {"Copy", "Properties", "Delete", "MAILLIST", "Search"})
            press(window, key); // nothing is selected
        QCOMPARE(search(0, {}), u"Offer|2|Ann O'Brien's 50%|1|The Club"_s);
        list->selectRow(0);
        press(window, "Copy");
        QCOMPARE(rows(), u"[Copy of Offer|3|Ann] Offer|2|Ann O'Brien's 50%|1|The Club"_s);
        const QStringList copies = folder.rows(
            "select sendername, senderemail, format, replyemail, encode, priority, attach01, "
            "attach02, attach03, source from mmsg where msgid > 1");
        QCOMPARE(copies[1], copies[0]);
        // An edited one changes where it stands; the list is not read again.
        list->selectRow(1);
        press(window, "Properties");
        QCOMPARE(rows(), u"Copy of Offer|3|Ann [Zebra|2|Ann] O'Brien's 50%|1|The Club"_s);
        folder.addJob("Spring", 1, 2);
        op.answers = std::queue<bool>({true, false, true});
        press(window, "Delete");
        QCOMPARE(op.told, QStringList(u"Email Manager|You cannot delete this email, becase it is "
                                      "being used in other jobs !"_s));
        list->selectRow(2);
        press(window, "Delete");
        press(window, "Search");
        press(window, "MAILLIST");
        press(window, "Delete");
        QCOMPARE(rows(), u"Copy of Offer|3|Ann Zebra|2|Ann"_s);
        QCOMPARE(op.asked.last(), u"Delete |Delete : O'Brien's 50%"_s);
        press(window, "New");
        QVERIFY(rows().startsWith(u"[New|5|The Club] New|4|The Club"_s));
        QCOMPARE(folder.row("select group_concat(msgid) from mmsg"), u"2,3,4,5"_s);
        QCOMPARE(commands.join(u'|'), u"Edit Email [ 2-Offer ]|find 1|send 1|new"_s);
    }
};

QTEST_MAIN(TestMgrMsg)
#include "tst_mgrmsg.moc"
