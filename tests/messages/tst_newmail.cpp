#include "frmnewmail.h"

#include "fakes.h"
#include "recordinghtmlview.h"
#include "testfiles.h"
#include "testfolder.h"
#include "window.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QIcon>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QTabBar>
#include <QTest>

using namespace Qt::StringLiterals;

class TestNewMail final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void createsAMessage();
    void checksInOrder();
    void editsAMessage();
    void showsWhatIsStored_data();
    void showsWhatIsStored();
    void leavingStoresNothing();
    void tabGoesFromTheSubjectToTheBody();
    void failedSaveKeepsEverything();
    void failedLoadOpensNothing();
    void nextMessageMeetsTheEditor();
    void previewsHtml();
    void previewThatIsNone();
    void browsesForAttachments();
    void importsAFile();
    void importsFromTheWeb();

private:
    template <typename T>
    T *box(const char *name) const
    {
        return m_window->findChild<T *>(QLatin1String(name));
    }
    void press(const char *button) const
    {
        QTest::mouseClick(box<QPushButton>(button), Qt::LeftButton);
    }
    void choose(int tab) const
    {
        auto *tabs = box<QTabBar>("TabStrip1");
        QTest::mouseClick(tabs, Qt::LeftButton, {}, tabs->tabRect(tab).center());
    }
    void type(const char *name, const TestText &text) const
    {
        box<QLineEdit>(name)->selectAll();
        QTest::keyClicks(box<QLineEdit>(name), text);
    }
    void setFormat(const char *format) const
    {
        auto *combo = box<QComboBox>("combFormat");
        combo->setFocus();
        QTest::keyClick(combo, QLatin1String(format) == "HTML"_L1 ? Qt::Key_Home : Qt::Key_End);
    }
    QString frame() const { return box<QStackedWidget>("frames")->currentWidget()->objectName(); }
    QPlainTextEdit *source() const { return box<QPlainTextEdit>("txtSource"); }
    QString body() const { return source()->toPlainText(); }
    void write(const TestText &text) const { QTest::keyClicks(source(), text); }
    QString text(const char *name) const { return box<QLineEdit>(name)->text(); }
    QString format() const { return box<QComboBox>("combFormat")->currentText(); }
    QString caption() const { return box<QPushButton>("cmdOK")->text().remove(u'&'); }
    bool marksAttachments() const { return !box<QTabBar>("TabStrip1")->tabIcon(2).isNull(); }
    void fillIn() const
    {
        type("txtSendername", "The Club");
        type("txtSendermail", "club@example.org");
        type("txtSubject", "News");
    }
    QStringList messages(const char *columns) const
    {
        return m_folder->rows(u"select %1 from mmsg"_s.arg(QLatin1String(columns)));
    }
    QByteArray page() const { return readFile(m_folder->file("source.htm")); }
    /// Does `steps` while the window is open; what is open then is cancelled. Returns what `show`
    /// returned.
    bool during(const std::function<bool()> &show, const std::function<void()> &steps) const
    {
        const WhenShown<frmNewMail> person([&](frmNewMail &window) {
            QVERIFY(QTest::qWaitForWindowActive(&window));
            steps();
            if (window.isVisible())
                press("cmdCancel");
        });
        return show();
    }
    bool create(const std::function<void()> &steps) const
    {
        return during([this] { return m_window->createMessage(); }, steps);
    }
    bool edit(qint64 msgid, const std::function<void()> &steps) const
    {
        return during([this, msgid] { return m_window->editMessage(msgid); }, steps);
    }

    std::unique_ptr<TestFolder> m_folder;
    std::unique_ptr<ScriptedOperator> m_op;
    RecordingHtmlView *m_view = nullptr;
    std::optional<QString> m_fetched;
    std::unique_ptr<frmNewMail> m_window;
};

void TestNewMail::initTestCase()
{
    // The platform without a screen has no theme of its own.
    QIcon::setThemeSearchPaths({u"/usr/share/icons"_s});
    QIcon::setThemeName(u"breeze"_s);
}

void TestNewMail::init()
{
    m_folder = std::make_unique<TestFolder>();
    m_op = std::make_unique<ScriptedOperator>();
    m_view = nullptr;
    m_fetched = {};
    m_window =
        std::make_unique<frmNewMail>(m_folder->folder(), *m_op, RecordingHtmlView::factory(m_view),
                                     [this] { return m_fetched; });
}

