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

    /// The listed messages, from the top, the selected one in brackets.
    QString rows() const
    {
        QStringList result;
        for (int row = 0; row < m_list->count(); ++row)
            result += QString(row == m_list->selectedRow() ? u"[%1]"_s : u"%1"_s)
                          .arg(m_list->row(row).cells.join(u'|'));
        return result.join(u' ');
    }
    QString search(int field, const TestText &text) const
    {
        child<QComboBox>(*m_window, "combType")->setCurrentIndex(field);
        type(*m_window, "txtSearch", text);
        press(*m_window, "cmdSearch");
        return rows();
    }

    TestFolder m_folder;
    ScriptedOperator m_op;
    QStringList m_commands;
    std::unique_ptr<frmMgrMsg> m_window;
    SortableList *m_list = nullptr;

private slots:
    void findsMakesAndDeletes()
    {
        m_folder.addMessage("O'Brien's 50%", "Hello");
        m_folder.addMessage("Offer", "Hello");
        m_folder.execute(
            "update mmsg set sendername='Ann', encode='e', priority='p', "
            "replyemail='r', attach01='/1', attach02='/2', attach03='/3' where msgid=2");
        const auto command = [this](const QString &name) {
            m_commands += name;
            m_folder.execute("update mmsg set subject='Zebra' where msgid=2");
            m_folder.addMessage("New", {});
            return true;
        };
        m_window = std::make_unique<frmMgrMsg>(
            m_folder.folder(), m_op,
            MessageCommands{
                .isInUse =
                    [](Connection &system, qint64 number) {
                        return system.number(
                                   u"select count(*) from mjob where msgid=%1"_s.arg(number)) > 0;
                    },
                .create = [=] { return command(u"new"_s); },
                .edit = [=](qint64, const QString &caption) { return command(caption); },
                .sendTest = [this](qint64 number) { m_commands += u"send %1"_s.arg(number); },
                .findJobs = [this](qint64 number) { m_commands += u"find %1"_s.arg(number); }});
        m_list = child<SortableList>(*m_window, "ListView1");
        m_window->show();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        QCOMPARE(search(0, "o'b"), u"O'Brien's 50%|1|The Club"_s);
        QCOMPARE(search(1, "o'b"), QString());
        QCOMPARE(search(1, "CLUB"), u"O'Brien's 50%|1|The Club"_s);
        for (const char *key : {"Copy", "Properties", "Delete", "MAILLIST", "Search"})
            press(*m_window, key); // nothing is selected
        QCOMPARE(search(0, {}), u"Offer|2|Ann O'Brien's 50%|1|The Club"_s);
        m_list->selectRow(0);
        press(*m_window, "Copy");
        QCOMPARE(rows(), u"[Copy of Offer|3|Ann] Offer|2|Ann O'Brien's 50%|1|The Club"_s);
        const QStringList copies = m_folder.rows(
            "select sendername, senderemail, format, replyemail, encode, priority, attach01, "
            "attach02, attach03, source from mmsg where msgid > 1");
        QCOMPARE(copies[1], copies[0]);
        // An edited one changes where it stands; the list is not read again.
        m_list->selectRow(1);
        press(*m_window, "Properties");
        QCOMPARE(rows(), u"Copy of Offer|3|Ann [Zebra|2|Ann] O'Brien's 50%|1|The Club"_s);
        m_folder.addJob("Spring", 1, 2);
        m_op.answers = std::queue<bool>({true, false, true});
        press(*m_window, "Delete");
        QCOMPARE(m_op.told, QStringList(u"Email Manager|You cannot delete this email, becase it is "
                                        "being used in other jobs !"_s));
        m_list->selectRow(2);
        press(*m_window, "Delete");
        press(*m_window, "Search");
        press(*m_window, "MAILLIST");
        press(*m_window, "Delete");
        QCOMPARE(rows(), u"Copy of Offer|3|Ann Zebra|2|Ann"_s);
        QCOMPARE(m_op.asked.last(), u"Delete |Delete : O'Brien's 50%"_s);
        press(*m_window, "New");
        QVERIFY(rows().startsWith(u"[New|5|The Club] New|4|The Club"_s));
        QCOMPARE(m_folder.row("select group_concat(msgid) from mmsg"), u"2,3,4,5"_s);
        QCOMPARE(m_commands.join(u'|'), u"Edit Email [ 2-Offer ]|find 1|send 1|new"_s);
    }

    void storesLongBodies()
    {
        for (QString body : {QString(10 * 1024 * 1024, u'\''), QString(u"a\0b\u2028"_s)}) {
            JobMessage message;
            message.body = body;
            const qint64 number = insertMessage(m_folder.folder(), message);
            Connection system(m_folder.folder().systemConnectionString());
            QVERIFY(loadMessage(system, number).body == body.remove(QChar::Null));
        }
    }
};

QTEST_MAIN(TestMgrMsg)
#include "tst_mgrmsg.moc"
