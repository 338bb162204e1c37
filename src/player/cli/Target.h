#pragma once

#include "player/cli/PlayerConnection.h"

#include <QStringList>

/// What a command is about: a place of the content model, named by its path or by its title.
struct Target
{
    QString path;
    /// The list that it was found in, and its place there: what is added from there is a whole row. Empty
    /// where a path was given.
    QString foundIn;
    int foundAt = -1;
    QString text; ///< which one was found, for people; empty where a path was given

    /// Reads words: "PATH", "TITLE", or "album|artist|playlist|track TITLE". With a kind the first match of
    /// the search counts; a title alone has to be the title of one thing. Returns an exit code; what is wrong
    /// was reported.
    static int find(const QStringList& words, PlayerConnection& player, Target* target);
    /// A sentence about words that are none of these; empty if they may be.
    static QString check(const class CommandLine& line);

    static QStringList kinds();
    /// Whether a row is of one of kinds().
    static bool isOfKind(const QJsonObject& row, const QString& kind);
};
