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
#include <QToolButton>
#include <QVBoxLayout>

class TestSourceEditor final : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void undoesWhatWasTyped();
    void undoesOverALoadedMessage();
    void undoKeepsEmojiWhole();
    void fontsAreNoChange();
    void copiesAndPastes();
    void insertsFields_data();
    void insertsFields();
    void keepsBodies_data();
    void keepsBodies();
    void longLinesAreLines();
    void linesEndWithCrLf();
    void leavesAnUnchangedBodyAlone();
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
    QString panel(int number) const
    {
        return m_editor->findChild<QLabel *>(QStringLiteral("Panel%1").arg(number))->text();
    }
    bool isLit(int number) const
    {
        return m_editor->findChild<QLabel *>(QStringLiteral("Panel%1").arg(number))->isEnabled();
    }
    QDialog *dialog() const
    {
        return m_window->findChild<QDialog *>(QStringLiteral("FindReplaceDialog"));
    }
    template <typename T>
    T *inDialog(const char *name) const
    {
        return dialog()->findChild<T *>(QLatin1String(name));
    }
    void pressInDialog(const char *name) const
    {
        QTest::mouseClick(inDialog<QPushButton>(name), Qt::LeftButton);
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
    QTest::keyClicks(m_text, QStringLiteral("abc"));
    for (const char *text : {"ab", "a", ""}) {
        undo();
        QCOMPARE(m_text->text(), QLatin1String(text));
        QCOMPARE(m_text->selectionStart(), m_text->text().size());
    }
    press("Redo");
    QCOMPARE(m_text->text(), QStringLiteral("a"));
    press("Redo");
    redo();
    QCOMPARE(m_text->text(), QStringLiteral("abc"));
    redo();
    QCOMPARE(m_text->text(), QStringLiteral("abc"));
    press("Undo");
    QCOMPARE(m_text->text(), QStringLiteral("a"));

    // What an input method shows before it is chosen is no change yet.
    QInputMethodEvent composing(QStringLiteral("ni"), {});
    QApplication::sendEvent(m_text, &composing);
    QInputMethodEvent chosen;
    chosen.setCommitString(QStringLiteral("\u4f60"));
    QApplication::sendEvent(m_text, &chosen);
    QCOMPARE(m_text->text(), QStringLiteral("a\u4f60"));
    undo();
    QCOMPARE(m_text->text(), QStringLiteral("a"));

    // A step back is none of the changes that can be undone.
    QTest::keyClicks(m_text, QStringLiteral("x"));
    undo();
    QCOMPARE(m_text->text(), QStringLiteral("a"));
}

void TestSourceEditor::undoesOverALoadedMessage()
{
    m_editor->setBody(QStringLiteral("one\r\ntwo"));
    QTest::keyClick(m_text, Qt::Key_End, Qt::ControlModifier);
    QTest::keyClick(m_text, Qt::Key_Return);
    m_editor->setBody(QStringLiteral("other"));
    undo();
    QCOMPARE(m_editor->body(), QStringLiteral("one\r\ntwo\r\n"));
    QCOMPARE(m_text->selectionStart(), 8);
    undo();
    QCOMPARE(m_editor->body(), QStringLiteral("one\r\ntwo"));
    undo();
    QCOMPARE(m_editor->body(), QString());
    redo();
    redo();
    redo();
    QCOMPARE(m_editor->body(), QStringLiteral("other"));
}

void TestSourceEditor::undoKeepsEmojiWhole()
{
    // The two differ in the second half of the character, and in the first half.
    const QStringList texts = {QStringLiteral("x\U0001f680y"), QStringLiteral("x\U0001f681y"),
                               QStringLiteral("x\U0001fa81y"), QStringLiteral("\U0001f680")};
    for (const QString &text : texts)
        m_text->setText(text);
    for (qsizetype i = texts.size() - 2; i >= 0; --i) {
        undo();
        QCOMPARE(m_text->text(), texts[i]);
    }
}

void TestSourceEditor::fontsAreNoChange()
{
    QTest::keyClicks(m_text, QStringLiteral("ab"));
    child<QComboBox>("cbFontSize")->setCurrentText(QStringLiteral("16"));
    undo();
    QCOMPARE(m_text->text(), QStringLiteral("a"));
}