void TestNewMail::cleanup()
{
    m_window.reset();
    m_op.reset();
    m_folder.reset();
}

void TestNewMail::createsAMessage()
{
    m_op->files.push(u"/tmp/it's.pdf"_s);
    QVERIFY(create([this] {
        QCOMPARE(m_window->windowTitle(), u"Create Email"_s);
        QCOMPARE(caption(), u"Create"_s);
        QCOMPARE(format(), u"TEXT"_s);
        QVERIFY(box<QLineEdit>("txtSendername")->hasFocus());
        type("txtSendername", "O'Brien");
        type("txtSendermail", "o'brien@example.org");
        type("txtReplymail", "nobody");
        type("txtSubject", "Bob's \"%1\" news");
        choose(2);
        QCOMPARE(frame(), u"fmAttachment"_s);
        press("cmdAtt03");
        choose(0);
        write("It's");
        QTest::keyClick(source(), Qt::Key_Return);
        press("cmdOK");
        QVERIFY(!m_window->isVisible());
    }));
    QCOMPARE(messages("sendername, senderemail, replyemail, subject, format, attach01, attach02, "
                      "attach03, source"),
             QStringList{u"O'Brien|o'brien@example.org|nobody|Bob's \"%1\" news|TEXT"
                         "|||/tmp/it's.pdf|It's\r\n"_s});

    // The next one begins empty, a message of its own with the same subject.
    QVERIFY(create([this] {
        for (const char *name :
             {"txtSendername", "txtSendermail", "txtReplymail", "txtSubject", "txtAtt03"})
            QCOMPARE(text(name), QString());
        QCOMPARE(body(), QString());
        QVERIFY(!marksAttachments());
        fillIn();
        type("txtSubject", "Bob's \"%1\" news");
        setFormat("HTML");
        press("cmdOK");
    }));
    QCOMPARE(messages("msgid, format"), QStringList({u"1|TEXT"_s, u"2|HTML"_s}));
}

void TestNewMail::checksInOrder()
{
    create([this] {
        const auto refused = [this](const char *message, const char *box) {
            m_op->told.clear();
            press("cmdOK");
            QCOMPARE(m_op->told, QStringList{u"Email Manager|"_s + QLatin1String(message)});
            QVERIFY(this->box<QLineEdit>(box)->hasFocus());
        };
        refused("Subject cannot be empty !", "txtSubject");
        type("txtSubject", "News");
        refused("Sender Name cannot be empty !", "txtSendername");
        type("txtSendername", "Club");
        refused("Sender Email cannot be empty !", "txtSendermail");
        type("txtSendermail", "club.example.org");
        refused("Invalid Sender Email !", "txtSendermail");
    });
    QCOMPARE(messages("*"), QStringList());
}

void TestNewMail::editsAMessage()
{
    const qint64 other = m_folder->addMessage("Other", "x");
    const qint64 message = m_folder->addMessage("News", "a\nb");
    m_folder->execute("update mmsg set encode='e', priority='p', replyemail='r', attach01='/a'");
    QVERIFY(during([&] { return m_window->editMessage(message, u"Edit Email [ 2-News ]"_s); },
                   [this] {
                       QCOMPARE(m_window->windowTitle(), u"Edit Email [ 2-News ]"_s);
                       QCOMPARE(caption(), u"Save"_s);
                       type("txtSubject", "It's new");
                       type("txtSendermail", "o'brien@example.org");
                       box<QLineEdit>("txtReplymail")->clear();
                       type("txtAtt02", "/b'1");
                       press("cmdOK");
                   }));
    QCOMPARE(
        messages("msgid, subject, sendername, senderemail, replyemail, format, encode, priority, "
                 "attach01, attach02, attach03, source"),
        QStringList(
            {u"%1|Other|The Club|club@example.org|r|TEXT|e|p|/a|null|null|x"_s.arg(other),
             u"%1|It's new|The Club|o'brien@example.org||TEXT|e|p|/a|/b'1||a\nb"_s.arg(message)}));
    edit(message, [this] { QCOMPARE(m_window->windowTitle(), u"Edit Email"_s); });
}

void TestNewMail::showsWhatIsStored_data()
{
    QTest::addColumn<QString>("set");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<bool>("hasAttachment");
    const auto row = [](const char *set, const char *format, bool hasAttachment) {
        QTest::newRow(set) << set << format << hasAttachment;
    };
    row("format='TEXT'", "TEXT", false);
    row("format=null, source=null, subject=null", "HTML", false);
    row("format='text'", "HTML", false);
    row("attach03='/a'", "TEXT", true);
}

