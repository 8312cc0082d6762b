#include "settingsstore.h"

#include "storageerror.h"
#include "unsubscribelist.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

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

QString read(const QSettings &store, const char *name)
{
    const QVariant value = store.value(QLatin1String(name));
    // In a file edited by hand a comma makes a list of the value; it is one text to us.
    const QString text = value.typeId() == QMetaType::QStringList
                             ? value.toStringList().join(QLatin1Char(','))
                             : value.toString();
    return text.section(QChar(u'\0'), 0, 0);
}

#ifdef Q_OS_WIN
struct NativeSettings : QSettings {
    NativeSettings()
        : QSettings(QStringLiteral("HKEY_CURRENT_USER\\Software\\Quillbright"),
                    QSettings::NativeFormat)
    {
    }
};
void makePrivate(const QString &) {}
#else
struct NativeSettings : QSettings {
    NativeSettings()
        : QSettings(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("Quillbright"),
                    QStringLiteral("Quillbright"))
    {
        setFallbacksEnabled(false);
    }
};

/// The file exists for its owner alone before the password is put into it.
void makePrivate(const QString &path)
{
    constexpr auto ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.exists() && file.open(QIODevice::NewOnly | QIODevice::WriteOnly, ownerOnly))
        file.close();
    file.setPermissions(ownerOnly);
}
#endif

} // namespace

SettingsStore::SettingsStore(const ProgramFolder &folder)
    : m_folder(folder)
{
}

QString SettingsStore::location()
{
    return NativeSettings().fileName();
}

Settings SettingsStore::load() const
{
    Settings settings;
    const NativeSettings store;
    for (const TextValue &value : texts)
        settings.*value.member = read(store, value.name);
    for (const SwitchValue &value : switches)
        settings.*value.member = read(store, value.name) == QLatin1String("1");
    try {
        settings.unsubscribed = loadUnsubscribeList(m_folder);
    } catch (const StorageError &) {
        // Who would mail somebody without it is told.
    }
    return settings;
}

void SettingsStore::save(const Settings &settings) const
{
    NativeSettings store;
    makePrivate(store.fileName());
    for (const TextValue &value : texts)
        store.setValue(QLatin1String(value.name), settings.*value.member);
    for (const SwitchValue &value : switches)
        store.setValue(QLatin1String(value.name),
                       settings.*value.member ? QStringLiteral("1") : QStringLiteral("0"));
    store.sync();
    saveUnsubscribeList(m_folder, settings.unsubscribed);
}
