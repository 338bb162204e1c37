#pragma once

#include "tests/support/testhttpserver.h"

#include <QVariantHash>

/// One of the lists of the service that the load is put on. It is known by what it holds and by its number,
/// and its items are made from that and from their places: whoever knows the list knows its rows.
struct LoadList
{
    enum Kind
    {
        Albums,
        Artists,
        Playlists,
        Tracks
    };

    static constexpr int total = 1000;
    static constexpr int largestPage = 50;
    static constexpr int pageWithoutLimit = 10;

    // The lists that there is one of.
    static constexpr int featured = 1;
    static constexpr int favourites = 2;
    static constexpr int userPlaylists = 3;
    static constexpr int purchases = 4;

    Kind kind = Albums;
    int number = 0;

    /// How many items a page has; a limit below 0 is none.
    static int pageSize(int offset, int limit);
    /// An item as the service writes it. `bare`: a track inside its album, which does not repeat the album.
    QByteArray item(int place, bool bare = false) const;
    /// The row that the item is to become: the values of the roles that it has.
    QVariantHash row(int place) const;
    /// The title of that row.
    QString title(int place) const;

private:
    QString id(int place) const;
};

/// The answer of the service to any request of the load. Some answers may be cached, some have to be asked
/// about again, most may not be kept. Every answer has a key that no other has.
TestHttpServer::Response loadAnswer(const TestHttpServer::Request& request);
