#include "api/core/model/cmfilestore.h"

#include "api/core/json/pelkjson.h"
#include "api/core/model/cmsavefile.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

// A store is a handful of records; whatever is larger was not written here.
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
    else if (values.userType() != qMetaTypeId<PelkHash>())
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
