#include "messageboxoperator.h"

#include <QApplication>
#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>
#include <QPushButton>

namespace
{

QString orProgramName(const QString &title)
{
    return title.isEmpty() ? QStringLiteral("Quillbright") : title;
}

/// A box whose names and server replies are shown as they are, not as markup.
class PlainBox final : public QMessageBox
{
public:
    PlainBox(Icon icon, const QString &text, const QString &title, StandardButtons buttons)
        : QMessageBox(icon, orProgramName(title), text, buttons, QApplication::activeWindow())
    {
        setTextFormat(Qt::PlainText);
    }
};

/// "Text (*.txt;*.csv)|*.txt;*.csv" becomes "Text (*.txt;*.csv) (*.txt *.csv)", of which the dialog
/// shows the first part.
QString nameFilters(const QString &filter)
{
    const QStringList parts = filter.split(QLatin1Char('|'));
    QStringList filters;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        QStringList patterns = parts[i + 1].split(QLatin1Char(';'));
        // It stands for every file, also for those without a dot.
        patterns.replaceInStrings(QStringLiteral("*.*"), QStringLiteral("*"));
        filters +=
            parts[i] + QStringLiteral(" (") + patterns.join(QLatin1Char(' ')) + QLatin1Char(')');
    }
    return filters.join(QStringLiteral(";;"));
}

} // namespace

void MessageBoxOperator::tell(const QString &text, const QString &title)
{
    const bool isError = title == QLatin1String("Error");
    PlainBox(isError ? QMessageBox::Warning : QMessageBox::Information, text, title,
             QMessageBox::Ok)
        .exec();
}

void MessageBoxOperator::warn(const QString &text, const QString &title)
{
    PlainBox(QMessageBox::Warning, text, title, QMessageBox::Ok).exec();
}

bool MessageBoxOperator::ask(const QString &text, const QString &title)
{
    PlainBox box(QMessageBox::Question, text, title, QMessageBox::Yes | QMessageBox::No);
    box.setDefaultButton(QMessageBox::No);
    return box.exec() == QMessageBox::Yes;
}

int MessageBoxOperator::choose(const QString &text, const QString &title,
                               const QStringList &buttons, int preset)
{
    PlainBox box(QMessageBox::Question, text, title, QMessageBox::NoButton);
    QList<QAbstractButton *> shown;
    for (const QString &button : buttons)
        shown += box.addButton(button, QMessageBox::ActionRole);
    box.setDefaultButton(static_cast<QPushButton *>(shown[preset]));
    box.setEscapeButton(shown.last());
    box.exec();
    return int(shown.indexOf(box.clickedButton()));
}

QString MessageBoxOperator::inputPassword(const QString &prompt, const QString &title)
{
    return QInputDialog::getText(QApplication::activeWindow(), title, prompt, QLineEdit::Password);
}

QString MessageBoxOperator::openFile(const QString &title, const QString &filter,
                                     const QString &folder)
{
    return QFileDialog::getOpenFileName(QApplication::activeWindow(), title, folder,
                                        nameFilters(filter), nullptr,
                                        QFileDialog::HideNameFilterDetails);
}

QString MessageBoxOperator::saveFile(const QString &title, const QString &filter,
                                     const QString &folder)
{
    return QFileDialog::getSaveFileName(QApplication::activeWindow(), title, folder,
                                        nameFilters(filter), nullptr,
                                        QFileDialog::HideNameFilterDetails);
}
