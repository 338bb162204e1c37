#pragma once

#include <QString>
#include <QVector>

struct Station
{
    QString title;
    QString address; ///< of the stream, http or https
    QString icon;    ///< address of a picture; may be empty
};

/// Reads the listener's stations.
///
///     [A station]
///     address=https://radio.example/stream
///     icon=https://radio.example/logo.png
///
///     [Stations of a list]
///     list=/path/to/stations.m3u       M3U or PLS
namespace StationList {

/// The stations of a settings file in UTF-8, with those of the lists that it names. What cannot be used is
/// left out; `problem` is then a sentence about the first such thing.
QVector<Station> read(const QString& file, QString* problem);

/// The stations in the text of an M3U or a PLS list.
QVector<Station> parseList(const QString& text);

} // namespace StationList
