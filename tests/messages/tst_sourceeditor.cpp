#include "sourceeditor.h"

#include "bodyedit.h"
#include "fakes.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTest>
#include <QToolBar>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

class TestSourceEditor final : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void undoesWhatWasTyped();
    void undoesOverALoadedMessage();
    void undoKeepsEmojiWhole();
    void copiesAndPastes();
    void insertsFields_data();
    void insertsFields();
    void keepsBodies_data();
    void keepsBodies();
    void lineEnds();
    void tellsTheLine();
    void tellsTheKeys();
    void choosesFonts();
    void findsInTheBody();
    void replacesInTheBody();
    void oneDialogAtATime();
    void asksForFiles();

private:
    template <typename T>
    T *child(const char *name) const
    {
        return m_editor->findChild<T *>(QLatin1String(name));
    }
    void press(const char *key) const
    {
        QTest::mouseClick(child<QToolBar>("Toolbar2")->widgetForAction(child<QAction>(key)),
                          Qt::LeftButton);
    }
    QLabel *label(int number) const
    {
        return m_editor->findChild<QLabel *>(u"Panel%1"_s.arg(number));
    }
    QString panel(int number) const { return label(number)->text(); }
    bool isLit(int number) const { return label(number)->isEnabled(); }
    QDialog *dialog() const { return m_window->findChild<QDialog *>(u"FindReplaceDialog"_s); }
    template <typename T>
    T *inDialog(const char *name) const
    {
        return dialog()->findChild<T *>(QLatin1String(name));
    }
    void pressInDialog(const char *name) const
    {
        QTest::mouseClick(inDialog<QPushButton>(name), Qt::LeftButton);
    }
    /// Types one key that gives this text, with these modifiers.
    void typeKey(Qt::Key key, const char *text, Qt::KeyboardModifiers modifiers = {}) const
    {
        QTest::sendKeyEvent(QTest::Click, m_text, key, QLatin1String(text), modifiers);
    }
    void undo() const { QTest::keyClick(m_text, Qt::Key_Z, Qt::ControlModifier); }
    void redo() const { QTest::keyClick(m_text, Qt::Key_Y, Qt::ControlModifier); }

    std::unique_ptr<ScriptedOperator> m_op;
    std::unique_ptr<QDialog> m_window;
    SourceEditor *m_editor = nullptr;
    BodyEdit *m_text = nullptr;
};

void TestSourceEditor::init()
{
    m_op = std::make_unique<ScriptedOperator>();
    m_window = std::make_unique<QDialog>();
    m_editor = new SourceEditor(*m_op);
    (new QVBoxLayout(m_window.get()))->addWidget(m_editor);
    m_text = child<BodyEdit>("txtSource");
    m_window->show();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    m_text->setFocus();
}

void TestSourceEditor::cleanup()
{
    m_window.reset();
    m_op.reset();
}

void TestSourceEditor::undoesWhatWasTyped()
{
    QTest::keyClicks(m_text, u"abc"_s);
    for (const char *text : {"ab", "a", ""}) {
        undo();
        QCOMPARE(m_text->text(), QLatin1String(text));
        QCOMPARE(m_text->selectionStart(), m_text->text().size());
    }
    press("Redo");
    QCOMPARE(m_text->text(), u"a"_s);
    press("Redo");
    redo();
    QCOMPARE(m_text->text(), u"abc"_s);
    redo();
    QCOMPARE(m_text->text(), u"abc"_s);
    press("Undo");
    QCOMPARE(m_text->text(), u"a"_s);

    // What an input method shows before it is chosen is no change yet.
    QInputMethodEvent composing(u"ni"_s, {});
    QApplication::sendEvent(m_text, &composing);
    QInputMethodEvent chosen;
    chosen.setCommitString(u"\u4f60"_s);
    QApplication::sendEvent(m_text, &chosen);
    QCOMPARE(m_text->text(), u"a\u4f60"_s);
    undo();
    QCOMPARE(m_text->text(), u"a"_s);

    // A step back is none of the changes that can be undone.
    QTest::keyClicks(m_text, u"x"_s);
    undo();
    QCOMPARE(m_text->text(), u"a"_s);
}

void TestSourceEditor::undoesOverALoadedMessage()
{
    m_editor->setBody(u"one\r\ntwo"_s);
    QTest::keyClick(m_text, Qt::Key_End, Qt::ControlModifier);
    QTest::keyClick(m_text, Qt::Key_Return);
    m_editor->setBody(u"other"_s);
    undo();
    QCOMPARE(m_editor->body(), u"one\r\ntwo\r\n"_s);
    QCOMPARE(m_text->selectionStart(), 8);
    undo();
    QCOMPARE(m_editor->body(), u"one\r\ntwo"_s);
    undo();
    QCOMPARE(m_editor->body(), QString());
    redo();
    redo();
    redo();
    QCOMPARE(m_editor->body(), u"other"_s);
}

