#pragma once

#include <QString>

#include <optional>

/// What the command line says.
struct CommandLine
{
    enum class Command
    {
        Login,
        Logout,
        Status,
        Rows,
        Search,
        Play,
        Quality,
        Modules,
        Serve,
        Password,
        TokenAdd,
        TokenList,
        TokenRemove
    };

    Command command = Command::Status;
    QString configFile;
    QString moduleFolder;
    QString logLevel;

    QString userName;           // login
    bool passwordStdin = false; // login
    QString path;               // rows, play
    int from = 0;               // rows
    int to = 0;                 // rows
    bool json = false;          // rows
    QString text;               // search
    int seconds = 0;            // play; 0 is to the end
    QString wavFile;            // play; empty is the sound device
    QString quality;            // quality; empty shows it
    QString listenAddress;      // serve
    quint16 listenPort = 0;     // serve; 0 is any free one
    QString panelFolder;        // serve
    QString origin;             // serve; empty is none
    QString socketFile;         // serve; empty is the usual one
    QString socketGroup;        // serve; empty is none
    bool open = false;          // serve
    bool tls = false;           // serve
    QString certificateFile;    // serve; empty is none
    QString keyFile;            // serve
    QString tokenName;          // token add, token remove
    bool readOnly = false;      // token add

    /// Reads the arguments. Nothing, and `exitCode` set, when there is nothing more to do: help was shown, or
    /// a sentence about what is wrong.
    static std::optional<CommandLine> parse(int argc, char** argv, int* exitCode);
};