void TestSourceEditor::copiesAndPastes()
{
    QClipboard *clipboard = QApplication::clipboard();
    clipboard->setText(QStringLiteral("before"));
    QVERIFY(!child<QAction>("Cut")->isEnabled());
    m_editor->setBody(QStringLiteral("a\u00a0b\r\n\U0001f680c"));
    m_text->select(1, 5);
    press("Copy");
    QCOMPARE(clipboard->text(), QStringLiteral("\u00a0b\n\U0001f680"));
    QCOMPARE(clipboard->mimeData()->formats(), QStringList{QStringLiteral("text/plain")});
    m_text->select(0, 1);
    press("Cut");
    QCOMPARE(clipboard->text(), QStringLiteral("a"));
    QCOMPARE(m_text->text(), QStringLiteral("\u00a0b\n\U0001f680c"));

    clipboard->setText(QStringLiteral("x\r\n?y").replace(QLatin1Char('?'), QChar::Null));
    m_text->select(0, 3);
    press("Paste");
    QCOMPARE(m_editor->body(), QStringLiteral("x\r\ny\U0001f680c"));
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

    m_editor->setBody(QStringLiteral("Dear friend,"));
    m_text->select(5, 6);
    child<QComboBox>("cbFonts")->setFocus();
    QMenu *menu = child<QAction>("Insert")->menu();
    QAction *action = menu->findChild<QAction *>(QString::fromLatin1(QTest::currentDataTag()));
    QCOMPARE(action->text(), caption);
    menu->popup({});
    QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(action).center());
    QCOMPARE(m_editor->body(), QStringLiteral("Dear %1,").arg(field));
    QCOMPARE(m_text->selectionStart(), 5 + field.size());
    QVERIFY(m_text->hasFocus());
    undo();
    QCOMPARE(m_editor->body(), QStringLiteral("Dear friend,"));
}

void TestSourceEditor::keepsBodies_data()
{
    QTest::addColumn<QString>("body");
    QTest::newRow("10 MB")
        << QStringLiteral("ten words of text are quite enough for a line\r\n").repeated(220000);
    QTest::newRow("one line of 1 MB") << QStringLiteral("<td>one word</td>").repeated(60000);
    QTest::newRow("one word of 100 kB") << QStringLiteral("\U0001f469\u0301").repeated(30000);
    QTest::newRow("100,000 lines") << QStringLiteral("\r\n").repeated(100000);
    QTest::newRow("right to left") << QStringLiteral("\u0627\u0644\u0633\u0644\u0627\u0645 abc "
                                                     "\u05e9\u05dc\u05d5\u05dd\u202e\u202c");
    QTest::newRow("emoji") << QStringLiteral("\U0001f469\u200d\U0001f680 \U0001f1e9\U0001f1ea");
    QTest::newRow("blanks of all kinds") << QStringLiteral("a\u00a0b\tc\u2003d\u2028e\u00ad\r\n ");
    QTest::newRow("control characters") << QStringLiteral("a\u0001b\u000cc\u0085\ufffd\ufeff");
}

void TestSourceEditor::keepsBodies()
{
    QFETCH(QString, body);
    m_editor->setBody(body);
    QVERIFY(m_editor->body() == body);
    QTest::keyClicks(m_text, QStringLiteral("x"));
    QVERIFY(m_editor->body() == QLatin1Char('x') + body);
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

/// A line that is too long for the box to lay out is broken there, which nobody else sees.
void TestSourceEditor::longLinesAreLines()
{
    const QString cell = QStringLiteral("<td>one word</td>");
    m_editor->setBody(cell.repeated(1000) + QStringLiteral("\r\nlast"));
    QVERIFY(m_text->blockCount() > 5);
    QCOMPARE(panel(2), QStringLiteral("Total Line:2"));
    // A place far behind the first break is found, replaced and undone where it is.
    const qsizetype place = 900 * cell.size() + 4;
    m_text->select(place, 3);
    QCOMPARE(m_text->selectionStart(), place);
    QCOMPARE(m_text->textCursor().selectedText(), QStringLiteral("one"));
    QCOMPARE(panel(1), QStringLiteral("Current Line:1"));
    m_text->replaceSelection(QStringLiteral("two"));
    QCOMPARE(m_text->text().mid(place - 4, cell.size()), QStringLiteral("<td>two word</td>"));
    QCOMPARE(m_text->text().size(), 1000 * cell.size() + 5);
    undo();
    QCOMPARE(m_editor->body(), cell.repeated(1000) + QStringLiteral("\r\nlast"));
    QTest::keyClick(m_text, Qt::Key_End, Qt::ControlModifier);
    QCOMPARE(panel(1), QStringLiteral("Current Line:2"));
    // Typed at a break, a new line is one.
    m_text->moveCursor(QTextCursor::Start);
    m_text->moveCursor(QTextCursor::EndOfBlock);
    const qsizetype end = m_text->selectionStart();
    QTest::keyClick(m_text, Qt::Key_Return);
    QCOMPARE(m_text->text().indexOf(QLatin1Char('\n')), end);
    QCOMPARE(panel(2), QStringLiteral("Total Line:3"));
}

void TestSourceEditor::linesEndWithCrLf()
{
    QTest::keyClicks(m_text, QStringLiteral("a"));
    QTest::keyClick(m_text, Qt::Key_Return);
    QTest::keyClicks(m_text, QStringLiteral("b"));
    QCOMPARE(m_editor->body(), QStringLiteral("a\r\nb"));
}

void TestSourceEditor::leavesAnUnchangedBodyAlone()
{
    m_editor->setBody(QStringLiteral("a\nb\r\nc?d").replace(QLatin1Char('?'), QChar::Null));
    QCOMPARE(m_editor->body(), QStringLiteral("a\nb\r\ncd"));
    QTest::keyClick(m_text, Qt::Key_Delete);
    QCOMPARE(m_editor->body(), QStringLiteral("\r\nb\r\ncd"));
}

void TestSourceEditor::tellsTheLine()
{
    QCOMPARE(panel(1), QStringLiteral("Current Line:1"));
    QCOMPARE(panel(2), QStringLiteral("Total Line:1"));
    m_editor->setBody(QStringLiteral("one\r\ntwo\r\nthree"));
    QTest::keyClick(m_text, Qt::Key_Down);
    QCOMPARE(panel(1), QStringLiteral("Current Line:2"));
    QCOMPARE(panel(2), QStringLiteral("Total Line:3"));

    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::German));
    m_editor->setBody(QStringLiteral("\n").repeated(1234));
    QTest::keyClick(m_text, Qt::Key_End, Qt::ControlModifier);
    QCOMPARE(panel(1), QStringLiteral("Current Line:1.235"));
    QLocale::setDefault(QLocale::c());
    QTest::keyClick(m_text, Qt::Key_Return);
    QCOMPARE(panel(2), QStringLiteral("Total Line:1,236"));
    QLocale::setDefault(before);
}

