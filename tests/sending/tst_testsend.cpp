#include "fakes.h"
#include "frmsend.h"
#include "window.h"

#include <QLabel>

using namespace Qt::StringLiterals;

const QString address = u"me@localhost"_s;

class TestTestSend final : public QObject
{
    Q_OBJECT

    void sendTo(const QString &typed) const
    {
        type(m_window, "txtEmail", typed);
        press(m_window, "cmdSend");
    }
    QString status() const { return child<QLabel>(m_window, "lbStatus")->text(); }
    /// Shows the window and does `acts` in it; true when it had been left by itself.
    bool use(const std::function<void()> &acts)
    {
        bool isLeft = false;
        const WhenShown<frmSend> shown([&](frmSend &) {
            acts();
            isLeft = !m_window.isVisible();
            m_window.hide();
        });
        m_window.sendTest(1, m_mail);
        return isLeft;
    }

    TestFolder m_folder;
    FakeSettings m_settings;
    ScriptedOperator m_op;
    FakeSendMail m_mail;
    frmSend m_window{m_folder.folder(), m_settings, m_op,
                     [this] { m_settings.values.smtpServer = u"mail.example.org"_s; }};

private slots:
    void refuses()
    {
        m_folder.addMessage("News", "Hi %%FIRSTNAME%%");
        m_folder.execute("update mmsg set attach02='/tmp'");
        const std::pair<QString, QString> refusals[] = {
            {{}, u"Please enter email address !"_s},
            {u"h"_s, u"\"h\" is not an email address. Enter one like name@example.org."_s},
            {address,
             u"Please enter the SMTP server address in the Option window and send again !"_s},
            {address, u"Attachment not found : /tmp !"_s}};
        for (const auto &[typed, why] : refusals) {
            QVERIFY(!use([&] { sendTo(typed); }));
            QCOMPARE(m_op.told.last(), u'|' + why);
        }
        QCOMPARE(m_mail.calls, QStringList());
    }

    void sendsAsStored()
    {
        const QString file = m_folder.file("sys.mdb");
        m_settings.values.account = u"ann"_s;
        for (const auto &[format, isHtml] :
             {std::pair("'TEXT'", false), {"'text'", true}, {"null", true}}) {
            m_folder.execute(u"update mmsg set format=%1, attach01='%2', attach02='', "
                             "attach03='%2'"_s.arg(QLatin1String(format), file));
            QVERIFY(use([this] { sendTo(address); }));
            QVERIFY2(m_mail.HtmlBody == isHtml, format);
            QCOMPARE(m_mail.Authenticate, m_settings.values.requireLogon);
            QCOMPARE(m_mail.UserName, isHtml ? u"ann"_s : QString());
            m_settings.values.requireLogon = true;
        }
        QCOMPARE(m_mail.Recipient + m_mail.Host + m_mail.SenderName + m_mail.Body +
                     m_mail.Attachments,
                 address + u"mail.example.orgThe ClubHi %%FIRSTNAME%%"_s + file + u';' + file);
        QCOMPARE(m_op.told.last(), u"|Send success !"_s);
        QVERIFY(use([this] { press(m_window, "cmdCancel"); })); // begun anew
        QCOMPARE(status(), QString());
        QCOMPARE(m_mail.calls.join(u' '), u"Send Disconnect "_s.repeated(3).trimmed());
    }

    /// A failure keeps the window; what became of the message stays in it.
    void tellsTheOutcome()
    {
        m_mail.whileSending = [&](const QString &) {
            emit m_mail.Status(u"<b>Connecting"_s);
            QCOMPARE(status(), u"<b>Connecting"_s);
            QEvent quit(QEvent::Quit); // put off until the end
            QApplication::sendEvent(qApp, &quit);
            QTest::keyClick(&m_window, Qt::Key_Escape);
            press(m_window, "cmdCancel");
            QVERIFY(m_window.isVisible());
        };
        m_mail.failures[address] = u"550 \"No\" "_s + QString(400, u'x');
        QVERIFY(!use([this] { sendTo(address); }));
        QCOMPARE(m_op.told.last(), u"|550 No "_s + QString(248, u'x'));
        m_mail.failures.clear();
        m_mail.whileSending = [](const QString &) { throw std::runtime_error("It broke"); };
        QVERIFY(!use([this] { sendTo(address); }));
        QCOMPARE(m_op.told.last(), u"|It broke"_s);
        m_mail.whileSending = nullptr;
        QVERIFY(use([this] {
            QTest::keyClick(&m_window, Qt::Key_Escape);
            QVERIFY(m_window.isVisible());
            // The component's farewell comes after the outcome, and is not it.
            connect(&m_mail, &SendMail::SendSuccesful, &m_window,
                    [this] { emit m_mail.Status(u"Disconnected"_s); });
            sendTo(address);
        }));
        QCOMPARE(status(), u"Send Success !"_s);
        m_folder.execute("delete from mmsg");
        m_window.sendTest(1, m_mail);
        QVERIFY(m_op.told.last().endsWith(u"There is no message 1."_s));
    }
};

QTEST_MAIN(TestTestSend)
#include "tst_testsend.moc"
