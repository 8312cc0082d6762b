#include "messageboxoperator.h"

#include <QApplication>
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

} // namespace

void MessageBoxOperator::tell(const QString &text, const QString &title)
{
    const bool isError = title == QLatin1String("Error");
    show(isError ? QMessageBox::Warning : QMessageBox::Information, text, title, QMessageBox::Ok);
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
