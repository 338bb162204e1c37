#pragma once

#include "api/core/export.h"
#include "api/types/pelkroles.h"

#include <QStringList>

/// Helpers for rows.
namespace CMGlobal {

/// The values of these roles of a row, in their order; invalid if the row has none.
PELK_API_EXPORT QVariantList itemRolesToList(const QStringList& roles, const PelkRoles& row);

} // namespace CMGlobal