void TestSourceEditor::tellsTheKeys()
{
    enum Panel { Caps = 3, Num, Ins };
    QTest::keyClick(m_text, Qt::Key_CapsLock);
    QVERIFY(isLit(Caps));
    QTest::sendKeyEvent(QTest::Click, m_text, Qt::Key_A, QStringLiteral("a"), Qt::NoModifier);
    QVERIFY(!isLit(Caps));
    QTest::sendKeyEvent(QTest::Click, m_text, Qt::Key_A, QStringLiteral("A"), Qt::ShiftModifier);
    QVERIFY(!isLit(Caps));
    QTest::sendKeyEvent(QTest::Click, m_text, Qt::Key_A, QStringLiteral("A"), Qt::NoModifier);
    QVERIFY(isLit(Caps));

    QTest::keyClick(m_text, Qt::Key_Home, Qt::KeypadModifier);
    QVERIFY(!isLit(Num));
    QTest::sendKeyEvent(QTest::Click, m_text, Qt::Key_7, QStringLiteral("7"), Qt::KeypadModifier);
    QVERIFY(isLit(Num));

    QVERIFY(isLit(Ins));
    QTest::keyClick(m_text, Qt::Key_Insert);
    QVERIFY(!isLit(Ins));
    m_text->setText(QStringLiteral("abc"));
    QTest::keyClicks(m_text, QStringLiteral("xy"));
    QCOMPARE(m_text->text(), QStringLiteral("xyc"));
    undo(); // a key is one change in this way, too
    QCOMPARE(m_text->text(), QStringLiteral("xbc"));
    QTest::keyClick(m_text, Qt::Key_Insert);
    QVERIFY(isLit(Ins));
}

void TestSourceEditor::choosesFonts()
{
    auto *fonts = child<QComboBox>("cbFonts");
    auto *sizes = child<QComboBox>("cbFontSize");
    QCOMPARE(fonts->currentText(), QStringLiteral("Arial"));
    QCOMPARE(m_text->font().family(), QStringLiteral("Arial"));
    QCOMPARE(sizes->currentIndex(), 2);
    QCOMPARE(m_text->font().pointSize(), 10);
    QStringList items;
    for (int i = 0; i < sizes->count(); ++i)
        items += sizes->itemText(i);
    QCOMPARE(items.join(QLatin1Char(' ')), QStringLiteral("8 9 10 11 12 13 14 15 16"));

    QFont bold = m_text->font();
    bold.setBold(true);
    m_text->setFont(bold);
    sizes->setFocus();
    QTest::keyClick(sizes, Qt::Key_End);
    QCOMPARE(m_text->font().pointSize(), 16);
    QVERIFY(!m_text->font().bold());
    fonts->addItem(QStringLiteral("Another"));
    fonts->setFocus();
    QTest::keyClick(fonts, Qt::Key_End);
    QCOMPARE(m_text->font().family(), QStringLiteral("Another"));
    QCOMPARE(m_text->font().pointSize(), 16);
}

