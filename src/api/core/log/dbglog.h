#pragma once

#include "api/core/export.h"

#include <QString>
#include <log4cplus/loggingmacros.h>

#include <ostream>
#include <string>

/// The text under which a traced function writes its entry and exit: its signature, as Q_FUNC_INFO gives it,
/// in GCC's spelling whatever the compiler. Empty where the named logger writes neither trace nor debug
/// records, so that no text is made that nobody reads. Any thread.
PELK_API_EXPORT std::string dbglog_scopedFunction(const std::string& signature,
                                                  const std::string& loggerName);

/// Qt's texts in log4cplus records, as UTF-8.
inline std::ostream& operator<<(std::ostream& stream, const QString& text)
{
    return stream << text.toStdString();
}
