#include "settingsstore.h"

#include "programfolder.h"
#include "storageerror.h"
#include "textdecoding.h"
#include "unsubscribelist.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSettings>

#include <algorithm>

namespace
{

struct TextValue {
    const char *name;
    QString Settings::*member;
};
struct SwitchValue {
    const char *name;
    bool Settings::*member;
};

constexpr TextValue texts[] = {
    {"Operator", &Settings::operatorAddress},
    {"SMTP", &Settings::smtpServer},
    {"Username", &Settings::account},
    {"Password", &Settings::password},
};
constexpr SwitchValue switches[] = {
    {"Login", &Settings::requireLogon},
    {"Log", &Settings::logOutgoing},
    {"ValidateEmail", &Settings::validateAddresses},
};

struct NumberValue {
    const char *name;
    int &(*of)(Settings &settings);
    int most;
};
constexpr NumberValue numbers[] = {
    {"LimitMinute", [](Settings &s) -> int & { return s.limits.perMinute; }, mostMessages},
    {"LimitHour", [](Settings &s) -> int & { return s.limits.perHour; }, mostMessages},
    {"LimitDay", [](Settings &s) -> int & { return s.limits.perDay; }, mostMessages},
    {"RerunWait", [](Settings &s) -> int & { return s.rerunWaitMinutes; }, mostRerunWaitMinutes},
};

/// Stands in a file in which every value stands as it is.
constexpr char mark[] = "# name=value, each value as it stands to the end of its line";

/// What `value` meant in a file without the mark, which an earlier version of the program may have
/// written: it put values with one of ";,=" or a blank at an end into quotes, and a backslash
/// before quotes and backslashes. A value that it would not have written just so is somebody's own,
/// and stands as it is.
QString unescaped(QString value)
{
    static const QRegularExpression quoted(
        QStringLiteral(R"re(^"((?=.*[;,=]| |.* "$)(?:[^"\\]|\\["\\])*)"$)re"));
    static const QRegularExpression bare(QStringLiteral(R"(^(?:[^"\\;,=]|\\["\\])*$)"));
    static const QRegularExpression escape(QStringLiteral(R"(\\(.))"));
    if (const auto match = quoted.match(value); match.hasMatch())
        value = match.captured(1);
    else if (!bare.match(value).hasMatch())
        return value;
    if (value.startsWith(QLatin1String("@@")))
        value.remove(0, 1);
    return value.replace(escape, QStringLiteral("\\1"));
}

/// The values of the file by their names.
QHash<QString, QString> readValues(const QString &path)
{
    QHash<QString, QString> values;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return values;
    if (makePrivate(path))
        qWarning("%s could be read by others than you; this is mended. The password in it may be "
                 "known.",
                 qUtf8Printable(path));
    const QString text = decodeFile(file.readAll()).remove(u'\r');
    const bool marked = text.contains(QLatin1String(mark));
    for (const QString &line : text.split(u'\n')) {
        const QString name = line.section(u'=', 0, 0);
        QString value = line.section(u'=', 1);
        // Who puts blanks before the "=" means none after it.
        if (!marked || name.endsWith(u' '))
            value = value.trimmed();
        values[name.trimmed()] = marked ? value : unescaped(value);
    }
    return values;
}

} // namespace

SettingsStore::SettingsStore(const ProgramFolder &folder)
    : m_folder(folder)
{
}

QString SettingsStore::location()
{
    return QSettings(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("Quillbright"),
                     QStringLiteral("Quillbright"))
        .fileName();
}

Settings SettingsStore::load() const
{
    Settings settings;
    const auto values = readValues(location());
    for (const TextValue &value : texts)
        settings.*value.member =
            values.value(QLatin1String(value.name)).section(QChar(u'\0'), 0, 0);
    for (const SwitchValue &value : switches)
        settings.*value.member = values.value(QLatin1String(value.name)) == QLatin1String("1");
    for (const NumberValue &value : numbers) {
        bool isNumber = false;
        const qint64 stored =
            values.value(QLatin1String(value.name)).trimmed().toLongLong(&isNumber);
        value.of(settings) = isNumber ? int(std::clamp<qint64>(stored, 0, value.most)) : 0;
    }
    try {
        settings.unsubscribed = loadUnsubscribeList(m_folder);
    } catch (const StorageError &) {
        // Who would mail somebody without it is told.
    }
    return settings;
}

void SettingsStore::save(const Settings &settings) const
{
    static const QRegularExpression lineEnd(QStringLiteral("[\\r\\n\\x00]"));
    QByteArray lines = mark + QByteArray("\n[General]\n");
    for (const TextValue &value : texts)
        lines += value.name + QByteArray("=") +
                 (settings.*value.member).section(lineEnd, 0, 0).toUtf8() + '\n';
    for (const SwitchValue &value : switches)
        lines += value.name + QByteArray(settings.*value.member ? "=1\n" : "=0\n");
    Settings numbered = settings;
    for (const NumberValue &value : numbers)
        lines += value.name + QByteArray("=") + QByteArray::number(value.of(numbered)) + '\n';
    QDir().mkpath(QFileInfo(location()).path());
    // Private before the password is in it.
    QSaveFile file(location());
    const bool isSaved = file.open(QIODevice::WriteOnly) &&
                         file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner) &&
                         file.write(lines) == lines.size() && file.commit();
    saveUnsubscribeList(m_folder, settings.unsubscribed);
    if (!isSaved)
        fileFailure(QStringLiteral("The settings cannot be saved in %1: %2")
                        .arg(file.fileName(), file.errorString()));
}
