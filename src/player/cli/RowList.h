#pragma once

#include "player/cli/PlayerConnection.h"

#include <QJsonArray>

/// Rows of a container, as many as were asked for and are there, in the form of the player's interface.
struct RowList
{
    QJsonArray rows;
    int from = 0;
    int total = 0; ///< of the whole list
    int version = 0;

    /// For programs; ends in a line break.
    QByteArray toJson(const QString& path) const;
};

/// The rows `from` to `to`, both included, asked for in pages. The answer is the last one: of a failure, the
/// one that failed.
PlayerAnswer readRows(PlayerConnection& player, const QString& path, int from, int to, RowList* list);

/// What modules found for a text: one section per kind of what there is.
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
