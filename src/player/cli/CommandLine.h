#pragma once

#include "player/cli/CommandTable.h"

#include <QHash>

#include <optional>

/// What the command line says: a command of the table with the values of its parameters.
class CommandLine
{
public:
    /// Reads the arguments. Nothing, and `exitCode` set, when there is nothing more to do: help or the
    /// version was shown, or a sentence about what is wrong.
    static std::optional<CommandLine> parse(int argc, char** argv, const QString& version, int* exitCode);

    const Command& command() const { return *m_command; }
    /// By the name of a parameter; without "--" of an option.
    bool has(const char* name) const { return m_values.contains(QLatin1String(name)); }
    QStringList texts(const char* name) const { return m_values.value(QLatin1String(name)); }
    QString text(const char* name, const QString& otherwise = QString()) const
    {
        return texts(name).value(0, otherwise);
    }
    int whole(const char* name, int otherwise) const { return has(name) ? text(name).toInt() : otherwise; }

    QString configFile() const;
    QString moduleFolder() const;

private:
    const Command* m_command = nullptr;
    QHash<QString, QStringList> m_values;
};
