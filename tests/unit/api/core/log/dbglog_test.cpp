#include "api/core/log/dbglog.h"

#include <QtTest>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>

#include <sstream>

class DbglogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theTextIsTheSignatureInOneSpelling_data()
    {
        QTest::addColumn<QByteArray>("signature");
        QTest::newRow("one compiler") << QByteArray("bool B::browse(const Request&)");
        QTest::newRow("another") << QByteArray("bool B::browse(const Request &)");
    }

    void theTextIsTheSignatureInOneSpelling()
    {
        QFETCH(QByteArray, signature);
        for (const log4cplus::LogLevel level : {log4cplus::TRACE_LOG_LEVEL, log4cplus::DEBUG_LOG_LEVEL}) {
            log4cplus::Logger::getInstance("DbglogTest").setLogLevel(level);
            QCOMPARE(dbglog_scopedFunction(signature.toStdString(), "DbglogTest"),
                     std::string("bool B::browse(const Request&)"));
        }
    }

    void disabledLevelsCreateNoText()
    {
        log4cplus::Logger::getInstance("DbglogTest").setLogLevel(log4cplus::INFO_LOG_LEVEL);
        QCOMPARE(dbglog_scopedFunction("void f()", "DbglogTest"), std::string());
    }

    void textsAreWrittenAsUtf8()
    {
        std::ostringstream stream;
        stream << QString::fromUtf8("é東🎵");
        QCOMPARE(stream.str(), std::string("é東🎵"));
    }

private:
    const log4cplus::Initializer m_log;
};

QTEST_GUILESS_MAIN(DbglogTest)
#include "dbglog_test.moc"
