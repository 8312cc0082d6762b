#pragma once

#include "settings.h"

class ProgramFolder;
class QSettings;

/// Where the settings are kept between two starts: seven text values in the user's own store (on
/// Linux the file Quillbright/Quillbright.conf in the configuration folder, readable by its owner
/// alone because the password is in it; on Windows the registry), and the unsubscribe list in the
/// program folder. Reading and writing ignore errors: an unreadable store gives empty settings, an
/// unwritable one keeps what it had.
class SettingsStore final : public LiveSettings
{
public:
    /// `folder` must outlive the store.
    explicit SettingsStore(const ProgramFolder &folder);

    /// Where the person finds the store.
    static QString location();

    Settings load() const;
    /// Throws StorageError when the unsubscribe list could not be saved; the others were.
    void save(const Settings &settings) const;

    /// For a program without option boxes, the stored values are the live ones.
    Settings current() const override { return load(); }

private:
    const ProgramFolder &m_folder;
};
