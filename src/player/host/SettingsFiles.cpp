#include "player/host/SettingsFiles.h"

#include <QDir>
#include <sys/stat.h>

#include <algorithm>

SettingsFiles::SettingsFiles(const QString& ownFile, const QStringList& defaults)
    : m_own(ownFile)
{
    for (const QString& name : defaults)
        m_defaults.push_back(IniFile(name));
}

SettingsFiles SettingsFiles::unread() const
{
    SettingsFiles files(m_own.fileName());
    for (const IniFile& file : m_defaults)
        files.m_defaults.push_back(IniFile(file.fileName()));
    return files;
}

bool SettingsFiles::load(QString* error)
{
    return m_own.load(error) && std::all_of(m_defaults.begin(), m_defaults.end(),
                                            [error](IniFile& file) { return file.load(error); });
}

bool SettingsFiles::exists() const
{
    return m_own.exists() || std::any_of(m_defaults.cbegin(), m_defaults.cend(),
                                         [](const IniFile& file) { return file.exists(); });
}

QString SettingsFiles::value(const QString& section, const QString& key) const
{
    QString value = m_own.value(section, key);
    for (auto file = m_defaults.crbegin(); value.isNull() && file != m_defaults.crend(); ++file)
        value = file->value(section, key);
    return value;
}

QStringList SettingsFiles::readableByAll(const QString& section, const QString& key) const
{
    QStringList names;
    const auto check = [&](const IniFile& file) {
        struct stat found = {};
        if (!file.value(section, key).isEmpty() &&
            ::stat(QFile::encodeName(file.fileName()).constData(), &found) == 0 &&
            (found.st_mode & S_IROTH) != 0)
            names << file.fileName();
    };
    std::for_each(m_defaults.cbegin(), m_defaults.cend(), check);
    check(m_own);
    return names;
}

QStringList SettingsFiles::systemFiles()
{
    const QString variable = qEnvironmentVariable("XDG_CONFIG_DIRS");
    QStringList folders =
        (variable.isEmpty() ? QStringLiteral("/etc/xdg") : variable).split(QLatin1Char(':'));
    std::reverse(folders.begin(), folders.end());
    QStringList names;
    for (const QString& folder : qAsConst(folders)) {
        if (!QDir::isAbsolutePath(folder))
            continue;
        const QString main = folder + QStringLiteral("/pelk/pelk.ini");
        names << main;
        const QDir further(main + QStringLiteral(".d"));
        const QStringList found = further.entryList({QStringLiteral("*.ini")}, QDir::Files, QDir::Name);
        for (const QString& name : found)
            names << further.filePath(name);
    }
    const QString credentials = qEnvironmentVariable("CREDENTIALS_DIRECTORY");
    if (!credentials.isEmpty())
        names << credentials + QStringLiteral("/pelk.ini");
    return names;
}
