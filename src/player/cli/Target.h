#pragma once

#include "player/cli/PlayerConnection.h"

#include <QStringList>

/// The target of a command: a place in the content model, named by its path or its title.
struct Target
{
    QString path;
    /// The list in which it was found, and its index there, so that its whole row can be added. Empty for a
    /// path.
    QString foundIn;
    int foundAt = -1;
    QString text; ///< which one was found, for people; empty where a path was given

    /// Finds the target of words: "PATH", "TITLE", or "album|artist|playlist|track TITLE". With a kind, the
    /// first search result counts; a title without a kind must be unique. Returns an exit code; errors are
    /// reported.
    static int find(const QStringList& words, PlayerConnection& player, Target* target);
    /// A sentence about words that are none of these; empty if they may be.
    static QString check(const class CommandLine& line);

    static QStringList kinds();
    /// Whether a row is of one of kinds().
    static bool isOfKind(const QJsonObject& row, const QString& kind);
};
