#pragma once

#include "fuzz/input.h"
#include "fuzz/readvalue.h"

#include <QFile>
#include <QTemporaryDir>

/// A file with this text in a folder of the process, for as long as the object lives.
class ScratchFile
{
public:
    ScratchFile(const char* name, const QByteArray& text)
        : m_name(folder() + QLatin1Char('/') + QLatin1String(name))
    {
        QFile file(m_name);
        require(file.open(QIODevice::WriteOnly) && file.write(text) == text.size(),
                "The scratch folder can be used.");
    }
    ~ScratchFile()
    {
        QFile::remove(m_name);
        QFile::remove(m_name + QStringLiteral(".bad"));
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    const QString& name() const { return m_name; }
    QByteArray text() const
    {
        QFile file(m_name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    bool isPrivate() const
    {
        const auto others = QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup |
                            QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther;
        return !(QFile::permissions(m_name) & others);
    }

private:
    static QString folder()
    {
        static const QTemporaryDir made;
        return made.path();
    }

    QString m_name;
};

// Fuzzers do not test power cuts, and waiting for the disk would take most of the time.
extern "C" int fsync(int /*file*/)
{
    return 0;
}
extern "C" int fdatasync(int /*file*/)
{
    return 0;
}
