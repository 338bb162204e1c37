#pragma once

#include "player/host/IniFile.h"

#include <vector>

/// The settings of the player: its own file, which it reads and writes, and files that it only reads. If
/// several files set a key, the own file decides, otherwise the last one that sets it.
class SettingsFiles
{
public:
    /// `defaults`: the files that are only read, which may be missing.
    SettingsFiles(const QString& ownFile, const QStringList& defaults = {});

    /// The same files, not read yet.
    SettingsFiles unread() const;

    /// Reads all files. False if one cannot be read or parsed; `error` is then a sentence with file and line.
    bool load(QString* error);
    /// Saves the own file; see IniFile::save().
    bool save(QString* reason) const { return m_own.save(reason); }

    QString fileName() const { return m_own.fileName(); }
    /// Whether the own file exists.
    bool ownExists() const { return m_own.exists(); }
    /// Whether any of the files exists.
    bool exists() const;
    QString value(const QString& section, const QString& key) const;
    /// Sets a value in the own file; see IniFile::setValue().
    bool setValue(const QString& section, const QString& key, const QString& value, QString* error)
    {
        return m_own.setValue(section, key, value, error);
    }
    /// The files that set this key and that all users of this machine can read.
    QStringList readableByAll(const QString& section, const QString& key) const;

    /// The files that this process only reads, in their order: of each folder of XDG_CONFIG_DIRS
    /// pelk/pelk.ini and pelk/pelk.ini.d/*.ini, the most important folder last, then the service manager's
    /// credential pelk.ini.
    static QStringList systemFiles();

private:
    IniFile m_own;
    std::vector<IniFile> m_defaults;
};
