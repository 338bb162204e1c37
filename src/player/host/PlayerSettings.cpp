#include "player/host/PlayerSettings.h"

#include <QSysInfo>

namespace {

const QString section = QStringLiteral("player");
const QString on = QStringLiteral("on");
const QString off = QStringLiteral("off");
constexpr int loudestPercent = 100;
constexpr int longestNameBytes = 63; // of a service in the network

QString keyOf(const CMPath& path)
{
    return path.base().section(QLatin1Char('/'), -1);
}

QString defaultOf(const CMPath& path)
{
    if (path == PlayerSettings::namePath())
        return QSysInfo::machineHostName();
    return path == PlayerSettings::volumeLimitPath() ? QString::number(loudestPercent) : on;
}

/// The rule that a value violates, as the end of a sentence; empty if the value is valid.
QString whatIsWrongWith(const CMPath& path, const QString& text)
{
    if (path == PlayerSettings::historyPath())
        return text == on || text == off ? QString() : QStringLiteral("on or off");
    if (path == PlayerSettings::namePath())
        return text.trimmed().isEmpty() || text.toUtf8().size() > longestNameBytes
                   ? QStringLiteral("a name of at most 63 bytes")
                   : QString();
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    return isNumber && number >= 0 && number <= loudestPercent
               ? QString()
               : QStringLiteral("a whole number from 0 to 100");
}

} // namespace

CMPath PlayerSettings::volumeLimitPath()
{
    return CMPath(QStringLiteral("settings:player/volumeLimit"));
}

CMPath PlayerSettings::historyPath()
{
    return CMPath(QStringLiteral("settings:player/history"));
}

CMPath PlayerSettings::namePath()
{
    return CMPath(QStringLiteral("settings:player/name"));
}

bool PlayerSettings::load(QString* error)
{
    if (!m_files.load(error))
        return false;
    for (const CMPath& path : paths()) {
        const QString text = m_files.value(section, keyOf(path));
        const QString wanted = text.isEmpty() ? QString() : whatIsWrongWith(path, text);
        if (wanted.isEmpty())
            continue;
        *error = QStringLiteral("%1 under [%2] in %3 is \"%4\"; set it to %5.")
                     .arg(keyOf(path), section, m_files.fileName(), text, wanted);
        return false;
    }
    return true;
}

bool PlayerSettings::accepts(const CMPath& path, const PelkValue& value, QString* error) const
{
    const QString wanted = whatIsWrongWith(path, value.string_());
    if (wanted.isEmpty())
        return true;
    *error = QStringLiteral("%1 must be %2.").arg(keyOf(path), wanted);
    return false;
}

PelkValue PlayerSettings::read(const CMPath& path) const
{
    const QString text = m_files.value(section, keyOf(path));
    PelkValue value;
    value.setString_(text.isEmpty() ? defaultOf(path) : text);
    return value;
}

bool PlayerSettings::write(const CMPath& path, const PelkValue& value, QString* error)
{
    SettingsFiles changed = m_files.unread();
    QString reason;
    if (!changed.load(&reason)) {
        *error = QStringLiteral("Nothing was saved: the settings file was changed and cannot be used as it "
                                "is now. Correct it, or undo the change.");
        return false;
    }
    if (!changed.ownExists())
        changed = m_files;
    if (!changed.setValue(section, keyOf(path), value.string_(), error))
        return false;
    if (!changed.save(&reason)) {
        *error = QStringLiteral("The settings cannot be saved: %1.").arg(reason);
        return false;
    }
    m_files = changed;
    return true;
}

int PlayerSettings::volumeLimitPercent(const PelkValue& value)
{
    return value.string_().toInt();
}

bool PlayerSettings::keepsHistory(const PelkValue& value)
{
    return value.string_() != off;
}
