#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QProcess>

/// A process of its own for what ends a process: this test program, run again with a case to play.
///
///     int main(int argc, char** argv)
///     {
///         QCoreApplication application(argc, argv);
///         if (const QString name = OwnProcess::caseToPlay(); !name.isEmpty())
///             return play(name);
///         ...
struct OwnProcess
{
    bool crashed = false; ///< false: it ended by itself, or did not end in time
    QByteArray errors;    ///< what it wrote to standard error

    static QString caseToPlay()
    {
        const QStringList arguments = QCoreApplication::arguments();
        return arguments.size() == 3 && arguments.at(1) == QLatin1String("--play") ? arguments.at(2)
                                                                                   : QString();
    }

    static OwnProcess play(const QString& name)
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_LOGGING_TO_CONSOLE"), QStringLiteral("1"));
        process.setProcessEnvironment(environment);
        process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--play"), name});
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
