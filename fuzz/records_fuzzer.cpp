// A call of the API client, by the first character, and the body of its answer. The reply is an error or the
// record of the body; every getter can be called, and every kind of row made of it.

#include "api/core/json/pelkjson.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "fuzz/input.h"
#include "fuzz/readvalue.h"
#include "fuzz/service.h"

namespace {

QString idOf(const CMPath& path)
{
    return path.param(QStringLiteral("id"));
}

void readRow(const PelkRoles& row, const QString& title, const QString& id)
{
    require(row.title().toString() == title, "A row has the title of its record.");
    require(row.path().prefix() == QLatin1String("qobuz"), "A row leads into the module.");
    require(!isWellFormed(id) || idOf(row.path()) == id, "A row's path carries its record's id.", id);
    readValue(row.icon());
    const PelkMetaData meta = row.mediaData().metaData();
    readValue(meta.artist() + meta.album() + meta.genre() + meta.composer() + meta.performer() +
              meta.copyright() + meta.comment());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    static Service service;
    const Service::Call& call = Service::calls().at(input.choice(Service::calls().size()));
    const CMVoidReply reply = call.make(service.api);
    require(Service::open() == 1, "A call sends one request.");
    service.answer(200, input.rest());
    require(reply.isFinished(), "An answer finishes the reply.");

    PelkError failure;
    const PelkHash body(PelkJson::parse(input.rest(), failure).toHash());
    require(reply.error().isSet() == !failure.isEmpty(),
            "A body that is no JSON is an error, others are not.");
    require(call.read(reply) == body, "A record holds what was in the body.");

    PelkQobuzTrack track(body);
    const PelkRoles trackRow = service.browser.toRole(track);
    readRow(trackRow, track.title(), QString::number(track.id()));
    require(idOf(trackRow.mediaData().metaData().prePlayPath()) == QString::number(track.id()),
            "A track asks for its stream by its own id.");
    PelkQobuzAlbum album(body);
    readRow(service.browser.toRole(album), album.title(), album.id());
    PelkQobuzArticle article(body);
    readRow(service.browser.toRole(article), article.title(), QString::number(article.id()));
    PelkQobuzArtist artist(body);
    readRow(service.browser.toRole(artist), artist.name(), QString::number(artist.id()));
    PelkQobuzPlaylist playlist(body);
    readRow(service.browser.toRole(playlist), playlist.name(), QString::number(playlist.id()));

    service.host.setSession(); // a login forgets it
    service.api.updateUserSession(QStringLiteral("user"), QStringLiteral("token-1"), 77, 88, 99);
    Service::reset();
    return 0;
}