void TestSourceEditor::findsInTheBody()
{
    m_editor->setBody(QStringLiteral("one\r\n\U0001f680 two ONE"));
    QTest::keyClick(m_text, Qt::Key_F, Qt::ControlModifier);
    QTRY_VERIFY(inDialog<QLineEdit>("txtFind")->hasFocus());
    QCOMPARE(dialog()->windowTitle(), QStringLiteral("Find"));
    QVERIFY(!dialog()->isModal());
    QVERIFY(!inDialog<QLineEdit>("txtReplace")->isVisible());
    QVERIFY(!inDialog<QPushButton>("cmdFindNext")->isEnabled());
    QTest::keyClicks(inDialog<QLineEdit>("txtFind"), QStringLiteral("one"));
    QTest::keyClick(inDialog<QLineEdit>("txtFind"), Qt::Key_Return);
    QCOMPARE(m_text->textCursor().selectedText(), QStringLiteral("one"));
    QTRY_VERIFY(m_text->hasFocus());
    pressInDialog("cmdFindNext");
    QCOMPARE(m_text->selectionStart(), 11);
    pressInDialog("cmdFindNext");
    QCOMPARE(m_op->told, QStringList{QStringLiteral("Find|Cannot find \"one\".")});
    QCOMPARE(m_text->selectionStart(), 11);

    QTest::mouseClick(inDialog<QRadioButton>("optUp"), Qt::LeftButton);
    QTest::mouseClick(inDialog<QCheckBox>("chkMatchCase"), Qt::LeftButton);
    pressInDialog("cmdFindNext");
    QCOMPARE(m_text->selectionStart(), 0);

    // The text box stays usable.
    QTest::keyClicks(m_text, QStringLiteral("a one "));
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
    m_editor->setBody(QStringLiteral("a cat\r\na cat\r\na cat"));
    press("Replace");
    QCOMPARE(dialog()->windowTitle(), QStringLiteral("Replace"));
    QVERIFY(!inDialog<QRadioButton>("optUp")->isVisible());
    QTest::keyClicks(inDialog<QLineEdit>("txtFind"), QStringLiteral("cat"));
    QTest::keyClicks(inDialog<QLineEdit>("txtReplace"), QStringLiteral("dog"));
    pressInDialog("cmdReplace");
    pressInDialog("cmdReplace");
    QCOMPARE(m_editor->body(), QStringLiteral("a dog\r\na cat\r\na cat"));
    QCOMPARE(m_text->selectionStart(), 8);
    pressInDialog("cmdReplaceAll");
    QCOMPARE(m_editor->body(), QStringLiteral("a dog\r\na dog\r\na dog"));
    pressInDialog("cmdReplace");
    QCOMPARE(m_op->told, QStringList{QStringLiteral("Find|At end of text.")});
    undo();
    QCOMPARE(m_editor->body(), QStringLiteral("a dog\r\na cat\r\na cat"));
}

void TestSourceEditor::oneDialogAtATime()
{
    press("Find");
    QTest::keyClicks(inDialog<QLineEdit>("txtFind"), QStringLiteral("cat"));
    QTest::mouseClick(inDialog<QCheckBox>("chkMatchCase"), Qt::LeftButton);
    QTest::mouseClick(inDialog<QRadioButton>("optUp"), Qt::LeftButton);
    press("Find");
    QCOMPARE(inDialog<QLineEdit>("txtFind")->selectedText(), QStringLiteral("cat"));
    press("Replace");
    QCOMPARE(m_window->findChildren<QDialog *>().size(), 1);
    QCOMPARE(inDialog<QLineEdit>("txtFind")->text(), QString());
    QVERIFY(!inDialog<QCheckBox>("chkMatchCase")->isChecked());
    QTest::keyClicks(inDialog<QLineEdit>("txtFind"), QStringLiteral("dog"));
    m_editor->closeFind();
    press("Find");
    QCOMPARE(inDialog<QLineEdit>("txtFind")->text(), QString());
    QVERIFY(inDialog<QRadioButton>("optDown")->isChecked());
}

void TestSourceEditor::asksForFiles()
{
    QSignalSpy open(m_editor, &SourceEditor::openRequested);
    QSignalSpy openWeb(m_editor, &SourceEditor::openWebRequested);
    press("Open");
    QCOMPARE(open.size(), 1);
    QCOMPARE(openWeb.size(), 0);
    press("OpenWeb");
    QCOMPARE(openWeb.size(), 1);

    // The tool tips are the captions, but for the last.
    const QString tips = QStringLiteral("Open|Open URL|Cut|Copy|Paste|Find|Replace|Undo|Redo|"
                                        "Insert variable into the email");
    QStringList shown;
    for (const QAction *action : child<QToolBar>("Toolbar2")->actions()) {
        if (!action->isSeparator())
            shown += action->toolTip();
    }
    QCOMPARE(shown.join(QLatin1Char('|')), tips);
}

QTEST_MAIN(TestSourceEditor)
#include "tst_sourceeditor.moc"
