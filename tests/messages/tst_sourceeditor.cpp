#include "bodyedit.h"
#include "fakes.h"
#include "sourceeditor.h"
#include "window.h"

#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QRadioButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

class TestSourceEditor final : public QObject
{
    Q_OBJECT

    QLabel *panel(int number) const { return child<QLabel>(*m_window, u"Panel%1"_s.arg(number)); }
    QDialog &dialog() const { return *child<QDialog>(*m_window, "FindReplaceDialog"); }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) const
    {
        QTest::keyClick(QApplication::focusWidget(), key, modifiers);
    }
    void undo() const { QTest::keyClick(m_text, Qt::Key_Z, Qt::ControlModifier); }
    QString selected() const
    {
        return u"%1+%2"_s.arg(m_text->selectionStart()).arg(m_text->selectionLength());
    }

    std::unique_ptr<ScriptedOperator> m_op;
    std::unique_ptr<QDialog> m_window;
    SourceEditor *m_editor = nullptr;
    BodyEdit *m_text = nullptr;

private slots:
    void init()
    {
        m_op = std::make_unique<ScriptedOperator>();
        m_window = std::make_unique<QDialog>();
        m_editor = new SourceEditor(*m_op);
        (new QVBoxLayout(m_window.get()))->addWidget(m_editor);
        m_text = child<BodyEdit>(*m_window, "txtSource");
        m_window->show();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        m_text->setFocus();
    }
    void undoesWhatWasTyped()
    {
        QTest::keyClicks(m_text, u"abc"_s);
        for (const char *text : {"ab", "a", ""}) {
            undo();
            QCOMPARE(m_text->text(), QLatin1String(text));
            QCOMPARE(m_text->selectionStart(), m_text->text().size());
        }
        for (const char *text : {"a", "ab", "abc", "abc"}) {
            QTest::keyClick(m_text, Qt::Key_Y, Qt::ControlModifier);
            QCOMPARE(m_text->text(), QLatin1String(text));
        }
        press(*m_window, "Undo");
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
        // A step back is none of the changes; characters of two halves stay whole.
        for (const auto &text : {u"x\U0001f680y"_s, u"x\U0001f681y"_s, u"x\U0001fa81y"_s})
            m_text->setText(text);
        undo();
        QCOMPARE(m_text->text(), u"x\U0001f681y"_s);
        undo();
        QCOMPARE(m_text->text(), u"x\U0001f680y"_s);
    }

    void insertsFields()
    {
        QMenu *menu = child<QAction>(*m_window, "Insert")->menu();
        for (const QString &field :
             u"SEND_DATE EMAIL FIRSTNAME LASTNAME TITLE CONTACT COMPANY MEMO"_s.split(u' ')) {
            m_editor->setBody(u"Dear friend,"_s);
            m_text->select(5, 6);
            child<QComboBox>(*m_window, "cbFonts")->setFocus();
            const QString name = field.section(u'_', -1);
            auto *action = menu->findChild<QAction *>(u'm' + name[0] + name.sliced(1).toLower());
            QCOMPARE(action->text().toUpper(), u"INSERT "_s + name);
            action->trigger();
            QCOMPARE(m_editor->body(), u"Dear %%"_s + field + u"%%,"_s);
            QVERIFY(m_text->hasFocus());
        }
    }

    void keepsBodies()
    {
        const QString body =
            u"a\u00a0b\tc\u2003\u0627\u202ed\u2028e\u00ad\r\n \U0001f469\u200d\u0001\u0085\ufeff"_s
                .repeated(20000);
        m_editor->setBody(body);
        QTest::keyClicks(m_text, u"x"_s);
        QVERIFY(m_editor->body() == u'x' + body);
        undo();
        QVERIFY(m_editor->body() == body);
        // Cut and pasted it is the same again.
        m_text->selectAll();
        press(*m_window, "Cut");
        QCOMPARE(m_editor->body(), QString());
        press(*m_window, "Paste");
        QVERIFY(m_editor->body() == body);
        QCOMPARE(QApplication::clipboard()->mimeData()->formats(), QStringList{u"text/plain"_s});
        // The line ends of a stored body are left alone until it is changed.
        m_editor->setBody(u"a\nb\r\nc?d"_s.replace(u'?', QChar::Null));
        QCOMPARE(m_editor->body(), u"a\nb\r\ncd"_s);
        key(Qt::Key_Delete);
        QCOMPARE(m_editor->body(), u"\r\nb\r\ncd"_s);
    }

    void tellsLineAndKeys()
    {
        m_editor->setBody(u"one\r\ntwo\r\nthree"_s);
        key(Qt::Key_Down);
        QCOMPARE(panel(1)->text() + panel(2)->text(), u"Current Line:2Total Line:3"_s);
        enum Panel { Caps = 3, Num, Ins };
        key(Qt::Key_CapsLock);
        QVERIFY(panel(Caps)->isEnabled());
        QTest::sendKeyEvent(QTest::Click, m_text, Qt::Key_A, u"a"_s, {});
        key(Qt::Key_Home, Qt::KeypadModifier);
        QVERIFY(!panel(Caps)->isEnabled() && !panel(Num)->isEnabled() && panel(Ins)->isEnabled());
        m_text->setText(u"abc"_s);
        key(Qt::Key_Insert);
        QVERIFY(!panel(Ins)->isEnabled());
        QTest::keyClicks(m_text, u"xy"_s);
        QCOMPARE(m_text->text(), u"xyc"_s);
        undo(); // a key is one change in this way, too
        QCOMPARE(m_text->text(), u"xbc"_s);
    }

    /// By keyboard; Return in the dialog finds on and on, and does nothing to the text.
    void findsInTheBody()
    {
        const QString body = u"one\r\n\U0001f680 two ONE one"_s;
        m_editor->setBody(body);
        for (const bool isReopened : {false, true}) {
            m_text->select(0, 0);
            QTest::keyClick(m_text, Qt::Key_F, Qt::ControlModifier);
            QTRY_VERIFY(child<QLineEdit>(dialog(), "txtFind")->hasFocus());
            QVERIFY(!dialog().isModal());
            QVERIFY(!child(dialog(), "txtReplace")->isVisible());
            if (isReopened)
                QCOMPARE(child<QLineEdit>(dialog(), "txtFind")->selectedText(), u"ONE"_s);
            QTest::keyClicks(QApplication::focusWidget(), u"ONE"_s);
            for (const char *place : {"0+3", "11+3", "15+3"}) {
                key(Qt::Key_Return);
                QCOMPARE(selected(), QLatin1String(place));
            }
            press(dialog(), "cmdCancel");
            m_window->activateWindow(); // as a desktop does
            QTRY_VERIFY(m_text->hasFocus());
        }
        key(Qt::Key_F3, Qt::ShiftModifier);
        QCOMPARE(selected(), u"11+3"_s);
        key(Qt::Key_F3);
        key(Qt::Key_F3);
        QCOMPARE(m_op->warned, QStringList{u"Find|Cannot find \"ONE\"."_s});
        QCOMPARE(selected(), u"15+3"_s);
        press(*m_window, "Find");
        child<QRadioButton>(dialog(), "optUp")->click();
        child<QCheckBox>(dialog(), "chkMatchCase")->click();
        child<QCheckBox>(dialog(), "chkWholeWord")->click();
        press(dialog(), "cmdFindNext");
        QCOMPARE(selected(), u"10+5"_s);
        QCOMPARE(m_editor->body(), body);
    }

    void replacesInTheBody()
    {
        m_editor->setBody(u"a cat\r\na cat\r\na cat"_s);
        press(*m_window, "Replace");
        QCOMPARE(dialog().windowTitle(), u"Replace"_s);
        QVERIFY(!child(dialog(), "optUp")->isVisible());
        type(dialog(), "txtFind", "cat");
        type(dialog(), "txtReplace", " dog ");
        press(dialog(), "cmdReplace");
        press(dialog(), "cmdReplace");
        QCOMPARE(m_text->text(), u"a  dog \na cat\na cat"_s);
        QCOMPARE(selected(), u"10+3"_s);
        press(dialog(), "cmdReplaceAll");
        QCOMPARE(m_text->text(), u"a  dog \na  dog \na  dog "_s);
        press(dialog(), "cmdReplace");
        QCOMPARE(m_op->told, QStringList{u"Find|At end of text."_s});
        undo();
        QCOMPARE(m_text->text(), u"a  dog \na cat\na cat"_s);
    }
};

QTEST_MAIN(TestSourceEditor)
#include "tst_sourceeditor.moc"
