#pragma once

#include <QJsonArray>
#include <QJsonObject>

/// The kind of a row of the player's interface in one or two words: "album", "track list", "query", "track".
QString rowKind(const QJsonObject& row);
/// "Title, Artist", or the path of a row that has neither; printable.
QString titleAndArtist(const QJsonObject& row);

/// Rows as a table: title, kind and path. Titles are cut to fit `width` columns; paths never are, because
/// they are meant to be copied. If there is too little room for both, each path is on its own line below its
/// title. A width of 0 means no limit.
QString rowTable(const QJsonArray& rows, int width);
/// Items of the history in the same form, with the local time before each.
QString historyTable(const QJsonArray& items, int width);