void TestSourceEditor::undoKeepsEmojiWhole()
{
    // The two differ in the second half of the character, and in the first half.
    const QStringList texts = {u"x\U0001f680y"_s, u"x\U0001f681y"_s, u"x\U0001fa81y"_s,
                               u"\U0001f680"_s};
    for (const QString &text : texts)
        m_text->setText(text);
    for (qsizetype i = texts.size() - 2; i >= 0; --i) {
        undo();
        QCOMPARE(m_text->text(), texts[i]);
    }
}

void TestSourceEditor::copiesAndPastes()
{
    QClipboard *clipboard = QApplication::clipboard();
    clipboard->setText(u"before"_s);
    QVERIFY(!child<QAction>("Cut")->isEnabled());
    m_editor->setBody(u"a\u00a0b\r\n\U0001f680c"_s);
    m_text->select(1, 5);
    press("Copy");
    QCOMPARE(clipboard->text(), u"\u00a0b\n\U0001f680"_s);
    QCOMPARE(clipboard->mimeData()->formats(), QStringList{u"text/plain"_s});
    m_text->select(0, 1);
    press("Cut");
    QCOMPARE(clipboard->text(), u"a"_s);
    QCOMPARE(m_text->text(), u"\u00a0b\n\U0001f680c"_s);

    clipboard->setText(u"x\r\n?y"_s.replace(u'?', QChar::Null));
    m_text->select(0, 3);
    press("Paste");
    QCOMPARE(m_editor->body(), u"x\r\ny\U0001f680c"_s);
}

void TestSourceEditor::insertsFields_data()
{
    QTest::addColumn<QString>("caption");
    QTest::addColumn<QString>("field");

    const auto row = [](const char *key, const char *caption, const char *field) {
        QTest::newRow(key) << QString::fromLatin1(caption) << QString::fromLatin1(field);
    };
    row("mDate", "Insert Date", "%%SEND_DATE%%");
    row("mEmail", "Insert Email", "%%EMAIL%%");
    row("mFirstname", "Insert Firstname", "%%FIRSTNAME%%");
    row("mLastname", "Insert Lastname", "%%LASTNAME%%");
    row("mTitle", "Insert Title", "%%TITLE%%");
    row("mContact", "Insert Contact", "%%CONTACT%%");
    row("mCompany", "Insert Company", "%%COMPANY%%");
    row("mMemo", "Insert Memo", "%%MEMO%%");
}

void TestSourceEditor::insertsFields()
{
    QFETCH(QString, caption);
    QFETCH(QString, field);

    m_editor->setBody(u"Dear friend,"_s);
    m_text->select(5, 6);
    child<QComboBox>("cbFonts")->setFocus();
    QMenu *menu = child<QAction>("Insert")->menu();
    QAction *action = menu->findChild<QAction *>(QString::fromLatin1(QTest::currentDataTag()));
    QCOMPARE(action->text(), caption);
    menu->popup({});
    QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(action).center());
    QCOMPARE(m_editor->body(), u"Dear %1,"_s.arg(field));
    QCOMPARE(m_text->selectionStart(), 5 + field.size());
    QVERIFY(m_text->hasFocus());
    undo();
    QCOMPARE(m_editor->body(), u"Dear friend,"_s);
}

void TestSourceEditor::keepsBodies_data()
{
    QTest::addColumn<QString>("body");
    QTest::newRow("10 MB") << u"ten words of text are quite enough for a line\r\n"_s.repeated(
        220000);
    QTest::newRow("100,000 lines") << u"\r\n"_s.repeated(100000);
    QTest::newRow("right to left") << u"\u0627\u0644\u0633\u0644\u0627\u0645 abc "
                                      "\u05e9\u05dc\u05d5\u05dd\u202e\u202c"_s;
    QTest::newRow("emoji") << u"\U0001f469\u200d\U0001f680 \U0001f1e9\U0001f1ea"_s;
    QTest::newRow("blanks of all kinds") << u"a\u00a0b\tc\u2003d\u2028e\u00ad\r\n "_s;
    QTest::newRow("control characters") << u"a\u0001b\u000cc\u0085\ufffd\ufeff"_s;
}

void TestSourceEditor::keepsBodies()
{
    QFETCH(QString, body);
    m_editor->setBody(body);
    QVERIFY(m_editor->body() == body);
    QTest::keyClicks(m_text, u"x"_s);
    QVERIFY(m_editor->body() == u'x' + body);
    undo();
    QVERIFY(m_editor->body() == body);
    // Copied and pasted it is the same again.
    m_text->selectAll();
    press("Copy");
    m_editor->setBody({});
    press("Paste");
    QCOMPARE(m_editor->body().size(), body.size());
    QVERIFY(m_editor->body() == body);
}

