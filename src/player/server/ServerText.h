#pragma once

#include "api/types/trstring.h"

#include <QtGlobal>

/// A text of the panel's server, for the catalogues to find: serverText(QT_TRANSLATE_NOOP("PanelServer",
/// "…")).
inline TrString serverText(const char* source, const QList<TrArg>& arguments = {})
{
    return {TrCharData{"PanelServer", source}, arguments};
}
