#pragma once

#include <QProcess>

/// Starts a program that was built with the tests. If it was built for another architecture, the environment
/// variable PELK_TEST_EMULATOR names the emulator that runs it.
inline void startBuiltProgram(QProcess& process, const QString& program, const QStringList& arguments)
{
    const QString emulator = qEnvironmentVariable("PELK_TEST_EMULATOR");
    if (emulator.isEmpty())
        process.start(program, arguments);
    else
        process.start(emulator, QStringList{program} + arguments);
}
