#pragma once

#include "player/cli/CommandTable.h"

#include <QHash>

#include <optional>

/// The parsed command line: a command of the table with the values of its parameters.
class CommandLine
{
public:
    /// Parses the arguments. Returns nothing and sets `exitCode` if there is nothing left to do: help, the
    /// version, or an error was printed.
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
