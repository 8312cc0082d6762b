#include "logbox.h"

#include "operator.h"

#include <QLabel>
#include <QLocale>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSaveFile>
#include <QVBoxLayout>

LogBox::LogBox(QWidget *parent)
    : QWidget(parent)
    , m_text(new QPlainTextEdit)
    , m_left(new QLabel)
    , m_save(new QPushButton(tr("&Save Log ..")))
{
    m_text->setObjectName(QStringLiteral("txtLog"));
    m_text->setAccessibleName(tr("Error log"));
    m_text->setMaximumBlockCount(mostShown + 1); // one for the end of the last line
    m_text->setReadOnly(true);
    m_text->setUndoRedoEnabled(false);
    m_text->setLineWrapMode(QPlainTextEdit::NoWrap);
    // Empty fields must not push the reason out of sight.
    m_text->setTabStopDistance(4 * fontMetrics().averageCharWidth());
    m_save->setObjectName(QStringLiteral("cmdSaveLog"));
    m_save->setToolTip(tr("Write all lines of the log to a file"));
    m_save->setAutoDefault(false);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(m_text);
    auto *row = new QHBoxLayout;
    layout->addLayout(row);
    row->addWidget(m_left, 1);
    row->addWidget(m_save);
    setFocusProxy(m_text);
}

void LogBox::setUp(Operator &op, std::function<void(const QString &path)> mayWrite)
{
    m_op = &op;
    m_mayWrite = std::move(mayWrite);
    connect(m_save, &QPushButton::clicked, this, &LogBox::save);
}

void LogBox::clear()
{
    m_text->clear();
    m_left->clear();
    m_all.clear();
    m_lines = 0;
}

void LogBox::append(const QString &text)
{
    m_text->moveCursor(QTextCursor::End);
    m_text->insertPlainText(text);
    m_all += text.toUtf8();
    m_lines += text.count(QLatin1Char('\n'));
    if (m_lines > mostShown)
        m_left->setText(tr("The last %1 of %2 lines are shown; saved, the log has them all.")
                            .arg(locale().toString(mostShown), locale().toString(m_lines)));
}

void LogBox::save()
{
    const QString path = m_op->saveFile(tr("Save Log"), QStringLiteral("TXT (*.txt)|*.txt"));
    if (path.isEmpty())
        return;
    try {
        m_mayWrite(path);
        QSaveFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(m_all) != m_all.size() || !file.commit())
            m_op->tell(tr("Cannot write %1: %2").arg(path, file.errorString()), tr("Error"));
    } catch (const std::exception &e) {
        m_op->tell(QString::fromUtf8(e.what()), tr("Error"));
    }
}
