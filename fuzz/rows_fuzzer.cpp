// A line with a browse path (selected by its first character), the first and last row and the version; then
// the body of the service's response. The row request is answered once, with at most the requested rows, or
// with an error.

#include "api/core/json/pelkjson.h"
#include "api/types/qobuzpaths.h"
#include "fuzz/input.h"
#include "fuzz/service.h"

namespace {

const QStringList& paths()
{
    static const QStringList all = {PelkQobuzFeaturedAlbumsPath(),
                                    PelkQobuzFeaturedArtistsPath(),
                                    PelkQobuzFeaturedPlaylistsPath(),
                                    PelkQobuzUserPlaylistsPath(),
                                    PelkQobuzUserFavouriteTracksPath(),
                                    PelkQobuzUserFavouriteAlbumsPath(),
                                    PelkQobuzUserFavouriteArtistsPath(),
                                    PelkQobuzUserPurchasedTracksPath(),
                                    PelkQobuzUserPurchasedAlbumsPath(),
                                    PelkQobuzSearchArtistsPath(),
                                    PelkQobuzSearchAlbumsPath(),
                                    PelkQobuzSearchTracksPath(),
                                    PelkQobuzSearchPlaylistsPath(),
                                    PelkQobuzAlbumPath(),
                                    PelkQobuzPlaylistPath(),
                                    PelkQobuzArtistPath()};
    return all;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    static Service service;
    const QString path = paths().at(input.choice(paths().size()));
    const QList<QByteArray> range = input.line().simplified().split(' ');
    const int from = range.value(0).toInt();
    const int to = range.value(1).toInt();
    const int version = range.value(2).toInt();
    const QStringList roles = {PelkRoles::Title(), PelkRoles::Path(), PelkRoles::MediaData(),
                               PelkRoles::Icon()};

    const CMGetRowsRequest request(PelkQobuzBrowsePath() + path, from, to, roles, version);
    require(service.browser.browse(request), "Every browse path is the browser's.");
    if (Service::open() > 0)
        service.answer(200, input.rest());
    require(Service::open() == 0, "A row request asks the service once.");
    require(request.reply().isFinished(), "Every row request is answered.");

    PelkError failure;
    PelkJson::parse(input.rest(), failure);
    const bool refused = from < 0 || to < 0;
    require(request.reply().error().isSet() == (refused || !failure.isEmpty()),
            "An error is for a bad range or a body that is no JSON.");
    const PelkRowsRoles answer = request.reply().value();
    const QVariantList rows = answer.rows().toList();
    require(rows.size() <= qMax<qint64>(0, qint64(to) - from + 1), "No more rows come than were asked for.");
    require(refused || !failure.isEmpty() || answer.rowsVersion() == qMax(0, version),
            "The version comes back.");
    for (const QVariant& row : rows)
        require(row.toList().size() == roles.size(), "Each row has one value a role.");
    Service::reset();
    return 0;
}