void TestSourceEditor::lineEnds()
{
    QTest::keyClicks(m_text, u"a"_s);
    QTest::keyClick(m_text, Qt::Key_Return);
    QTest::keyClicks(m_text, u"b"_s);
    QCOMPARE(m_editor->body(), u"a\r\nb"_s);
    // Those of a stored body are left alone, beside a change too.
    m_editor->setBody(u"a\nb\r\nc?d"_s.replace(u'?', QChar::Null));
    QCOMPARE(m_editor->body(), u"a\nb\r\ncd"_s);
    QTest::keyClick(m_text, Qt::Key_Delete);
    QCOMPARE(m_editor->body(), u"\r\nb\r\ncd"_s);
}

void TestSourceEditor::tellsTheLine()
{
    QCOMPARE(panel(1), u"Current Line:1"_s);
    QCOMPARE(panel(2), u"Total Line:1"_s);
    m_editor->setBody(u"one\r\ntwo\r\nthree"_s);
    QTest::keyClick(m_text, Qt::Key_Down);
    QCOMPARE(panel(1), u"Current Line:2"_s);
    QCOMPARE(panel(2), u"Total Line:3"_s);

    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::German));
    m_editor->setBody(u"\n"_s.repeated(1234));
    QTest::keyClick(m_text, Qt::Key_End, Qt::ControlModifier);
    QCOMPARE(panel(1), u"Current Line:1.235"_s);
    QLocale::setDefault(QLocale::c());
    QTest::keyClick(m_text, Qt::Key_Return);
    QCOMPARE(panel(2), u"Total Line:1,236"_s);
    QLocale::setDefault(before);
}

void TestSourceEditor::tellsTheKeys()
{
    enum Panel { Caps = 3, Num, Ins };
    QTest::keyClick(m_text, Qt::Key_CapsLock);
    QVERIFY(isLit(Caps));
    typeKey(Qt::Key_A, "a");
    QVERIFY(!isLit(Caps));
    typeKey(Qt::Key_A, "A", Qt::ShiftModifier);
    QVERIFY(!isLit(Caps));
    typeKey(Qt::Key_A, "A");
    QVERIFY(isLit(Caps));

    QTest::keyClick(m_text, Qt::Key_Home, Qt::KeypadModifier);
    QVERIFY(!isLit(Num));
    typeKey(Qt::Key_7, "7", Qt::KeypadModifier);
    QVERIFY(isLit(Num));

    QVERIFY(isLit(Ins));
    QTest::keyClick(m_text, Qt::Key_Insert);
    QVERIFY(!isLit(Ins));
    m_text->setText(u"abc"_s);
    QTest::keyClicks(m_text, u"xy"_s);
    QCOMPARE(m_text->text(), u"xyc"_s);
    undo(); // a key is one change in this way, too
    QCOMPARE(m_text->text(), u"xbc"_s);
    QTest::keyClick(m_text, Qt::Key_Insert);
    QVERIFY(isLit(Ins));
}

void TestSourceEditor::choosesFonts()
{
    auto *fonts = child<QComboBox>("cbFonts");
    auto *sizes = child<QComboBox>("cbFontSize");
    QCOMPARE(fonts->currentText(), u"Arial"_s);
    QCOMPARE(m_text->font().family(), u"Arial"_s);
    QCOMPARE(m_text->font().pointSize(), 10);
    QStringList items;
    for (int i = 0; i < sizes->count(); ++i)
        items += sizes->itemText(i);
    QCOMPARE(items.join(u' '), u"8 9 10 11 12 13 14 15 16"_s);

    QTest::keyClicks(m_text, u"ab"_s);
    QFont bold = m_text->font();
    bold.setBold(true);
    m_text->setFont(bold);
    QTest::keyClick(sizes, Qt::Key_End);
    QCOMPARE(m_text->font().pointSize(), 16);
    QVERIFY(!m_text->font().bold());
    fonts->addItem(u"Another"_s);
    QTest::keyClick(fonts, Qt::Key_End);
    QCOMPARE(m_text->font().family(), u"Another"_s);
    QCOMPARE(m_text->font().pointSize(), 16);
    undo(); // fonts are no change
    QCOMPARE(m_text->text(), u"a"_s);
}

