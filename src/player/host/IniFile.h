#pragma once

#include <QString>
#include <QStringList>

/// A settings file of sections and `key=value` lines. Comments, unknown keys and the order of the lines
/// survive a save. UTF-8; a line that starts with # or ; is a comment; blanks around a value do not count.
class IniFile
{
public:
    explicit IniFile(const QString& fileName)
        : m_fileName(fileName)
    {
    }

    /// Reads the file. A missing file reads as empty, and exists() is false. False if the file cannot be read
    /// or parsed; `error` is then a sentence with file and line.
    bool load(QString* error);
    /// Replaces the whole file, readable by its owner only, and creates its folder if necessary. True: the
    /// new file survives a power cut. False: the old file is unchanged, and `reason` is the end of a
    /// sentence.
    bool save(QString* reason) const;

    QString fileName() const { return m_fileName; }
    bool exists() const { return m_exists; }
    /// The value of the first such key; null if there is none.
    QString value(const QString& section, const QString& key) const;
    /// Sets or adds a value. False, with no change and a sentence in `error`, if the value has a line break,
    /// a null character, or white space at an end: it would not read back unchanged.
    bool setValue(const QString& section, const QString& key, const QString& value, QString* error);

private:
    int find(const QString& section, const QString& key, int* sectionEnd) const;

    QString m_fileName;
    QStringList m_lines;
    bool m_exists = false;
};
