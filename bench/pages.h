#pragma once

#include <QByteArray>
#include <QStringList>

/// A page of the user's favourites in the format of the service: the sandbox's records, the same bytes in
/// every run and on every machine.
struct Page
{
    enum Kind
    {
        Albums,
        Tracks ///< each with its album
    };

    Kind kind = Albums;
    int count = 0; ///< items
    QByteArray body;
    QStringList titles; ///< of the items, in order

    /// `first`: the catalogue's number of the first item; `total`: what the list says that it has.
    static Page make(Kind kind, int count, int total = 1300, int first = 0);
    /// The two pages that most rows measure.
    static const Page& albums50();
    static const Page& tracks500();
};
