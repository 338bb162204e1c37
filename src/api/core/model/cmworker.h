#pragma once

#include "api/core/model/cmabstractworker.h"

#include <QHash>

/// A worker with a name, which is also the prefix of its paths. Reading and writing values and calling
/// operations are left to the root worker.
class PELK_API_EXPORT CMWorker : public CMAbstractWorker
{
    Q_OBJECT

public:
    CMWorker(const QHash<QString, QVariant>& configuration, const QString& name);

    QString name() const { return m_name; }
    const QHash<QString, QVariant>& configuration() const { return m_configuration; }
    /// The path of a base below this worker.
    CMPath addPrefix(const QString& base) const;

    PelkValue getValue(const CMPath& path) override;
    void setValue(const CMPath& path, const PelkValue& value, const CMReply<QVariant>& reply) override;
    void invoke(const CMPath& path, const PelkHash& arguments, const CMReply<QVariant>& reply) override;

private:
    QHash<QString, QVariant> m_configuration;
    QString m_name;
};
