#pragma once

#include <QList>
#include <QMutex>
#include <QString>
#include <log4cplus/loglevel.h>

#include <functional>

/// Collects the records of one logger, from any thread, during its lifetime. Meanwhile the logger's level is
/// lowered to `level`.
class LogCapture
{
public:
    struct Record
    {
        QString logger;
        log4cplus::LogLevel level;
        QString text;
        QString file; ///< file name without folders
        int line;
    };

    explicit LogCapture(const QString& logger, log4cplus::LogLevel level = log4cplus::TRACE_LOG_LEVEL);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    QList<Record> records() const;
    /// The texts of the records at one level, in order.
    QStringList texts(log4cplus::LogLevel level) const;
    bool contains(log4cplus::LogLevel level, const QString& text) const
    {
        return texts(level).contains(text);
    }
    void clear();
    /// Adds a text of the test to the records, to mark a position among them. May be called from any thread,
    /// also after the capture was deleted.
    std::function<void(const QString& text)> noter() const;

private:
    class Appender;
    QString m_logger;
    log4cplus::LogLevel m_levelBefore;
    Appender* m_appender; // log4cplus counts the references
};
