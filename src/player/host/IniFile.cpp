#include "player/host/IniFile.h"

#include "api/core/model/cmreadfile.h"
#include "api/core/model/cmsavefile.h"

#include <QTextCodec>

namespace {

constexpr qint64 maximumSizeBytes = 1024 * 1024;

bool isComment(const QString& line)
{
    return line.isEmpty() || line.startsWith(QLatin1Char('#')) || line.startsWith(QLatin1Char(';'));
}

bool isSection(const QString& line)
{
    return line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'));
}

QString sectionName(const QString& line)
{
    return line.mid(1, line.size() - 2).trimmed();
}

} // namespace

bool IniFile::load(QString* error)
{
    m_lines.clear();
    QByteArray bytes;
    QString reason;
    const CMReadFile outcome = cmReadFile(m_fileName, maximumSizeBytes, &bytes, &reason);
    m_exists = outcome != CMReadFile::Missing;
    if (!m_exists)
        return true;
    if (outcome == CMReadFile::Failed) {
        *error = QStringLiteral("The settings file %1 cannot be read: %2.").arg(m_fileName, reason);
        return false;
    }
    QTextCodec::ConverterState state;
    const QString text =
        QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    if (state.invalidChars > 0 || state.remainingChars > 0 || text.contains(QChar::Null)) {
        *error = QStringLiteral("The settings file %1 is not UTF-8 text.").arg(m_fileName);
        return false;
    }
    m_lines = text.split(QLatin1Char('\n'));
    if (m_lines.last().isEmpty())
        m_lines.removeLast();
    for (int i = 0; i < m_lines.size(); ++i) {
        const QString line = m_lines.at(i).trimmed();
        if (isComment(line) || isSection(line) || line.indexOf(QLatin1Char('=')) > 0)
            continue;
        *error = QStringLiteral("Line %1 of the settings file %2 is neither a [section] nor key=value.")
                     .arg(i + 1)
                     .arg(m_fileName);
        return false;
    }
    return true;
}

bool IniFile::save(QString* reason) const
{
    const QByteArray text = (m_lines.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8();
    return cmSaveFile(m_fileName, text, QFileDevice::ReadOwner | QFileDevice::WriteOwner, reason);
}

int IniFile::find(const QString& section, const QString& key, int* sectionEnd) const
{
    QString current;
    *sectionEnd = -1;
    for (int i = 0; i < m_lines.size(); ++i) {
        const QString line = m_lines.at(i).trimmed();
        if (isSection(line))
            current = sectionName(line);
        if (current != section || isComment(line))
            continue;
        *sectionEnd = i + 1;
        if (!isSection(line) && line.left(line.indexOf(QLatin1Char('='))).trimmed() == key)
            return i;
    }
    return -1;
}

QString IniFile::value(const QString& section, const QString& key) const
{
    int sectionEnd = -1;
    const int at = find(section, key, &sectionEnd);
    if (at < 0)
        return QString();
    const QString& line = m_lines.at(at);
    return line.mid(line.indexOf(QLatin1Char('=')) + 1).trimmed();
}

bool IniFile::setValue(const QString& section, const QString& key, const QString& value, QString* error)
{
    if (value.contains(QLatin1Char('\n')) || value.contains(QChar::Null) || value != value.trimmed()) {
        *error = QStringLiteral("%1 cannot be saved in the settings file %2: a value must be one line "
                                "without white space at its ends.")
                     .arg(key, m_fileName);
        return false;
    }
    const QString line = key + QLatin1Char('=') + value;
    int sectionEnd = -1;
    const int at = find(section, key, &sectionEnd);
    if (at >= 0)
        m_lines[at] = line;
    else if (sectionEnd >= 0)
        m_lines.insert(sectionEnd, line);
    else
        m_lines << QLatin1Char('[') + section + QLatin1Char(']') << line;
    return true;
}
