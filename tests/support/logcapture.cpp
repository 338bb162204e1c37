#include "tests/support/logcapture.h"

#include <QFileInfo>
#include <QStringList>
#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

class LogCapture::Appender : public log4cplus::Appender
{
public:
    ~Appender() override { destructorImpl(); }
    void close() override {}

    QMutex mutex;
    QList<Record> records;

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override
    {
        const QMutexLocker locker(&mutex);
        records.append({QString::fromStdString(event.getLoggerName()), event.getLogLevel(),
                        QString::fromStdString(event.getMessage()),
                        QFileInfo(QString::fromStdString(event.getFile())).fileName(), event.getLine()});
    }
};

namespace {

log4cplus::Logger loggerNamed(const QString& name)
{
    return log4cplus::Logger::getInstance(name.toStdString());
}

} // namespace

LogCapture::LogCapture(const QString& logger, log4cplus::LogLevel level)
    : m_logger(logger)
    , m_levelBefore(loggerNamed(logger).getLogLevel())
    , m_appender(new Appender)
{
    loggerNamed(logger).setLogLevel(level);
    loggerNamed(logger).addAppender(log4cplus::SharedAppenderPtr(m_appender));
}

LogCapture::~LogCapture()
{
    loggerNamed(m_logger).setLogLevel(m_levelBefore);
    loggerNamed(m_logger).removeAppender(log4cplus::SharedAppenderPtr(m_appender));
}

QList<LogCapture::Record> LogCapture::records() const
{
    const QMutexLocker locker(&m_appender->mutex);
    return m_appender->records;
}

QStringList LogCapture::texts(log4cplus::LogLevel level) const
{
    QStringList found;
    for (const Record& record : records())
        if (record.level == level)
            found << record.text;
    return found;
}

void LogCapture::clear()
{
    const QMutexLocker locker(&m_appender->mutex);
    m_appender->records.clear();
}

std::function<void(const QString& text)> LogCapture::noter() const
{
    return [appender = m_appender, kept = log4cplus::SharedAppenderPtr(m_appender)](const QString& text) {
        const QMutexLocker locker(&appender->mutex);
        appender->records.append({QString(), log4cplus::OFF_LOG_LEVEL, text, QString(), 0});
    };
}
