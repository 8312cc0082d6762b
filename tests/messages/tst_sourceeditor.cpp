#include "bodyedit.h"
#include "fakes.h"
#include "sourceeditor.h"
#include "undoring.h"
#include "window.h"

#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QRadioButton>
#include <QRandomGenerator>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

class TestSourceEditor final : public QObject
{
    Q_OBJECT

    QLabel *panel(int number) const { return child<QLabel>(m_window, u"Panel%1"_s.arg(number)); }
    QDialog &dialog() const { return *child<QDialog>(m_window, "FindReplaceDialog"); }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) const
    {
        QTest::keyClick(QApplication::focusWidget(), key, modifiers);
        QApplication::processEvents(); // where the key has brought another window to the front
    }
    void undo() const { QTest::keyClick(&m_text, Qt::Key_Z, Qt::ControlModifier); }
    QString selected() const
    {
        return u"%1+%2"_s.arg(m_text.selectionStart()).arg(m_text.selectionLength());
    }

    ScriptedOperator m_op;
    QDialog m_window;
    SourceEditor m_editor{m_op};
    BodyEdit &m_text = m_editor.text();

private slots:
    void initTestCase() { (new QVBoxLayout(&m_window))->addWidget(&m_editor); }
    void init()
    {
        m_text.setBody({});
        m_window.show();
        m_window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&m_window));
        m_text.setFocus();
    }

    void undoesWhatWasTyped()
    {
        QTest::keyClicks(&m_text, u"abc"_s);
        for (const char *text : {"ab", "a", ""}) {
            undo();
            QCOMPARE(m_text.text(), QLatin1String(text));
        }
        key(Qt::Key_Y, Qt::ControlModifier);
        press(m_window, "Redo");
        QCOMPARE(m_text.text(), u"ab"_s);
        // What an input method shows before it is chosen is no change yet.
        QInputMethodEvent composing(u"ni"_s, {});
        QApplication::sendEvent(&m_text, &composing);
        QInputMethodEvent chosen;
        chosen.setCommitString(u"\u4f60"_s);
        QApplication::sendEvent(&m_text, &chosen);
        press(m_window, "Undo");
        QCOMPARE(m_text.text(), u"ab"_s);
        // A step back is none of the changes; characters of two halves stay whole.
        const QString states[] = {u"x\U0001f680y"_s, u"x\U0001f681y"_s, u"x\U0001fa81y"_s};
        for (const QString &state : states)
            m_text.setText(state);
        for (int back : {1, 0}) {
            undo();
            QCOMPARE(m_text.text(), states[back]);
        }
    }

    void ringTakesAnotherFuture()
    {
        UndoRing ring;
        QCOMPARE(ring.undo(), Snapshot());
        for (const auto &text : {u"1"_s, u"2"_s, u"3"_s})
            ring.record({text, 0});
        ring.undo();
        ring.undo();
        ring.record({u"other"_s, 0});
        QVERIFY(!ring.redo());
        QCOMPARE(ring.undo().text, u"1"_s);
    }

    /// 99 steps, whatever is changed: random changes of texts that share long stretches, some of
    /// them with themselves.
    void ringGivesWhatWasRecorded()
    {
        QRandomGenerator random(7);
        UndoRing ring;
        std::vector<Snapshot> recorded;
        QString text;
        for (int step = 0; step < 1000; ++step) {
            const qsizetype at = random.bounded(text.size() + 1);
            const int choice = random.bounded(8);
            if (choice == 0 && text.size() > 20000)
                text.remove(at, 15000);
            else if (choice == 1)
                text.insert(at, QString(9000, u'x'));
            else
                text.replace(at, random.bounded(10), QString(random.bounded(9), u'y'));
            recorded.push_back({text, at});
            ring.record(recorded.back());
            if (step % 100 != 99)
                continue;
            for (size_t back : {2, 100}) // there, and no further
                for (size_t i = back; i <= 100; ++i)
                    QCOMPARE(ring.undo(), recorded[recorded.size() - i]);
            for (size_t back = 99; back > 0; --back)
                QCOMPARE(ring.redo(), recorded[recorded.size() - back]);
            QCOMPARE(ring.redo(), recorded.back());
        }
    }

    void insertsFields()
    {
        const auto fields =
            u"SEND_DATE EMAIL FIRSTNAME LASTNAME TITLE CONTACT COMPANY MEMO"_s.split(u' ');
        for (int i = 0; i < fields.size(); ++i) {
            m_text.setBody(u"Dear friend,"_s);
            m_text.select(5, 6);
            child<QComboBox>(m_window, "cbFonts")->setFocus();
            child<QAction>(m_window, "Insert")->menu()->actions().at(i)->trigger();
            QCOMPARE(m_text.body(), u"Dear %%"_s + fields[i] + u"%%,"_s);
            QVERIFY(m_text.hasFocus());
        }
    }

    void keepsBodies()
    {
        const QString body =
            u"a\u00a0b\tc\u2003\u0627\u202ed\u2028e\u00ad\r\n \U0001f469\u200d\u0001\u0085\ufeff"_s
                .repeated(20000);
        m_text.setBody(body);
        QTest::keyClicks(&m_text, u"x"_s);
        QVERIFY(m_text.body() == u'x' + body);
        undo();
        // Cut and pasted it is the same again.
        m_text.selectAll();
        press(m_window, "Cut");
        press(m_window, "Paste");
        QVERIFY(m_text.body() == body);
        QCOMPARE(QApplication::clipboard()->mimeData()->formats(), QStringList{u"text/plain"_s});
        // The line ends of a stored body are left alone until it is changed.
        m_text.setBody(u"a\nb\r\nc?d"_s.replace(u'?', QChar::Null));
        QCOMPARE(m_text.body(), u"a\nb\r\ncd"_s);
        key(Qt::Key_Delete);
        QCOMPARE(m_text.body(), u"\r\nb\r\ncd"_s);
    }

    void tellsLineAndKeys()
    {
        m_text.setBody(u"one\r\ntwo\r\nthree"_s);
        key(Qt::Key_Down);
        QCOMPARE(panel(1)->text() + panel(2)->text(), u"Current Line:2Total Line:3"_s);
        key(Qt::Key_CapsLock);
        key(Qt::Key_Home, Qt::KeypadModifier);
        QVERIFY(panel(3)->isEnabled() && !panel(4)->isEnabled() && panel(5)->isEnabled());
        m_text.setText(u"abc"_s);
        key(Qt::Key_Insert);
        QTest::keyClicks(&m_text, u"xy"_s);
        QCOMPARE(m_text.text(), u"xyc"_s);
        undo(); // a key is one change in this way, too
        QCOMPARE(m_text.text(), u"xbc"_s);
    }

    /// By keyboard; Return in the dialog finds on and on, and does nothing to the text.
    void findsInTheBody()
    {
        const QString body = u"one\r\n\U0001f680 two ONE one"_s;
        m_text.setBody(body);
        for (const bool isReopened : {false, true}) {
            m_text.select(0, 0);
            QTest::keyClick(&m_text, Qt::Key_F, Qt::ControlModifier);
            QTRY_VERIFY(child<QLineEdit>(dialog(), "txtFind")->hasFocus());
            QVERIFY(!dialog().isModal() && !child(dialog(), "txtReplace")->isVisible());
            if (!isReopened) // the text is offered again
                QTest::keyClicks(QApplication::focusWidget(), u"ONE"_s);
            for (const char *place : {"0+3", "11+3", "15+3"}) {
                key(Qt::Key_Return);
                QCOMPARE(selected(), QLatin1String(place));
            }
            press(dialog(), "cmdCancel");
            m_window.activateWindow(); // as a desktop does
            QTRY_VERIFY(m_text.hasFocus());
        }
        key(Qt::Key_F3, Qt::ShiftModifier);
        QCOMPARE(selected(), u"11+3"_s);
        key(Qt::Key_F3);
        key(Qt::Key_F3);
        QCOMPARE(m_op.warned, QStringList{u"Find|Cannot find \"ONE\"."_s});
        press(m_window, "Find");
        child<QRadioButton>(dialog(), "optUp")->click();
        child<QCheckBox>(dialog(), "chkMatchCase")->click();
        child<QCheckBox>(dialog(), "chkWholeWord")->click();
        press(dialog(), "cmdFindNext");
        QCOMPARE(selected(), u"10+5"_s);
        QCOMPARE(m_text.body(), body);
        m_editor.hide(); // as for a preview
        QVERIFY(!dialog().isVisible());
        m_editor.show();
    }

    void replacesInTheBody()
    {
        m_text.setBody(u"a cat\r\na cat\r\na cat"_s);
        press(m_window, "Replace");
        type(dialog(), "txtFind", "cat");
        type(dialog(), "txtReplace", " dog ");
        press(dialog(), "cmdReplace");
        press(dialog(), "cmdReplace");
        QCOMPARE(m_text.text(), u"a  dog \na cat\na cat"_s);
        QCOMPARE(selected(), u"10+3"_s);
        press(dialog(), "cmdReplaceAll");
        QCOMPARE(m_text.text(), u"a  dog \na  dog \na  dog "_s);
        press(dialog(), "cmdReplace");
        QCOMPARE(m_op.told.last(), u"Find|At end of text."_s);
        undo();
        QCOMPARE(m_text.text(), u"a  dog \na cat\na cat"_s);
    }
};

QTEST_MAIN(TestSourceEditor)
#include "tst_sourceeditor.moc"