void TestNewMail::showsWhatIsStored()
{
    QFETCH(QString, set);
    QFETCH(QString, shown);
    QFETCH(bool, hasAttachment);

    const qint64 message = m_folder->addMessage("News", "body");
    m_folder->execute(u"update mmsg set "_s + set);
    edit(message, [&] {
        QCOMPARE(format(), shown);
        QCOMPARE(frame(), u"fmSource"_s);
        QCOMPARE(marksAttachments(), hasAttachment);
        QCOMPARE(!m_view->shown.isEmpty(), shown == "HTML"_L1);
        QCOMPARE(body(), set.contains("source"_L1) ? QString() : u"body"_s);
    });
}

void TestNewMail::leavingStoresNothing()
{
    for (const bool closes : {false, true}) {
        QVERIFY(!create([&] {
            fillIn();
            // Neither of these keys leaves the window.
            QTest::keyClick(box<QLineEdit>("txtSubject"), Qt::Key_Return);
            QTest::keyClick(source(), Qt::Key_Escape);
            QVERIFY(m_window->isVisible());
            QCOMPARE(text("txtSubject"), u"News"_s);
            closes ? void(m_window->close()) : press("cmdCancel");
            QVERIFY(!m_window->isVisible());
        }));
    }
    QCOMPARE(messages("*"), QStringList());
}

void TestNewMail::tabGoesFromTheSubjectToTheBody()
{
    create([this] {
        box<QLineEdit>("txtSubject")->setFocus();
        QTest::keyClick(box<QLineEdit>("txtSubject"), Qt::Key_Tab);
        QVERIFY(source()->hasFocus());
        QTest::keyClick(source(), Qt::Key_Tab, Qt::ControlModifier);
        QCOMPARE(body(), u"\t"_s);
        QTest::keyClick(source(), Qt::Key_Tab);
        QVERIFY(box<QPushButton>("cmdOK")->hasFocus());
    });
}

void TestNewMail::failedSaveKeepsEverything()
{
    m_folder->refuse("update on mmsg");
    QVERIFY(create([this] {
        fillIn();
        write("body");
        press("cmdOK");
        QCOMPARE(m_op->told.size(), 1);
        QVERIFY(m_op->told[0].startsWith(u"Error|Error # "_s));
        QVERIFY(m_op->told[0].endsWith(u" was generated by SQLite\rno room"_s));
        QVERIFY(m_window->isVisible());
        QCOMPARE(body(), u"body"_s);
        QCOMPARE(messages("*"), QStringList());
        m_folder->allow("update on mmsg");
        press("cmdOK");
    }));
    QCOMPARE(messages("subject, source"), QStringList{u"News|body"_s});

    QVERIFY(!edit(1, [this] {
        m_folder->execute("delete from mmsg");
        press("cmdOK");
        QVERIFY(m_window->isVisible());
        QVERIFY(m_op->told.last().endsWith(u"There is no message 1 any more."_s));
    }));
}

void TestNewMail::failedLoadOpensNothing()
{
    QVERIFY(!m_window->editMessage(9));
    QCOMPARE(m_op->told, QStringList{u"Error|Get_Msg :  Error # 0 was generated by "
                                     "Quillbright\rThere is no message 9."_s});
}

