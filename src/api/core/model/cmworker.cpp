#include "api/core/model/cmworker.h"

CMWorker::CMWorker(const QHash<QString, QVariant>& configuration, const QString& name)
    : m_configuration(configuration)
    , m_name(name)
{
}

CMPath CMWorker::addPrefix(const QString& base) const
{
    return CMPath(m_name + QLatin1Char(':')) + base;
}

PelkValue CMWorker::getValue(const CMPath& path)
{
    return CMRoot()->getValue(path);
}

void CMWorker::setValue(const CMPath& path, const PelkValue& value, const CMReply<QVariant>& reply)
{
    CMRoot()->setValue(path, value, reply);
}

void CMWorker::invoke(const CMPath& path, const PelkHash& arguments, const CMReply<QVariant>& reply)
{
    CMRoot()->invoke(path, arguments, reply);
}
