#pragma once

#include "settings.h"

class ProgramFolder;

/// Where the settings are kept between two starts: eleven values in the file
/// Quillbright/Quillbright.conf of the user's configuration folder, and the unsubscribe list in the
/// program folder.
///
/// The file has lines `name=value`, in UTF-8. A value is all that stands after the "=", with
/// whatever characters: there is no quoting and no escaping, so it cannot hold a line break. Such a
/// file has a line that says so. One without that line may have been written by an earlier
/// version, which did quote and escape: where a value has exactly that version's form, it is read
/// as that version meant it; blanks around a value don't count there.
///
/// The password is in it, so it is for its owner alone: reading corrects other permissions, and
/// says so on stderr. Otherwise reading ignores errors: an unreadable file gives empty settings.
class SettingsStore final : public LiveSettings
{
public:
    /// `folder` must outlive the store.
    explicit SettingsStore(const ProgramFolder &folder);

    /// Where the person finds the store.
    static QString location();

    Settings load() const;
    /// Throws StorageError when one of the two files could not be saved, which then is as it was;
    /// the other one is saved.
    void save(const Settings &settings) const;

    /// For a program without option boxes, the stored values are the live ones.
    Settings current() const override { return load(); }

private:
    const ProgramFolder &m_folder;
};
