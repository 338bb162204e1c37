#pragma once

#include <QJsonArray>
#include <QJsonObject>

/// What a row of the player's interface is, in one word or two: "album", "track list", "query", "track".
QString rowKind(const QJsonObject& row);
/// "Title, Artist", or the path of a row that has neither; printable.
QString titleAndArtist(const QJsonObject& row);

/// Rows as lines for a person: title, kind and path. Titles are cut to fit `width` columns; paths never are,
/// since they are there to be used. Where the paths leave a title too little room, each stands on a line of
/// its own below its title. A width of 0 is no limit.
QString rowTable(const QJsonArray& rows, int width);
/// Items of the history in the same form, with the local time before each.
QString historyTable(const QJsonArray& items, int width);
