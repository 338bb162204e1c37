#include "api/core/model/cmfilestore.h"

#include "api/core/json/pelkjson.h"
#include "api/core/model/cmreadfile.h"
#include "api/core/model/cmsavefile.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

// A store contains a few records; a larger file was not written by it.
constexpr qint64 maximumSizeBytes = 1024 * 1024;

} // namespace

CMValueStore::~CMValueStore() = default;

bool CMValueStore::accepts(const CMPath& /*path*/, const PelkValue& /*value*/, QString* /*error*/) const
{
    return true;
}

CMFileStore::CMFileStore(const QString& fileName, QFileDevice::Permissions permissions)
    : m_fileName(fileName)
    , m_permissions(permissions)
{
    QByteArray text;
    QString reason;
    switch (cmReadFile(fileName, maximumSizeBytes, &text, &reason)) {
    case CMReadFile::Missing:
        return;
    case CMReadFile::Failed:
        setAside(reason); // the next write would replace it
        return;
    case CMReadFile::Done:
        break;
    }
    if (text.isEmpty()) // as erase() leaves it where it cannot be removed
        return;
    PelkError error;
    const QVariant values = PelkJson::parse(text, error);
    if (!error.isEmpty())
        setAside(error.message());
    else if (values.userType() != qMetaTypeId<PelkHash>())
        setAside(QStringLiteral("it is not a JSON object"));
    else
        m_values = values.toHash();
}

void CMFileStore::setAside(const QString& reason)
{
    const QString aside = m_fileName + QStringLiteral(".bad");
    // Not with QFile, which copies what it cannot rename: this may be an endless device.
    const QByteArray to = QFile::encodeName(aside);
    ::unlink(to.constData());
    if (::rename(QFile::encodeName(m_fileName).constData(), to.constData()) == 0)
        m_notice = QStringLiteral("%1 cannot be used (%2). It was renamed to %3, and its values start empty.")
                       .arg(m_fileName, reason, aside);
    else
        m_notice =
            QStringLiteral("%1 cannot be used (%2), so its values start empty.").arg(m_fileName, reason);
}

PelkValue CMFileStore::read(const CMPath& path) const
{
    return PelkValue(PelkHash::fromVariant(m_values.value(path.toString())));
}

bool CMFileStore::write(const CMPath& path, const PelkValue& value, QString* error)
{
    QVariantHash values = m_values;
    values.insert(path.toString(), value.hash());
    QString reason;
    const QByteArray text = QJsonDocument(QJsonObject::fromVariantHash(values)).toJson();
    if (!cmSaveFile(m_fileName, text, m_permissions, &reason)) {
        *error = QStringLiteral("%1 cannot be written: %2.").arg(m_fileName, reason);
        return false;
    }
    m_values = values;
    return true;
}

bool CMFileStore::erase(QString* error)
{
    const QByteArray name = QFile::encodeName(m_fileName);
    // Emptied first, so that the content is gone even if the file cannot be removed.
    const bool isEmpty = ::truncate(name.constData(), 0) == 0;
    const int truncateError = errno;
    const bool isMissing = truncateError == ENOENT || truncateError == ENOTDIR;
    if (::unlink(name.constData()) != 0 && !isEmpty && !isMissing) {
        *error = QStringLiteral("%1 cannot be emptied: %2.")
                     .arg(m_fileName, QString::fromLocal8Bit(std::strerror(truncateError)));
        return false;
    }
    m_values.clear();
    return true;
}
