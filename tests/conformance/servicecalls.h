#pragma once

#include "api/http/httpclient.h"
#include "api/play/pelkplaylogicdata.h"
#include "tests/module/account_values.h"
#include "tests/support/logcapture.h"
#include "tests/support/modulehost.h"
#include "tests/support/testhttpserver.h"

#include <QUrl>

#include <functional>

/// A call of the service that a request of the player leads to, with user 77, credential 88 and device 99
/// logged in by "token-1", the lowest sound quality and the standard time of WallClock.
struct ServiceCall
{
    enum Headers
    {
        None,
        AppId,
        AppIdAndToken
    };

    const char* name;
    QByteArray relative; ///< what is behind the base URL in the request line
    QByteArray record;   ///< type of the answer
    Headers headers;
    QByteArray entry; ///< what the method writes on entry beside the pipeline's own lines, if anything
    bool isSilent;    ///< its outcome reaches no reply
    std::function<ModuleHost::Data(ModuleHost&)> make;

    QString signature(const char* function) const
    {
        return QString::fromLatin1(function).replace(QLatin1String("%R"), QString::fromLatin1(record));
    }
};

/// A play state of track 12345.
inline QVariant playState(PelkPlayLogicState::Enum state)
{
    PelkRoles row;
    row.setPath(CMPath(QStringLiteral("qobuz:track?id=12345")));
    PelkPlayLogicData data;
    data.setTrackRoles(row);
    data.setState(state);
    return data.variant();
}

inline ModuleHost::Data resolve(ModuleHost& host, int trackId = 12345)
{
    return host.setData(QStringLiteral("qobuz:preplay?id=%1").arg(trackId), PelkRoles::PrePlay(),
                        PelkRoles().variant());
}

inline ModuleHost::Data report(ModuleHost& host, PelkPlayLogicState::Enum state, int format = 6)
{
    return host.setData(QStringLiteral("qobuz:stateChange?id=12345&format=%1").arg(format),
                        PelkRoles::Value(), playState(state));
}

inline ModuleHost::Data logIn(ModuleHost& host, const PelkQobuzAccount& account = login())
{
    return host.setData(accountPath(), PelkRoles::Value(), accountValue(account));
}

/// All of them; rows are asked for from 10 to 29.
inline QList<ServiceCall> serviceCalls()
{
    const auto rows = [](const char* path, const QByteArray& relative, const QByteArray& record,
                         ServiceCall::Headers headers = ServiceCall::AppIdAndToken) {
        return ServiceCall{path, relative, record, headers, {}, false, [path](ModuleHost& host) {
                               const ModuleHost::Rows answer = host.rows(QString::fromLatin1(path), 10, 29);
                               return ModuleHost::Data{answer.error, answer.finished, answer.rows};
                           }};
    };
    const auto streaming = [](const char* name, const QByteArray& endpoint, PelkPlayLogicState::Enum state) {
        return ServiceCall{
            name,
            endpoint + "?user_id=77&date=1700000000&duration=0&online=false&intent=streaming&sample=false"
                       "&track_id=12345&purchase=false&local=false&format_id=6&device_id=99&credential_id=88",
            "PelkQobuzErrorResponse",
            ServiceCall::AppIdAndToken,
            "Enter CMReply<PelkQobuzErrorResponse> QobuzApi::reportStreaming(const QString&, const int&, "
            "const int&, const PelkQobuzAudioFormat::Enum&, const bool&, const bool&): endpoint " +
                endpoint + ", trackId 12345, duration 0, formatId flac16_44",
            true,
            [state](ModuleHost& host) { return report(host, state); }};
    };
    return {
        rows("qobuz:featured/albums", "catalog/getFeatured?offset=10&limit=20&type=albums",
             "PelkQobuzCatalogFeaturedResponse", ServiceCall::AppId),
        rows("qobuz:playlists", "playlist/getUserPlaylists?offset=10&limit=20",
             "PelkQobuzUserPlayistsResponse"),
        rows("qobuz:favourites/tracks", "favorite/getUserFavorites?offset=10&limit=20&type=tracks",
             "PelkQobuzUserFavoritesResponse"),
        rows("qobuz:purchases/albums", "purchase/getUserPurchases?offset=10&limit=20&flat=1",
             "PelkQobuzPurchases"),
        rows("qobuz:search/artists?query=a b", "artist/search?limit=20&offset=10&query=a%20b",
             "PelkQobuzQueryResponse"),
        rows("qobuz:album?id=007", "album/get?album_id=007&offset=10&limit=20", "PelkQobuzAlbum"),
        rows("qobuz:playlist?id=7", "playlist/get?playlist_id=7&offset=10&limit=20&extra=tracks",
             "PelkQobuzPlaylist"),
        rows("qobuz:artist?id=7", "artist/get?artist_id=7&offset=10&limit=20&extra=albums",
             "PelkQobuzArtist"),
        {"resolving a track",
         "track/getFileUrl?track_id=12345&format_id=5&request_ts=1700000000"
         "&request_sig=111b92edbdb055e4c4bb5e20533e2048",
         "PelkQobuzGetFileUrlResponse", ServiceCall::AppIdAndToken,
         "Enter CMReply<PelkQobuzGetFileUrlResponse> QobuzApi::getFileUrl(const int&, const "
         "PelkQobuzSoundQuality::Enum&): quality mp3",
         false, [](ModuleHost& host) { return resolve(host); }},
        streaming("a track that starts", "track/reportStreamingStart", PelkPlayLogicState::Playing),
        streaming("a track that ends", "track/reportStreamingEnd", PelkPlayLogicState::Stopped),
        {"logging in",
         "user/login?app_id=app-id&username=user%40example.com&password=33e1b232a4e6fa0028a6670753749a17"
         "&device_manufacturer_id=member-id",
         "PelkQobuzLoginResponse",
         ServiceCall::None,
         {},
         false,
         [](ModuleHost& host) { return logIn(host); }},
    };
}

/// The records of these source files, in order: "logger LEVEL file: text".
inline QStringList linesOf(const LogCapture& log, const QStringList& files)
{
    QStringList lines;
    for (const LogCapture::Record& record : log.records())
        if (files.contains(record.file))
            lines << QStringLiteral("%1 %2 %3: ")
                             .arg(record.logger,
                                  QString::fromStdString(
                                      log4cplus::getLogLevelManager().toString(record.level)),
                                  record.file) +
                         record.text;
    return lines;
}

/// Waits until the module has no request under way. A module that is stopped before keeps its requests for
/// ever, and the program is never idle again.
inline bool isIdle()
{
    return HttpClient::waitForIdle(20000);
}

/// The requests received once the module has none under way any more, so that one sent again would count; -1
/// if that takes too long.
inline int requestsInAll(const TestHttpServer& server)
{
    return isIdle() ? server.requestCount() : -1;
}

/// Whether an answer has come back to the module since the capture began; what follows from it has happened
/// once the module's thread has settled.
inline bool answerCame(const LogCapture& log)
{
    return !log.texts(log4cplus::TRACE_LOG_LEVEL).filter(QStringLiteral("::httpCallback(")).isEmpty();
}
