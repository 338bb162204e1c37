#pragma once

#include "tests/support/builtprogram.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QtTest>

/// A separate process for code that ends the process: this test program, started again with one case.
struct OwnProcess
{
    bool crashed = false; ///< false: it ended by itself, or did not end in time
    QByteArray errors;    ///< its standard error

    /// The main() of such a program: runs the tests, or the case for which the program was started again.
    template <typename Test>
    static int main(int argc, char** argv, int (*playCase)(const QString& name))
    {
        QCoreApplication application(argc, argv);
        const QStringList arguments = QCoreApplication::arguments();
        if (arguments.size() == 3 && arguments.at(1) == QLatin1String("--play"))
            return playCase(arguments.at(2));
        Test test;
        return QTest::qExec(&test, argc, argv);
    }

    static OwnProcess play(const QString& name)
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_LOGGING_TO_CONSOLE"), QStringLiteral("1"));
        process.setProcessEnvironment(environment);
        startBuiltProgram(process, QCoreApplication::applicationFilePath(), {QStringLiteral("--play"), name});
        OwnProcess outcome;
        outcome.crashed = process.waitForFinished(20000) && process.exitStatus() == QProcess::CrashExit;
        outcome.errors = process.readAllStandardError();
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished(5000);
        }
        return outcome;
    }
};