/// With its history, and without its dialog.
void TestNewMail::nextMessageMeetsTheEditor()
{
    create([this] {
        write("ab");
        QTest::keyClick(source(), Qt::Key_F, Qt::ControlModifier);
        QVERIFY(box<QDialog>("FindReplaceDialog")->isVisible());
        press("cmdCancel");
        QVERIFY(!box<QDialog>("FindReplaceDialog")->isVisible());
    });
    create([this] {
        QTest::keyClick(source(), Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(body(), u"ab"_s);
    });
}

void TestNewMail::previewsHtml()
{
    const QString body = u"<b>%%FIRSTNAME%%</b>\r\n\u20ac"_s;
    const qint64 message = m_folder->addMessage("News", body, u"HTML"_s);
    edit(message, [this, body] {
        const QString path = m_folder->file("source.htm");
        QCOMPARE(m_view->shown, QStringList{path});
        QCOMPARE(page(), "\xef\xbb\xbf" + body.toUtf8() + "\r\n");
        write("x");
        choose(1);
        QCOMPARE(frame(), u"fmPreview"_s);
        QVERIFY(m_view->isVisible());
        QCOMPARE(m_view->objectName(), u"WebBrowser1"_s);
        QCOMPARE(m_view->shown, QStringList({path, path}));
        QVERIFY(page().contains("x<b>"));
        setFormat("TEXT");
        QCOMPARE(frame(), u"fmSource"_s);
        setFormat("HTML");
        QCOMPARE(frame(), u"fmPreview"_s);
        choose(2);
        QCOMPARE(frame(), u"fmAttachment"_s);
        choose(0);
        QCOMPARE(frame(), u"fmSource"_s);
    });
}

void TestNewMail::previewThatIsNone()
{
    create([this] {
        write("text");
        choose(1);
        QCOMPARE(frame(), u"fmSource"_s); // that of a text is the text
        QVERIFY(source()->isVisible());
        QVERIFY(m_view->shown.isEmpty());
        QCOMPARE(page(), "none");
        QVERIFY(QDir().mkdir(m_folder->file("source.htm")));
        setFormat("HTML");
        QCOMPARE(m_op->told.size(), 1);
        QVERIFY(m_op->told[0].startsWith(
            u"Error|Error # 0 was generated by File system\rCannot write "_s));
    });
}

void TestNewMail::browsesForAttachments()
{
    m_op->files = std::queue<QString>({u"/a"_s, u"/b"_s, {}});
    create([this] {
        choose(2);
        press("cmdAtt01");
        QVERIFY(marksAttachments());
        press("cmdAtt02");
        type("txtAtt03", "typed");
        press("cmdAtt03");
        QCOMPARE(text("txtAtt01"), u"/a"_s);
        QCOMPARE(text("txtAtt02"), u"/b"_s);
        QCOMPARE(text("txtAtt03"), u"typed"_s);
    });
    const QString rest = u"|All(*.*)|*.*|"_s + m_folder->folder().path();
    QCOMPARE(m_op->asked, QStringList({u"Attachement 1"_s + rest, u"Attachement 2"_s + rest,
                                       u"Attachement 3"_s + rest}));
}

void TestNewMail::importsAFile()
{
    const QString path = writeFile(m_folder->file("page.htm"), "<b>\nx");
    m_op->files = std::queue<QString>({path, {}, m_folder->folder().path(), path});
    QVERIFY(create([this] {
        fillIn();
        press("cmdOpen");
        QCOMPARE(body(), u"<b>\nx\n"_s);
        QCOMPARE(format(), u"TEXT"_s);
        box<QAction>("Open")->trigger(); // cancelled
        QVERIFY(m_op->told.isEmpty());
        box<QAction>("Open")->trigger(); // a folder
        QCOMPARE(m_op->told.size(), 1);
        QVERIFY2(m_op->told[0].startsWith(u"Error|Error # 0"_s), qPrintable(m_op->told[0]));
        press("cmdOK");
    }));
    // Imported while the preview is up, it is what the preview shows.
    create([this] {
        box<QComboBox>("combFormat")->setCurrentText(u"HTML"_s);
        box<QTabBar>("TabStrip1")->setCurrentIndex(1);
        press("cmdOpen");
        QVERIFY(page().contains("<b>\r\nx"));
        QCOMPARE(m_view->shown.size(), 2);
    });
    QCOMPARE(m_op->asked[0], u"Open File|TXT/HTM (*.txt;*.htm;*.html)|"
                             "*.txt;*.htm;*.html|"_s);
    QCOMPARE(messages("format, source"), QStringList{u"TEXT|<b>\r\nx\r\n"_s});
}

void TestNewMail::importsFromTheWeb()
{
    create([this] {
        write("typed");
        press("cmdWeb"); // cancelled
        QCOMPARE(body(), u"typed"_s);
        QCOMPARE(format(), u"TEXT"_s);
        QVERIFY(m_view->shown.isEmpty());
        m_fetched = u"<i>web</i>"_s;
        press("cmdWeb");
        QCOMPARE(body(), u"<i>web</i>"_s);
        QCOMPARE(format(), u"HTML"_s);
        QVERIFY(page().contains("<i>web</i>"));
        QCOMPARE(m_view->shown.size(), 1);
        m_fetched = QString();
        box<QAction>("OpenWeb")->trigger();
        QCOMPARE(body(), QString());
    });
}

QTEST_MAIN(TestNewMail)
#include "tst_newmail.moc"
