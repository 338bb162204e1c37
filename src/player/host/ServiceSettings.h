#pragma once

#include "api/core/model/cmvaluestore.h"
#include "player/host/SettingsFiles.h"

/// The settings that a module needs: where its service is, how the player identifies itself to it, the sound
/// quality, and the device's own identifier. Kept in a file that people edit:
///
///     [qobuz]
///     apiUrl=https://host/path/
///     appId=...
///     appSecret=...
///     soundQuality=cd
///     [system]
///     memberId=...
///
/// With ServiceAccount this is the only place of the player that names the service.
class ServiceSettings : public CMValueStore
{
public:
    explicit ServiceSettings(const SettingsFiles& files)
        : m_files(files)
    {
    }

    /// Reads and checks the file, and creates the device's identifier if it is missing. False if something is
    /// missing or invalid: `error` then says which key of which file to set.
    bool load(QString* error);

    QString fileName() const { return m_files.fileName(); }
    /// A sentence if everybody on this machine can read the secret; usually empty.
    QString warning() const;

    /// The paths whose values are kept here.
    static QList<CMPath> paths();
    /// The paths that must not leave the process: their values are secrets or decide where secrets are sent.
    static QList<CMPath> privatePaths();
    /// A sound quality has to be one of those that can be chosen.
    bool accepts(const CMPath& path, const PelkValue& value, QString* error) const override;
    PelkValue read(const CMPath& path) const override;
    /// Writes the value into the current file and keeps lines that were added since the start. An unusable
    /// file is not changed.
    bool write(const CMPath& path, const PelkValue& value, QString* error) override;

private:
    bool check(QString* error) const;

    SettingsFiles m_files;
};
