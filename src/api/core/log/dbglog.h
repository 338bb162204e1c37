#pragma once

#include "api/core/export.h"

#include <QString>
#include <log4cplus/loggingmacros.h>

#include <ostream>
#include <string>

/// The text with which a traced function logs its entry and exit: its signature from Q_FUNC_INFO, in GCC's
/// spelling with every compiler. Empty if the logger writes neither trace nor debug records, to save time.
/// Any thread.
PELK_API_EXPORT std::string dbglog_scopedFunction(const std::string& signature,
                                                  const std::string& loggerName);

/// Qt's texts in log4cplus records, as UTF-8.
inline std::ostream& operator<<(std::ostream& stream, const QString& text)
{
    return stream << text.toStdString();
}
