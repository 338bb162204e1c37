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

    /// Reads the file. One that is not there reads as empty and exists() tells so. False when it cannot be
    /// read or understood; `error` is then a sentence with file and line.
    bool load(QString* error);
    /// Replaces the file as a whole, readable by its owner alone, and makes its folder where there is none.
    /// When it returns true the file survives a power cut; else what was there before is still there, and
    /// `reason` is the end of a sentence.
    bool save(QString* reason) const;

    QString fileName() const { return m_fileName; }
    bool exists() const { return m_exists; }
    /// The value of the first such key; a null text where there is none.
    QString value(const QString& section, const QString& key) const;
    /// Sets or adds a value. False, with nothing changed and a sentence in `error`, when the value would not
    /// be read back as it is: it has a line break or a null character, or white space at an end.
    bool setValue(const QString& section, const QString& key, const QString& value, QString* error);

private:
    int find(const QString& section, const QString& key, int* sectionEnd) const;

    QString m_fileName;
    QStringList m_lines;
    bool m_exists = false;
};
