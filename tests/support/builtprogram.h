#pragma once

#include <QProcess>

/// Starts a program that was built with the tests. Where it was built for another kind of machine, the
/// environment variable PELK_TEST_EMULATOR names the emulator that runs it.
inline void startBuiltProgram(QProcess& process, const QString& program, const QStringList& arguments)
{
    const QString emulator = qEnvironmentVariable("PELK_TEST_EMULATOR");
    if (emulator.isEmpty())
        process.start(program, arguments);
    else
        process.start(emulator, QStringList{program} + arguments);
}
