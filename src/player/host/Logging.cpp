#include "player/host/Logging.h"

#include "player/base/LogMask.h"
#include "player/base/PrintableText.h"
#include "player/host/ServiceManager.h"

#include <log4cplus/consoleappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

#include <cstdio>
#include <cstdlib>
#include <glib.h>
#include <memory>
#include <sstream>
#include <syslog.h>

namespace {

int syslogLevel(log4cplus::LogLevel level)
{
    if (level >= log4cplus::ERROR_LOG_LEVEL)
        return LOG_ERR;
    if (level >= log4cplus::WARN_LOG_LEVEL)
        return LOG_WARNING;
    return level >= log4cplus::INFO_LOG_LEVEL ? LOG_INFO : LOG_DEBUG;
}

class MaskingLayout final : public log4cplus::PatternLayout
{
public:
    MaskingLayout()
        : PatternLayout(ServiceManager::isJournal() ? LOG4CPLUS_TEXT("%c: %m%n")
                                                    : LOG4CPLUS_TEXT("%D{%H:%M:%S.%q} %-5p %c: %m%n"))
    {
    }

    void formatAndAppend(log4cplus::tostream& output,
                         const log4cplus::spi::InternalLoggingEvent& event) override
    {
        log4cplus::tostringstream stream;
        PatternLayout::formatAndAppend(stream, event);
        QString line = QString::fromStdString(stream.str());
        if (event.getLogLevel() > log4cplus::TRACE_LOG_LEVEL)
            line = maskSecrets(line);
        if (event.getLogLevel() > log4cplus::DEBUG_LOG_LEVEL)
            line = maskPersons(line);
        // Some records contain text from a service, which must not start a new line or control the terminal.
        line.chop(1);
        output << ServiceManager::journalPrefix(syslogLevel(event.getLogLevel())).toStdString()
               << printableText(line).toStdString() << '\n';
    }
};

void onGLibMessage(const gchar* domain, GLogLevelFlags level, const gchar* message, gpointer data)
{
    if ((level & (G_LOG_FLAG_FATAL | G_LOG_LEVEL_ERROR)) == 0) {
        g_log_default_handler(domain, level, message, data);
        return;
    }
    // Called on any thread and in any state of the library: must not wait or allocate much.
    std::fprintf(stderr, "pelk: Fatal error; the player exits. (%s: %s)\n", domain ? domain : "GLib",
                 message);
    std::_Exit(EXIT_FAILURE);
}

} // namespace

void Logging::endOnFatalMessages()
{
    g_log_set_default_handler(onGLibMessage, nullptr);
}

QStringList Logging::levels()
{
    return {QStringLiteral("off"),  QStringLiteral("error"), QStringLiteral("warn"),
            QStringLiteral("info"), QStringLiteral("debug"), QStringLiteral("trace")};
}

void Logging::setUp(const QString& level)
{
    static const log4cplus::Initializer initializer;
    const log4cplus::SharedAppenderPtr appender(new log4cplus::ConsoleAppender(true, true));
    appender->setLayout(std::make_unique<MaskingLayout>());
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    root.addAppender(appender);
    root.setLogLevel(log4cplus::getLogLevelManager().fromString(level.toUpper().toStdString()));
}
