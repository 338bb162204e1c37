#include "api/core/model/cmfilestore.h"

#include "api/core/json/pelkjson.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <fcntl.h>
#include <unistd.h>

namespace {

// A store is a handful of records; whatever is larger was not written here.
constexpr qint64 maximumSizeBytes = 1024 * 1024;

/// A file that replaces another survives a power cut once its folder is on disk too. Not every file system
/// can be asked; one that cannot is no failure.
void keepName(const QString& folder)
{
    const int descriptor = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    ::fsync(descriptor);
    ::close(descriptor);
}

} // namespace

CMValueStore::~CMValueStore() = default;

CMFileStore::CMFileStore(const QString& fileName, QFileDevice::Permissions permissions)
    : m_fileName(fileName)
    , m_permissions(permissions)
{
    QFile file(fileName);
    if (!file.exists())
        return;
    if (!file.open(QIODevice::ReadOnly)) {
        setAside(file.errorString()); // the next write would replace it
        return;
    }
    if (file.size() > maximumSizeBytes) {
        setAside(QStringLiteral("it is larger than 1 MiB"));
        return;
    }
    PelkError error;
    const QVariant values = PelkJson::parse(file.readAll(), error);
    file.close();
    if (!error.isEmpty())
        setAside(error.message());
    else if (values.userType() != QMetaType::QVariantHash)
        setAside(QStringLiteral("it is no JSON object"));
    else
        m_values = values.toHash();
}

void CMFileStore::setAside(const QString& reason)
{
    const QString aside = m_fileName + QStringLiteral(".bad");
    QFile::remove(aside);
    if (QFile::rename(m_fileName, aside))
        m_notice =
            QStringLiteral("%1 cannot be used (%2). It was set aside as %3, and what it held starts empty.")
                .arg(m_fileName, reason, aside);
    else
        m_notice =
            QStringLiteral("%1 cannot be used (%2), so what it held starts empty.").arg(m_fileName, reason);
}

PelkValue CMFileStore::read(const CMPath& path) const
{
    return PelkValue(PelkHash(m_values.value(path.toString()).toHash()));
}

bool CMFileStore::write(const CMPath& path, const PelkValue& value, QString* error)
{
    QVariantHash values = m_values;
    values.insert(path.toString(), value.variant());
    QDir().mkpath(QFileInfo(m_fileName).absolutePath());
    QSaveFile file(m_fileName);
    // The permissions are set before anything is in the file, since it may hold a secret.
    const QByteArray text = QJsonDocument(QJsonObject::fromVariantHash(values)).toJson();
    // Flushed before the commit, which does not look at what comes of its own flush: on a full disk it would
    // put an empty file in the place of the old one.
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(m_permissions) ||
        file.write(text) != text.size() || !file.flush() || !file.commit()) {
        *error = QStringLiteral("%1 cannot be written: %2.").arg(m_fileName, file.errorString());
        return false;
    }
    keepName(QFileInfo(m_fileName).absolutePath());
    m_values = values;
    return true;
}
