#include "api/core/model/cmglobal.h"

QVariantList CMGlobal::itemRolesToList(const QStringList& roles, const PelkRoles& row)
{
    QVariantList values;
    values.reserve(roles.size());
    for (const QString& role : roles) {
        values.append(QVariant());
        row.entry(role, &values.last());
    }
    return values;
}
