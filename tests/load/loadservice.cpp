#include "tests/load/loadservice.h"

#include <algorithm>

namespace {

using Request = TestHttpServer::Request;
using Response = TestHttpServer::Response;

const QByteArray& kindKey(LoadList::Kind kind)
{
    static const QByteArray keys[] = {"albums", "artists", "playlists", "tracks"};
    return keys[kind];
}

QByteArray pictures(const QByteArray& number)
{
    return R"({"small":"http://img.example/)" + number + R"(/230.jpg","large":"http://img.example/)" +
           number + R"(/600.jpg"})";
}

/// The JSON of the album with this number, without the end of the object.
QByteArray albumHead(int number)
{
    const QByteArray text = QByteArray::number(number);
    return R"({"id":")" + text + R"(","title":"Evening & <Light> )" + text +
           R"(","artist":{"id":7,"name":"The Quills"},"genre":{"id":3,"name":"Jazz","path":[1,3]},"image":)" +
           pictures(text) + R"(,"released_at":1262304000,"copyright":"Notice\r","hires":true,"upc":null)";
}

QByteArray listText(const LoadList& list, int offset, int limit, bool bare = false)
{
    QByteArray text = R"({"offset":)" + QByteArray::number(offset) + R"(,"limit":)" +
                      QByteArray::number(limit) + R"(,"total":)" + QByteArray::number(LoadList::total) +
                      R"(,"items":[)";
    const int size = LoadList::pageSize(offset, limit);
    for (int i = 0; i < size; ++i)
        text += (i > 0 ? "," : "") + list.item(offset + i, bare);
    return text + "]}";
}

int number(const Request& request, const char* name, int otherwise)
{
    const QByteArray text = request.queryValue(name);
    return text.isEmpty() ? otherwise : text.toInt();
}

Response json(const QByteArray& body, const char* cacheControl = nullptr)
{
    Response response = TestHttpServer::json(body);
    if (cacheControl)
        response.headers.append(TestHttpServer::Pair("Cache-Control", cacheControl));
    return response;
}

/// The lists of these kinds in one object; `head` is what it begins with.
QByteArray answer(const Request& request, const QByteArray& head, std::initializer_list<LoadList> lists,
                  bool bare = false)
{
    const int offset = number(request, "offset", 0);
    const int limit = number(request, "limit", -1);
    QByteArray text = head;
    for (const LoadList& list : lists)
        text += ",\"" + kindKey(list.kind) + "\":" + listText(list, offset, limit, bare);
    return text + ",\"note" + QByteArray::number(qHash(request.target), 36) + "\":true}";
}

LoadList::Kind kindNamed(const QByteArray& name)
{
    for (const auto kind : {LoadList::Albums, LoadList::Artists, LoadList::Playlists})
        if (name.startsWith(kindKey(kind).left(5)))
            return kind;
    return LoadList::Tracks;
}

Response albumAnswer(const Request& request)
{
    const QByteArray id = request.queryValue("album_id");
    if (id.startsWith("missing"))
        return TestHttpServer::json(R"({"status":"error","code":404,"message":"No such album"})", 404);
    if (id.startsWith("broken"))
        return TestHttpServer::json(R"({"id":"1","tracks":{"items":[)");
    const int album = id.toInt();
    return json(answer(request, albumHead(album), {{LoadList::Tracks, album}}, true), "max-age=3600");
}

Response artistAnswer(const Request& request)
{
    const int artist = number(request, "artist_id", 0);
    const QByteArray tag = "\"artist-" + QByteArray::number(artist) + '"';
    Response response;
    if (request.header("If-None-Match") == tag)
        response.status = 304;
    else
        response = json(answer(request, R"({"id":7)", {{LoadList::Albums, artist}}));
    response.headers.append(TestHttpServer::Pair("ETag", tag));
    return response;
}

Response loginAnswer(const Request& request)
{
    if (request.queryValue("username") == "nobody")
        return TestHttpServer::json(R"({"status":"error","code":401,"message":"Who is that?"})", 401);
    Response response =
        json(R"({"user":{"id":77,"credential":{"id":88},"device":{"id":99}},"user_auth_token":"token-2"})",
             "no-store");
    response.headers.append(TestHttpServer::Pair("X-PelkEfectiveUrl", "http://www2.qobuz.com/user/login"));
    return response;
}

Response streamAnswer(const Request& request)
{
    const QByteArray id = request.queryValue("track_id");
    return json(R"({"track_id":)" + id + R"(,"duration":241,"url":"http://stream.example/)" + id +
                    R"(?sig=1","format_id":6,"mime_type":"audio/flac","sampling_rate":44.1,"bit_depth":16})",
                "no-store");
}

} // namespace

int LoadList::pageSize(int offset, int limit)
{
    const int wanted = limit < 0 ? pageWithoutLimit : std::min(limit, largestPage);
    return std::clamp(total - offset, 0, wanted);
}

QString LoadList::id(int place) const
{
    return QString::number(number * total + place);
}

QString LoadList::title(int place) const
{
    static const char* const words[] = {"Evening & <Light> ", "Ensemble ", "Rainy days ", "Tide \""};
    return kind == Albums ? QString::fromUtf8(words[kind]) + id(place)
                          : QString::fromUtf8(words[kind]) + id(place) + QStringLiteral(" \u97f3");
}

