#pragma once

#include "api/core/model/cmvaluestore.h"
#include "player/host/SettingsFiles.h"

/// The listener's settings of the player itself, in the section [player] of the settings file. Each is a
/// value of the content model, a PelkValue with a text:
///
///     volumeLimit=100   the loudest that the volume goes, 0 to 100
///     history=on        whether what was played is remembered: on or off
///     name=             what the player is called in the network; without, as its machine is
class PlayerSettings : public CMValueStore
{
public:
    explicit PlayerSettings(const SettingsFiles& files)
        : m_files(files)
    {
    }

    static CMPath volumeLimitPath();
    static CMPath historyPath();
    static CMPath namePath();
    static QList<CMPath> paths() { return {volumeLimitPath(), historyPath(), namePath()}; }

    /// Reads and checks the section. False when a value is wrong: `error` then says which key of which file
    /// to set.
    bool load(QString* error);

    bool accepts(const CMPath& path, const PelkValue& value, QString* error) const override;
    PelkValue read(const CMPath& path) const override;
    /// Writes the value into the file as it stands now.
    bool write(const CMPath& path, const PelkValue& value, QString* error) override;

    /// The meaning of a value at volumeLimitPath().
    static int volumeLimitPercent(const PelkValue& value);
    /// The meaning of a value at historyPath().
    static bool keepsHistory(const PelkValue& value);

private:
    SettingsFiles m_files;
};
