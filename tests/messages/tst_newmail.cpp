#include "frmnewmail.h"

#include "fakes.h"
#include "recordinghtmlview.h"
#include "testfolder.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QIcon>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSettings>
#include <QStackedWidget>
#include <QTabBar>
#include <QTest>
#include <QTimer>

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
    void cancelStoresNothing_data();
    void cancelStoresNothing();
    void tabGoesFromTheSubjectToTheBody();
    void escapeAndReturnKeepTheWindow();
    void failedSaveKeepsEverything();
    void failedLoadOpensNothing();
    void keepsTheHistoryOverMessages();
    void previewsHtml();
    void previewOfTextIsTheText();
    void tellsThatThePreviewCannotBeWritten();
    void browsesForAttachments();
    void importsAFile();
    void importsFromTheWeb();
    void closesFind();

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
    void type(const char *name, const QString &text) const
    {
        box<QLineEdit>(name)->selectAll();
        QTest::keyClicks(box<QLineEdit>(name), text);
    }
    void setFormat(const char *format) const
    {
        auto *combo = box<QComboBox>("combFormat");
        combo->setFocus();
        QTest::keyClick(combo, QLatin1String(format) == QLatin1String("HTML") ? Qt::Key_Home
                                                                              : Qt::Key_End);
    }
    QString frame() const { return box<QStackedWidget>("frames")->currentWidget()->objectName(); }
    QPlainTextEdit *source() const { return box<QPlainTextEdit>("txtSource"); }
    void fillIn() const;
    QStringList messages(const char *columns) const
    {
        return m_folder->rows(QStringLiteral("select %1 from mmsg").arg(QLatin1String(columns)));
    }
    QByteArray page() const;
    /// Does `steps` while the window is open; what is open then is cancelled. Returns what `show`
    /// returned.
    bool during(const std::function<bool()> &show, const std::function<void()> &steps) const;
    bool create(const std::function<void()> &steps) const
    {
        return during([this] { return m_window->createMessage(); }, steps);
    }
    bool edit(qint64 msgid, const std::function<void()> &steps) const
    {
        return during([this, msgid] { return m_window->editMessage(msgid); }, steps);
    }

    QTemporaryDir m_config;
    std::unique_ptr<TestFolder> m_folder;
    std::unique_ptr<ScriptedOperator> m_op;
    RecordingHtmlView *m_view = nullptr;
    std::optional<QString> m_fetched;
    std::unique_ptr<frmNewMail> m_window;
};

void TestNewMail::initTestCase()
{
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_config.path());
    // The platform without a screen has no theme of its own.
    QIcon::setThemeSearchPaths({QStringLiteral("/usr/share/icons")});
    QIcon::setThemeName(QStringLiteral("breeze"));
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

bool TestNewMail::during(const std::function<bool()> &show,
                         const std::function<void()> &steps) const
{
    bool wasOpen = false;
    QTimer::singleShot(0, m_window.get(), [&] {
        wasOpen = QTest::qWaitForWindowActive(m_window.get());
        steps();
        if (m_window->isVisible())
            press("cmdCancel");
    });
    const bool result = show();
    if (!wasOpen)
        QTest::qFail("The window did not wait for the person", __FILE__, __LINE__);
    return result;
}

void TestNewMail::fillIn() const
{
    type("txtSendername", QStringLiteral("The Club"));
    type("txtSendermail", QStringLiteral("club@example.org"));
    type("txtSubject", QStringLiteral("News"));
}

