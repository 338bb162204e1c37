#pragma once

#include "player/cli/PlayerConnection.h"

#include <QJsonArray>

/// The requested rows of a container, as far as they exist, in the form of the player's interface.
struct RowList
{
    QJsonArray rows;
    int from = 0;
    int total = 0; ///< of the whole list
    int version = 0;

    /// For programs; ends in a line break.
    QByteArray toJson(const QString& path) const;
};

/// Requests the rows `from` to `to`, inclusive, in pages. Returns the last response; after a failure, the
/// failed one.
PlayerAnswer readRows(PlayerConnection& player, const QString& path, int from, int to, RowList* list);

/// The search results of all modules: one section per kind.
struct SearchSection
{
    QString title;
    QString path; ///< of all that was found of this kind
    RowList list; ///< the first of them
    PlayerAnswer answer;
};

/// Searches in every module that can be searched. A search that fails is a section without rows, with the
/// path that failed.
QVector<SearchSection> searchAll(PlayerConnection& player, const QString& text, int rowsPerSection);