void TestSourceEditor::findsInTheBody()
{
    m_editor->setBody(u"one\r\n\U0001f680 two ONE"_s);
    QTest::keyClick(m_text, Qt::Key_F, Qt::ControlModifier);
    QTRY_VERIFY(inDialog<QLineEdit>("txtFind")->hasFocus());
    QCOMPARE(dialog()->windowTitle(), u"Find"_s);
    QVERIFY(!dialog()->isModal());
    QVERIFY(!inDialog<QLineEdit>("txtReplace")->isVisible());
    QTest::keyClicks(inDialog<QLineEdit>("txtFind"), u"one"_s);
    QTest::keyClick(inDialog<QLineEdit>("txtFind"), Qt::Key_Return);
    QCOMPARE(m_text->textCursor().selectedText(), u"one"_s);
    QTRY_VERIFY(m_text->hasFocus());
    pressInDialog("cmdFindNext");
    QCOMPARE(m_text->selectionStart(), 11);
    pressInDialog("cmdFindNext");
    QCOMPARE(m_op->told, QStringList{u"Find|Cannot find \"one\"."_s});
    QCOMPARE(m_text->selectionStart(), 11);

    QTest::mouseClick(inDialog<QRadioButton>("optUp"), Qt::LeftButton);
    QTest::mouseClick(inDialog<QCheckBox>("chkMatchCase"), Qt::LeftButton);
    pressInDialog("cmdFindNext");
    QCOMPARE(m_text->selectionStart(), 0);

    // The text box stays usable.
    QTest::keyClicks(m_text, u"a one "_s);
    QTest::mouseClick(inDialog<QRadioButton>("optDown"), Qt::LeftButton);
    QTest::mouseClick(inDialog<QCheckBox>("chkWholeWord"), Qt::LeftButton);
    m_text->select(0, 0);
    pressInDialog("cmdFindNext");
    QCOMPARE(m_text->selectionStart(), 1);
    QCOMPARE(m_text->selectionLength(), 5);
    pressInDialog("cmdCancel");
    QVERIFY(!dialog()->isVisible());
}

void TestSourceEditor::replacesInTheBody()
{
    m_editor->setBody(u"a cat\r\na cat\r\na cat"_s);
    press("Replace");
    QCOMPARE(dialog()->windowTitle(), u"Replace"_s);
    QVERIFY(!inDialog<QRadioButton>("optUp")->isVisible());
    QTest::keyClicks(inDialog<QLineEdit>("txtFind"), u"cat"_s);
    QTest::keyClicks(inDialog<QLineEdit>("txtReplace"), u"dog"_s);
    pressInDialog("cmdReplace");
    pressInDialog("cmdReplace");
    QCOMPARE(m_editor->body(), u"a dog\r\na cat\r\na cat"_s);
    QCOMPARE(m_text->selectionStart(), 8);
    pressInDialog("cmdReplaceAll");
    QCOMPARE(m_editor->body(), u"a dog\r\na dog\r\na dog"_s);
    pressInDialog("cmdReplace");
    QCOMPARE(m_op->told, QStringList{u"Find|At end of text."_s});
    undo();
    QCOMPARE(m_editor->body(), u"a dog\r\na cat\r\na cat"_s);
}

void TestSourceEditor::oneDialogAtATime()
{
    press("Find");
    QTest::keyClicks(inDialog<QLineEdit>("txtFind"), u"cat"_s);
    QTest::mouseClick(inDialog<QCheckBox>("chkMatchCase"), Qt::LeftButton);
    QTest::mouseClick(inDialog<QRadioButton>("optUp"), Qt::LeftButton);
    press("Find");
    QCOMPARE(inDialog<QLineEdit>("txtFind")->selectedText(), u"cat"_s);
    press("Replace");
    QCOMPARE(m_window->findChildren<QDialog *>().size(), 1);
    QCOMPARE(inDialog<QLineEdit>("txtFind")->text(), QString());
    QVERIFY(!inDialog<QCheckBox>("chkMatchCase")->isChecked());
    QTest::keyClicks(inDialog<QLineEdit>("txtFind"), u"dog"_s);
    m_editor->closeFind();
    press("Find");
    QCOMPARE(inDialog<QLineEdit>("txtFind")->text(), QString());
    QVERIFY(inDialog<QRadioButton>("optDown")->isChecked());
}

void TestSourceEditor::asksForFiles()
{
    const QSignalSpy open(m_editor, &SourceEditor::openRequested);
    const QSignalSpy openWeb(m_editor, &SourceEditor::openWebRequested);
    press("Open");
    QCOMPARE(open.size(), 1);
    QCOMPARE(openWeb.size(), 0);
    press("OpenWeb");
    QCOMPARE(openWeb.size(), 1);
    // The tool tips are the captions, but for the last.
    QStringList tips;
    for (const QAction *action : child<QToolBar>("Toolbar2")->actions()) {
        if (!action->isSeparator())
            tips += action->toolTip();
    }
    QCOMPARE(tips.join(u'|'), u"Open|Open URL|Cut|Copy|Paste|Find|Replace|Undo|Redo|"
                              "Insert variable into the email"_s);
}

QTEST_MAIN(TestSourceEditor)
#include "tst_sourceeditor.moc"
