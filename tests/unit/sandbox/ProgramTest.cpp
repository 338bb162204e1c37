#include "tests/support/builtprogram.h"

#include <QtTest>

/// The program as a person or a script starts it.
class ProgramTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void printsItsAddressAndEndsCleanly()
    {
        QProcess program;
        const QByteArray line = start(program, {});
        QVERIFY2(QRegularExpression(
                     QStringLiteral("^qobuz-sandbox: http://127\\.0\\.0\\.1:[0-9]+/api\\.json/0\\.2/\n$"))
                     .match(QString::fromUtf8(line))
                     .hasMatch(),
                 line.constData());
        program.terminate();
        QVERIFY(program.waitForFinished(5000));
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 0);
        QCOMPARE(program.readAllStandardOutput(), QByteArray());
        QCOMPARE(program.readAllStandardError(), QByteArray());
    }

    void aPortInUseIsReportedWithCode2()
    {
        QProcess first;
        const QByteArray line = start(first, {});
        const QByteArray port = line.mid(line.lastIndexOf(':') + 1).split('/').first();
        QProcess second;
        startBuiltProgram(second, program(), {QStringLiteral("--port"), QString::fromLatin1(port)});
        QVERIFY(second.waitForFinished(5000));
        QCOMPARE(second.exitCode(), 2);
        QVERIFY(second.readAllStandardError().contains("cannot listen on 127.0.0.1 port " + port));
        first.terminate();
        QVERIFY(first.waitForFinished(5000));
    }

    void wrongOptionsAreCode2_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::newRow("no number") << QStringList{QStringLiteral("--port"), QStringLiteral("x")};
        QTest::newRow("no such port") << QStringList{QStringLiteral("--port"), QStringLiteral("70000")};
        QTest::newRow("not loopback")
            << QStringList{QStringLiteral("--address"), QStringLiteral("192.0.2.1")};
        QTest::newRow("more featured than there are")
            << QStringList{QStringLiteral("--featured-albums"), QStringLiteral("12001")};
        QTest::newRow("unknown") << QStringList{QStringLiteral("--colour")};
    }

    void wrongOptionsAreCode2()
    {
        QFETCH(QStringList, options);
        QProcess process;
        startBuiltProgram(process, program(), options);
        QVERIFY(process.waitForFinished(5000));
        QCOMPARE(process.exitCode(), 2);
        QVERIFY(process.readAllStandardError().contains(options.first().toUtf8()));
    }

    void helpNamesTheDemoAccount()
    {
        QProcess process;
        startBuiltProgram(process, program(), {QStringLiteral("--help")});
        QVERIFY(process.waitForFinished(5000));
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(process.readAllStandardOutput().contains("user name demo@example.com, password demo"));
    }

private:
    static QString program() { return QStringLiteral(PROGRAM); }

    /// Starts it on a free port; gives its first line.
    static QByteArray start(QProcess& process, QStringList options)
    {
        options << QStringLiteral("--port") << QStringLiteral("0");
        startBuiltProgram(process, program(), options);
        while (!process.canReadLine() && process.waitForReadyRead(5000)) {
        }
        return process.readLine();
    }
};

QTEST_GUILESS_MAIN(ProgramTest)
#include "ProgramTest.moc"