QByteArray TestNewMail::page() const
{
    QFile file(m_folder->file(QStringLiteral("source.htm")));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void TestNewMail::createsAMessage()
{
    m_op->files.push(QStringLiteral("/tmp/it's.pdf"));
    QVERIFY(create([this] {
        QCOMPARE(m_window->windowTitle(), QStringLiteral("Create Email"));
        QCOMPARE(box<QPushButton>("cmdOK")->text().remove(QLatin1Char('&')),
                 QStringLiteral("Create"));
        QCOMPARE(box<QComboBox>("combFormat")->currentText(), QStringLiteral("TEXT"));
        QVERIFY(box<QLineEdit>("txtSendername")->hasFocus());
        type("txtSendername", QStringLiteral("O'Brien"));
        type("txtSendermail", QStringLiteral("o'brien@example.org"));
        type("txtReplymail", QStringLiteral("nobody"));
        type("txtSubject", QStringLiteral("Bob's \"%1\" news"));
        choose(2);
        QCOMPARE(frame(), QStringLiteral("fmAttachment"));
        press("cmdAtt03");
        choose(0);
        QTest::keyClicks(source(), QStringLiteral("It's"));
        QTest::keyClick(source(), Qt::Key_Return);
        press("cmdOK");
        QVERIFY(!m_window->isVisible());
    }));
    QCOMPARE(messages("sendername, senderemail, replyemail, subject, format, attach01, attach02, "
                      "attach03, source"),
             QStringList{QStringLiteral("O'Brien|o'brien@example.org|nobody|Bob's \"%1\" news|TEXT"
                                        "|||/tmp/it's.pdf|It's\r\n")});

    // The next one begins empty, a message of its own with the same subject.
    QVERIFY(create([this] {
        for (const char *name :
             {"txtSendername", "txtSendermail", "txtReplymail", "txtSubject", "txtAtt03"})
            QCOMPARE(box<QLineEdit>(name)->text(), QString());
        QCOMPARE(source()->toPlainText(), QString());
        QVERIFY(box<QTabBar>("TabStrip1")->tabIcon(2).isNull());
        fillIn();
        type("txtSubject", QStringLiteral("Bob's \"%1\" news"));
        setFormat("HTML");
        press("cmdOK");
    }));
    QCOMPARE(messages("msgid, format"),
             QStringList({QStringLiteral("1|TEXT"), QStringLiteral("2|HTML")}));
}

void TestNewMail::checksInOrder()
{
    create([this] {
        const auto refused = [this](const char *message, const char *box) {
            m_op->told.clear();
            press("cmdOK");
            QCOMPARE(m_op->told,
                     QStringList{QStringLiteral("Email Manager|") + QLatin1String(message)});
            QVERIFY(this->box<QLineEdit>(box)->hasFocus());
        };
        refused("Subject cannot be empty !", "txtSubject");
        type("txtSubject", QStringLiteral("News"));
        refused("Sender Name cannot be empty !", "txtSendername");
        type("txtSendername", QStringLiteral("Club"));
        refused("Sender Email cannot be empty !", "txtSendermail");
        type("txtSendermail", QStringLiteral("club.example.org"));
        refused("Invalid Sender Email !", "txtSendermail");
    });
    QCOMPARE(messages("*"), QStringList());
}

void TestNewMail::editsAMessage()
{
    const qint64 other = m_folder->addMessage(QStringLiteral("Other"), QStringLiteral("x"));
    const qint64 message = m_folder->addMessage(QStringLiteral("News"), QStringLiteral("a\nb"));
    QVERIFY(during(
        [&] { return m_window->editMessage(message, QStringLiteral("Edit Email [ 2-News ]")); },
        [this] {
            QCOMPARE(m_window->windowTitle(), QStringLiteral("Edit Email [ 2-News ]"));
            QCOMPARE(box<QPushButton>("cmdOK")->text().remove(QLatin1Char('&')),
                     QStringLiteral("Save"));
            type("txtSubject", QStringLiteral("It's new"));
            press("cmdOK");
        }));
    QCOMPARE(messages("msgid, subject, sendername, source"),
             QStringList({QStringLiteral("%1|Other|The Club|x").arg(other),
                          QStringLiteral("%1|It's new|The Club|a\nb").arg(message)}));
    edit(message, [this] { QCOMPARE(m_window->windowTitle(), QStringLiteral("Edit Email")); });
}

void TestNewMail::showsWhatIsStored_data()
{
    QTest::addColumn<QString>("set");
    QTest::addColumn<QString>("format");
    QTest::addColumn<bool>("hasAttachment");
    QTest::newRow("text") << QStringLiteral("format='TEXT'") << QStringLiteral("TEXT") << false;
    QTest::newRow("no format") << QStringLiteral("format=null, source=null, subject=null")
                               << QStringLiteral("HTML") << false;
    QTest::newRow("another format")
        << QStringLiteral("format='text'") << QStringLiteral("HTML") << false;
    QTest::newRow("the third attachment only")
        << QStringLiteral("attach03='/a'") << QStringLiteral("TEXT") << true;
}

void TestNewMail::showsWhatIsStored()
{
    QFETCH(QString, set);
    QFETCH(QString, format);
    QFETCH(bool, hasAttachment);

    const qint64 message = m_folder->addMessage(QStringLiteral("News"), QStringLiteral("body"));
    m_folder->execute(QStringLiteral("update mmsg set ") + set);
    edit(message, [&] {
        QCOMPARE(box<QComboBox>("combFormat")->currentText(), format);
        QCOMPARE(frame(), QStringLiteral("fmSource"));
        QCOMPARE(!box<QTabBar>("TabStrip1")->tabIcon(2).isNull(), hasAttachment);
        QCOMPARE(!m_view->shown.isEmpty(), format == QLatin1String("HTML"));
        QCOMPARE(source()->toPlainText(),
                 set.contains(QLatin1String("source")) ? QString() : QStringLiteral("body"));
    });
}

void TestNewMail::cancelStoresNothing_data()
{
    QTest::addColumn<std::function<void(TestNewMail &)>>("leave");
    using Leave = std::function<void(TestNewMail &)>;
    QTest::newRow("Cancel") << Leave([](TestNewMail &test) { test.press("cmdCancel"); });
    QTest::newRow("closed") << Leave([](TestNewMail &test) { test.m_window->close(); });
}

void TestNewMail::cancelStoresNothing()
{
    QFETCH(std::function<void(TestNewMail &)>, leave);
    QVERIFY(!create([&] {
        fillIn();
        leave(*this);
        QVERIFY(!m_window->isVisible());
    }));
    QCOMPARE(messages("*"), QStringList());
}

void TestNewMail::tabGoesFromTheSubjectToTheBody()
{
    create([this] {
        box<QLineEdit>("txtSubject")->setFocus();
        QTest::keyClick(box<QLineEdit>("txtSubject"), Qt::Key_Tab);
        QVERIFY(source()->hasFocus());
        QTest::keyClick(source(), Qt::Key_Tab, Qt::ControlModifier);
        QCOMPARE(source()->toPlainText(), QStringLiteral("\t"));
        QTest::keyClick(source(), Qt::Key_Tab);
        QVERIFY(box<QPushButton>("cmdOK")->hasFocus());
    });
}

void TestNewMail::escapeAndReturnKeepTheWindow()
{
    QVERIFY(!create([this] {
        fillIn();
        QTest::keyClick(box<QLineEdit>("txtSubject"), Qt::Key_Return);
        QTest::keyClick(source(), Qt::Key_Escape);
        QVERIFY(m_window->isVisible());
        QCOMPARE(box<QLineEdit>("txtSubject")->text(), QStringLiteral("News"));
    }));
    QCOMPARE(messages("*"), QStringList());
}

void TestNewMail::failedSaveKeepsEverything()
{
    m_folder->execute(QStringLiteral("create trigger refuse before update on mmsg begin "
                                     "select raise(abort, 'no more messages'); end"));
    QVERIFY(create([this] {
        fillIn();
        QTest::keyClicks(source(), QStringLiteral("body"));
        press("cmdOK");
        QCOMPARE(m_op->told.size(), 1);
        QVERIFY2(m_op->told[0].startsWith(QStringLiteral("Error|Error # ")),
                 qPrintable(m_op->told[0]));
        QVERIFY(m_op->told[0].contains(QStringLiteral(" was generated by SQLite\r")));
        QVERIFY(m_op->told[0].contains(QStringLiteral("no more messages")));
        QVERIFY(m_window->isVisible());
        QCOMPARE(source()->toPlainText(), QStringLiteral("body"));
        QCOMPARE(messages("*"), QStringList());
        m_folder->execute(QStringLiteral("drop trigger refuse"));
        press("cmdOK");
    }));
    QCOMPARE(messages("subject, source"), QStringList{QStringLiteral("News|body")});

    QVERIFY(!edit(1, [this] {
        m_folder->execute(QStringLiteral("delete from mmsg"));
        press("cmdOK");
        QVERIFY(m_window->isVisible());
        QVERIFY(m_op->told.last().endsWith(QStringLiteral("There is no message 1 any more.")));
    }));
}

void TestNewMail::failedLoadOpensNothing()
{
    QVERIFY(!m_window->editMessage(9));
    QCOMPARE(m_op->told, QStringList{QStringLiteral("Error|Get_Msg :  Error # 0 was generated by "
                                                    "Quillbright\rThere is no message 9.")});
}

void TestNewMail::keepsTheHistoryOverMessages()
{
    create([this] { QTest::keyClicks(source(), QStringLiteral("ab")); });
    create([this] {
        QTest::keyClick(source(), Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(source()->toPlainText(), QStringLiteral("ab"));
    });
}

void TestNewMail::previewsHtml()
{
    const QString body = QStringLiteral("<b>%%FIRSTNAME%%</b>\r\n\u20ac");
    const qint64 message =
        m_folder->addMessage(QStringLiteral("News"), body, QStringLiteral("HTML"));
    edit(message, [this, body] {
        const QString path = m_folder->file(QStringLiteral("source.htm"));
        QCOMPARE(m_view->shown, QStringList{path});
        QCOMPARE(page(), "\xef\xbb\xbf" + body.toUtf8() + "\r\n");
        QTest::keyClicks(source(), QStringLiteral("x"));
        choose(1);
        QCOMPARE(frame(), QStringLiteral("fmPreview"));
        QVERIFY(m_view->isVisible());
        QCOMPARE(m_view->objectName(), QStringLiteral("WebBrowser1"));
        QCOMPARE(m_view->shown, QStringList({path, path}));
        QVERIFY(page().contains("x<b>"));
        setFormat("TEXT");
        QCOMPARE(frame(), QStringLiteral("fmSource"));
        setFormat("HTML");
        QCOMPARE(frame(), QStringLiteral("fmPreview"));
        choose(2);
        QCOMPARE(frame(), QStringLiteral("fmAttachment"));
        choose(0);
        QCOMPARE(frame(), QStringLiteral("fmSource"));
    });
}

void TestNewMail::previewOfTextIsTheText()
{
    create([this] {
        QTest::keyClicks(source(), QStringLiteral("text"));
        choose(1);
        QCOMPARE(frame(), QStringLiteral("fmSource"));
        QVERIFY(source()->isVisible());
    });
    QVERIFY(m_view->shown.isEmpty());
    QVERIFY(page().isEmpty());
}

void TestNewMail::tellsThatThePreviewCannotBeWritten()
{
    QVERIFY(QDir().mkdir(m_folder->file(QStringLiteral("source.htm"))));
    create([this] {
        setFormat("HTML");
        choose(1);
        QCOMPARE(m_op->told.size(), 1);
        QVERIFY(m_op->told[0].startsWith(QStringLiteral("Error|Error # 0 was generated by File "
                                                        "system\rCannot write ")));
    });
}

void TestNewMail::browsesForAttachments()
{
    m_op->files = std::queue<QString>({QStringLiteral("/a"), QStringLiteral("/b"), {}});
    create([this] {
        choose(2);
        press("cmdAtt01");
        QVERIFY(!box<QTabBar>("TabStrip1")->tabIcon(2).isNull());
        press("cmdAtt02");
        type("txtAtt03", QStringLiteral("typed"));
        press("cmdAtt03");
        QCOMPARE(box<QLineEdit>("txtAtt01")->text(), QStringLiteral("/a"));
        QCOMPARE(box<QLineEdit>("txtAtt02")->text(), QStringLiteral("/b"));
        QCOMPARE(box<QLineEdit>("txtAtt03")->text(), QStringLiteral("typed"));
    });
    const QString rest = QStringLiteral("|All(*.*)|*.*|") + m_folder->folder().path();
    QCOMPARE(m_op->asked, QStringList({QStringLiteral("Attachement 1") + rest,
                                       QStringLiteral("Attachement 2") + rest,
                                       QStringLiteral("Attachement 3") + rest}));
}

void TestNewMail::importsAFile()
{
    const QString path = m_folder->file(QStringLiteral("page.htm"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("<b>\nx");
    file.close();
    m_op->files = std::queue<QString>({path, {}, m_folder->folder().path(), path});
    QVERIFY(create([this] {
        fillIn();
        press("cmdOpen");
        QCOMPARE(source()->toPlainText(), QStringLiteral("<b>\nx\n"));
        QCOMPARE(box<QComboBox>("combFormat")->currentText(), QStringLiteral("TEXT"));
        box<QAction>("Open")->trigger(); // cancelled
        QVERIFY(m_op->told.isEmpty());
        box<QAction>("Open")->trigger(); // a folder
        QCOMPARE(m_op->told.size(), 1);
        QVERIFY2(m_op->told[0].startsWith(QStringLiteral("Error|Error # 0")),
                 qPrintable(m_op->told[0]));
        press("cmdOK");
    }));
    // Imported while the preview is up, it is what the preview shows.
    create([this] {
        box<QComboBox>("combFormat")->setCurrentText(QStringLiteral("HTML"));
        box<QTabBar>("TabStrip1")->setCurrentIndex(1);
        press("cmdOpen");
        QVERIFY(page().contains("<b>\r\nx"));
        QCOMPARE(m_view->shown.size(), 2);
    });
    QCOMPARE(m_op->asked[0], QStringLiteral("Open File|TXT/HTM (*.txt;*.htm;*.html)|"
                                            "*.txt;*.htm;*.html|"));
    QCOMPARE(messages("format, source"), QStringList{QStringLiteral("TEXT|<b>\r\nx\r\n")});
}

void TestNewMail::importsFromTheWeb()
{
    create([this] {
        QTest::keyClicks(source(), QStringLiteral("typed"));
        press("cmdWeb"); // cancelled
        QCOMPARE(source()->toPlainText(), QStringLiteral("typed"));
        QCOMPARE(box<QComboBox>("combFormat")->currentText(), QStringLiteral("TEXT"));
        QVERIFY(m_view->shown.isEmpty());
        m_fetched = QStringLiteral("<i>web</i>");
        press("cmdWeb");
        QCOMPARE(source()->toPlainText(), QStringLiteral("<i>web</i>"));
        QCOMPARE(box<QComboBox>("combFormat")->currentText(), QStringLiteral("HTML"));
        QVERIFY(page().contains("<i>web</i>"));
        QCOMPARE(m_view->shown.size(), 1);
        m_fetched = QString();
        box<QAction>("OpenWeb")->trigger();
        QCOMPARE(source()->toPlainText(), QString());
    });
}

void TestNewMail::closesFind()
{
    create([this] {
        QTest::keyClick(source(), Qt::Key_F, Qt::ControlModifier);
        QVERIFY(box<QDialog>("FindReplaceDialog")->isVisible());
        press("cmdCancel");
        QVERIFY(!box<QDialog>("FindReplaceDialog")->isVisible());
    });
}

QTEST_MAIN(TestNewMail)
#include "tst_newmail.moc"