QByteArray LoadList::item(int place, bool bare) const
{
    const QByteArray text = id(place).toUtf8();
    QByteArray name = title(place).toUtf8();
    name.replace('"', "\\\"");
    switch (kind) {
    case Albums:
        return albumHead(number * total + place) + '}';
    case Artists:
        return R"({"id":)" + text + R"(,"name":")" + name + R"(","picture":null,"image":)" + pictures(text) +
               '}';
    case Playlists:
        return R"({"id":)" + text + R"(,"name":")" + name +
               R"(","genres":[{"id":3,"name":"Jazz","percent":60.5}],"images300":["http://img.example/)" +
               text + R"("]})";
    case Tracks:
        break;
    }
    const QByteArray track = R"({"id":)" + text + R"(,"title":")" + name +
                             R"(","track_number":4,"duration":251,"performer":{"id":5,"name":"Ada Quill"},)" +
                             R"("composer":{"id":6,"name":"Ben Oder"},"copyright":null,"sampling_rate":44.1)";
    return bare ? track + '}' : track + R"(,"album":)" + albumHead(number) + "}}";
}

QVariantHash LoadList::row(int place) const
{
    const QString text = id(place);
    const auto picture = [](const QString& name, const char* rest) {
        return QStringLiteral("http://img.example/") + name + QLatin1String(rest);
    };
    const auto mediaData = [](const QVariantHash& metaData) {
        return QVariantHash{{QStringLiteral("metaData"), metaData}};
    };
    QVariantHash row{{QStringLiteral("title"), title(place)}};
    const auto add = [&row](const char* role, const QVariant& value) {
        row.insert(QString::fromLatin1(role), value);
    };
    switch (kind) {
    case Albums:
        add("icon", picture(text, "/600.jpg"));
        add("path", QStringLiteral("qobuz:album?id=") + text);
        add("type", 1);
        add("containerType", 2);
        add("containerPlayable", true);
        break;
    case Artists:
        add("icon", picture(text, "/230.jpg"));
        add("path", QStringLiteral("qobuz:artist?id=") + text);
        add("type", 1);
        add("containerType", 1);
        add("containerPlayable", true);
        add("audioType", 1);
        add("mediaData", mediaData({{QStringLiteral("artist"), title(place)},
                                    {QStringLiteral("serviceID"), QStringLiteral("qobuz")}}));
        break;
    case Playlists:
        add("icon", picture(text, ""));
        add("path", QStringLiteral("qobuz:playlist?id=") + text);
        add("type", 1);
        add("containerType", 10);
        add("containerPlayable", true);
        add("mediaData", mediaData({{QStringLiteral("genre"), QStringLiteral("Jazz")},
                                    {QStringLiteral("serviceID"), QStringLiteral("qobuz")}}));
        break;
    case Tracks:
        add("icon", picture(QString::number(number), "/600.jpg"));
        add("path", QStringLiteral("qobuz:track?id=") + text);
        add("type", 3);
        add("audioType", 1);
        add("mediaData",
            mediaData(
                {{QStringLiteral("genre"), QStringLiteral("Jazz")},
                 {QStringLiteral("composer"), QStringLiteral("Ben Oder")},
                 {QStringLiteral("performer"), QStringLiteral("Ada Quill")},
                 {QStringLiteral("album"), QStringLiteral("Evening & <Light> ") + QString::number(number)},
                 {QStringLiteral("artist"), QStringLiteral("The Quills")},
                 {QStringLiteral("serviceID"), QStringLiteral("qobuz")},
                 {QStringLiteral("copyright"), QStringLiteral("Notice\r")},
                 {QStringLiteral("originalTrackNumber"), 4},
                 {QStringLiteral("date"), 1262304000LL},
                 {QStringLiteral("allowSeekTime"), true},
                 {QStringLiteral("allowSeekBytes"), true},
                 {QStringLiteral("allowPause"), true},
                 {QStringLiteral("prePlayPath"), QStringLiteral("qobuz:preplay?id=") + text}}));
        break;
    }
    return row;
}

TestHttpServer::Response loadAnswer(const Request& request)
{
    // A proxy receives the whole URL. The host to which the service moves has its API directly below its
    // root.
    QByteArray path = request.path;
    path = path.mid(path.startsWith("http://") ? path.indexOf('/', 7) : 0);
    path = path.mid(path.startsWith("/api/") ? 5 : 1);
    const QByteArray user = R"({"user":{"id":77,"login":"user"})";
    if (path == "catalog/getFeatured")
        return json(answer(request, user, {{kindNamed(request.queryValue("type")), LoadList::featured}}),
                    "max-age=3600");
    if (path == "playlist/getUserPlaylists")
        return json(answer(request, user, {{LoadList::Playlists, LoadList::userPlaylists}}));
    if (path == "favorite/getUserFavorites")
        return json(answer(request, user, {{kindNamed(request.queryValue("type")), LoadList::favourites}}));
    if (path == "purchase/getUserPurchases")
        return json(
            answer(request, user,
                   {{LoadList::Albums, LoadList::purchases}, {LoadList::Tracks, LoadList::purchases}}));
    if (path.endsWith("/search"))
        return json(answer(request, user, {{kindNamed(path), request.queryValue("query").mid(1).toInt()}}));
    if (path == "album/get")
        return albumAnswer(request);
    if (path == "playlist/get")
        return json(answer(request, R"({"id":9)", {{LoadList::Tracks, number(request, "playlist_id", 0)}}));
    if (path == "artist/get")
        return artistAnswer(request);
    if (path == "track/getFileUrl")
        return streamAnswer(request);
    if (path.startsWith("track/reportStreaming"))
        return json(R"({"status":"success"})", "no-store");
    if (path == "user/login")
        return loginAnswer(request);
    return TestHttpServer::text("nothing here", 404);
}
