#include "api/core/log/dbglog.h"

#include "api/types/trstring.h"

#include <log4cplus/logger.h>

std::string dbglog_scopedFunction(const std::string& signature, const std::string& loggerName)
{
    if (!log4cplus::Logger::getInstance(loggerName).isEnabledFor(log4cplus::DEBUG_LOG_LEVEL))
        return std::string();
    return trExtractContext(signature.c_str()).toStdString();
}
