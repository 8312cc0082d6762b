#include "messageboxoperator.h"

#include <QApplication>
#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>

namespace
{

QString orProgramName(const QString &title)
{
    return title.isEmpty() ? QStringLiteral("Quillbright") : title;
}

int show(QMessageBox::Icon icon, const QString &text, const QString &title,
         QMessageBox::StandardButtons buttons)
{
    QMessageBox box(icon, orProgramName(title), text, buttons, QApplication::activeWindow());
    // Names and server replies are shown as they are, not as markup.
    box.setTextFormat(Qt::PlainText);
    return box.exec();
}

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
    show(isError ? QMessageBox::Warning : QMessageBox::Information, text, title, QMessageBox::Ok);
}

void MessageBoxOperator::warn(const QString &text, const QString &title)
{
    show(QMessageBox::Warning, text, title, QMessageBox::Ok);
}

bool MessageBoxOperator::ask(const QString &text, const QString &title)
{
    return show(QMessageBox::Question, text, title, QMessageBox::Yes | QMessageBox::No) ==
           QMessageBox::Yes;
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
