#pragma once

#include <QWidget>

#include <functional>

class Operator;
class QLabel;
class QPlainTextEdit;
class QPushButton;

/// The log of a long operation: shows its last lines, and saves all of them to a file. Its text is
/// named "txtLog", its button "cmdSaveLog".
class LogBox final : public QWidget
{
    Q_OBJECT

public:
    /// A text box becomes slow with more lines.
    static constexpr int mostShown = 100'000;

    explicit LogBox(QWidget *parent = nullptr);

    /// Once. `mayWrite` throws where the file of a path must not be replaced. `op` must outlive the
    /// box.
    void setUp(Operator &op, std::function<void(const QString &path)> mayWrite);
    void clear();
    /// `text`: one line or many, each ended by CR LF.
    void append(const QString &text);
    /// To be disabled while the operation goes on.
    QPushButton *saveButton() const { return m_save; }

private:
    void save();

    QPlainTextEdit *m_text;
    QLabel *m_left;
    QPushButton *m_save;
    Operator *m_op = nullptr;
    std::function<void(const QString &path)> m_mayWrite;
    QByteArray m_all; // also what is not shown any more
    qint64 m_lines = 0;
};
