#pragma once

#include "api/core/export.h"
#include "api/types/pelkroles.h"

#include <QStringList>

/// Helpers for rows.
namespace CMGlobal {

/// The values of the given roles of a row, one entry a role in their order; invalid where the row has none.
PELK_API_EXPORT QVariantList itemRolesToList(const QStringList& roles, const PelkRoles& row);

} // namespace CMGlobal
