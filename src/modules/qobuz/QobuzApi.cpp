#include "modules/qobuz/QobuzApi.h"

#include "api/core/json/pelkjson.h"
#include "api/core/log/dbglog.h"
#include "api/core/model/cmabstractworker.h"
#include "api/types/pelkqobuzcredential.h"
#include "api/types/pelkqobuzdevice.h"
#include "api/types/playerpaths.h"
#include "api/types/qobuzpaths.h"
#include "modules/qobuz/QobuzHttpInterface.h"

#include <QCryptographicHash>

#include <algorithm>
#include <ctime>

// NOLINTBEGIN(performance-unnecessary-value-param): lists, sets and options are taken by value on purpose
namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance("Qobuz");

PelkQobuzSettings settings()
{
    return CMRoot()->getValue(PelkQobuzSettingsPath()).qobuzSettings();
}

QString md5Hex(const QString& text)
{
    return QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Md5).toHex());
}

PelkUrl relativeUrl(const QString& path)
{
    PelkUrl url;
    url.setPath(path);
    return url;
}

void addNumber(PelkUrl& url, const QString& key, int value)
{
    url.addQueryItem(key, QString::number(value));
}

/// Negative means not given.
void addNumberIfGiven(PelkUrl& url, const QString& key, int value)
{
    if (value >= 0)
        addNumber(url, key, value);
}

void addPage(PelkUrl& url, int offset, int limit)
{
    addNumberIfGiven(url, QStringLiteral("offset"), offset);
    addNumberIfGiven(url, QStringLiteral("limit"), limit);
}

QString boolText(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

/// One item with all values, in the container's own order, joined by commas; none for an empty container.
template <typename Container, typename T>
void containerToUrlQuery(PelkUrl& url, QString key, Container values, std::function<QString(T)> convert)
{
    if (values.isEmpty())
        return;
    QStringList texts;
    for (const T& value : qAsConst(values))
        texts.append(convert(value));
    url.addQueryItem(key, texts.join(QLatin1Char(',')));
}

void addGenreIds(PelkUrl& url, const QList<int>& genreIds)
{
    containerToUrlQuery<QList<int>, int>(url, QStringLiteral("genre_ids"), genreIds,
                                         [](int id) { return QString::number(id); });
}

/// The context of the texts of the function object inside get<T>(), as GCC spells its name. Written out,
/// since other compilers do not give the argument of the template.
template <typename T>
QByteArray completionContext()
{
    const QByteArray name = QMetaType::typeName(qMetaTypeId<T>());
    return "QobuzApi::get<" + name + ">(const PelkUrl&, HttpClientOptions, std::function<void(" + name +
           "&)>)::<lambda(int, int, const QByteArray&, const HttpClientHeaders&)> mutable";
}

} // namespace

template <typename T>
CMReply<T> QobuzApi::simpleGet(const PelkUrl& url, const bool& authenticated,
                               std::function<void(T&)> callback)
{
    LOG4CPLUS_TRACE(logger,
                    "Enter " << dbglog_scopedFunction(Q_FUNC_INFO, "Qobuz") << ": " << url.toString());
    CMReply<T> reply(new CMReplyData<T>);
    // Checked even for calls that go out without the user's token.
    if (!isLoggedIn()) {
        reply.setError(CMError(TrString(TrCharData{"QobuzApi", "User is not logged in"}, {})));
        LOG4CPLUS_ERROR(logger, reply.error().message().toString());
        return reply;
    }
    HttpClientHeaders headers;
    headers.insert(QStringLiteral("X-App-Id"), settings().appId());
    if (authenticated)
        headers.insert(QStringLiteral("X-User-Auth-Token"), m_userAuthToken);
    HttpClientOptions options;
    options.setHeaders(headers);
    return get<T>(url, options, callback);
}

template <typename T>
CMReply<T> QobuzApi::get(const PelkUrl& url, HttpClientOptions options, std::function<void(T&)> callback)
{
    LOG4CPLUS_TRACE(logger,
                    "Enter " << dbglog_scopedFunction(Q_FUNC_INFO, "Qobuz") << ": " << url.toString());
    CMReply<T> reply(new CMReplyData<T>);
    const auto completion = [this, url, reply, callback](int /*status*/, int code, const QByteArray& body,
                                                         const HttpClientHeaders& /*headers*/) mutable {
        if (code != 200) {
            handleHttpError<T>(url, reply, code, body);
            return;
        }
        PelkError error;
        T record(PelkHash::fromVariant(PelkJson::parse(body, error)));
        if (error.isEmpty()) {
            if (callback)
                callback(record);
            reply.setValue(record);
        } else {
            LOG4CPLUS_ERROR(logger, "Failed to parse data, error: " << error.toString());
            reply.setError(
                CMError(TrString(TrCharData{completionContext<T>(), "Invalid data returned."}, {})));
        }
    };
    m_httpInterface->get(url, options, completion);
    return reply;
}

template <typename T>
bool QobuzApi::handleHttpError(const PelkUrl& url, CMReply<T>& reply, int code, const QByteArray& body)
{
    PelkError parseError;
    const PelkQobuzErrorResponse answer(PelkHash::fromVariant(PelkJson::parse(body, parseError)));
    // The arguments are filled in one call, since a URL contains percent signs.
    if (parseError.isEmpty())
        LOG4CPLUS_ERROR(logger, QStringLiteral("HTTP call to %1 failed (%2): %3")
                                    .arg(url.toString(), QString::number(code), answer.message()));
    else
        LOG4CPLUS_ERROR(
            logger, QStringLiteral("HTTP call to %1 failed (%2)").arg(url.toString(), QString::number(code)));

    const TrString message = answer.message().isEmpty()
                                 ? TrString(TrCharData{trExtractContext(Q_FUNC_INFO), "Unknown error"}, {})
                                 : TrString(answer.message());
    QVariantHash data{{QStringLiteral("ErrorCode"), code}};
    if (parseError.isEmpty())
        data.insert(QStringLiteral("ServerReply"), answer.message());
    reply.setError(CMError(message, data));
    return true;
}

QobuzApi::QobuzApi(QobuzHttpInterface* httpInterface)
    : m_httpInterface(httpInterface)
{
    const PelkQobuzUserSession session = CMRoot()->getValue(PelkQobuzUserSessionPath()).qobuzUserSession();
    m_userAuthToken = session.userAuthToken();
    m_userId = session.userId();
    m_credentialId = session.credentialId();
    m_deviceId = session.deviceId();
}

bool QobuzApi::isLoggedIn()
{
    const QMutexLocker locker(&m_mutex);
    return !m_userAuthToken.isEmpty() && m_userId != 0;
}

void QobuzApi::updateUserSession(const QString& userName, const QString& userAuthToken,
                                 const unsigned int& userId, const unsigned int& credentialId,
                                 const unsigned int& deviceId)
{
    const QMutexLocker locker(&m_mutex);
    m_userAuthToken = userAuthToken;
    m_userId = userId;
    m_credentialId = credentialId;
    m_deviceId = deviceId;
    PelkQobuzUserSession session;
    session.setUserName(userName);
    session.setUserAuthToken(userAuthToken);
    session.setUserId(userId);
    session.setCredentialId(credentialId);
    session.setDeviceId(deviceId);
    PelkValue value;
    value.setQobuzUserSession(session);
    CMRoot()->setValue(PelkQobuzUserSessionPath(), value, CMReply<QVariant>::create());
}

CMReply<PelkQobuzLoginResponse> QobuzApi::login(const PelkQobuzAccount& account)
{
    PelkUrl url = relativeUrl(QStringLiteral("user/login"));
    url.addQueryItem(QStringLiteral("app_id"), settings().appId());
    url.addQueryItem(QStringLiteral("username"), account.username());
    url.addQueryItem(QStringLiteral("password"), md5Hex(account.password()));
    url.addQueryItem(QStringLiteral("device_manufacturer_id"),
                     CMRoot()->getValue(PelkSystemMemberIdPath()).string_());
    updateUserSession(QString(), QString(), 0, 0, 0);
    return get<PelkQobuzLoginResponse>(
        url, HttpClientOptions(), [this, account](PelkQobuzLoginResponse& response) {
            const PelkQobuzUser user = response.user();
            updateUserSession(account.username(), response.user_auth_token(), user.id(),
                              user.credential().id(), user.device().id());
        });
}

void QobuzApi::logout()
{
    updateUserSession(QString(), QString(), 0, 0, 0);
}

CMReply<PelkQobuzUser> QobuzApi::userGet()
{
    PelkUrl url = relativeUrl(QStringLiteral("user/get"));
    url.addQueryItem(QStringLiteral("user_id"), QString::number(m_userId));
    return simpleGet<PelkQobuzUser>(url, true,
                                    [](PelkQobuzUser& user) { LOG4CPLUS_DEBUG(logger, user.toString()); });
}

CMReply<PelkQobuzGenre> QobuzApi::genreGet(const int& genreId)
{
    PelkUrl url = relativeUrl(QStringLiteral("genre/get"));
    addNumber(url, QStringLiteral("genre_id"), genreId);
    return simpleGet<PelkQobuzGenre>(url, false, nullptr);
}

CMReply<PelkQobuzGenreListResponse> QobuzApi::genreList(const int& offset, const int& limit,
                                                        const int& parentId)
{
    PelkUrl url = relativeUrl(QStringLiteral("genre/list"));
    addPage(url, offset, limit);
    addNumberIfGiven(url, QStringLiteral("parent_id"), parentId);
    return simpleGet<PelkQobuzGenreListResponse>(url, false, nullptr);
}

CMReply<PelkQobuzAlbum> QobuzApi::albumGet(const QString& albumId, const int& offset, const int& limit)
{
    PelkUrl url = relativeUrl(QStringLiteral("album/get"));
    url.addQueryItem(QStringLiteral("album_id"), albumId);
    addPage(url, offset, limit);
    return simpleGet<PelkQobuzAlbum>(url, true, nullptr);
}

CMReply<PelkQobuzAlbums> QobuzApi::albumGetFeatured(const int& offset, const int& limit,
                                                    const int& supplierId, QList<int> genreIds,
                                                    PelkQobuzRecommendations::Enum type)
{
    PelkUrl url = relativeUrl(QStringLiteral("album/getFeatured"));
    addPage(url, offset, limit);
    addNumberIfGiven(url, QStringLiteral("supplier_id"), supplierId);
    addGenreIds(url, genreIds);
    if (int(type) != -1)
        url.addQueryItem(QStringLiteral("type"), PelkQobuzRecommendations::toString(type));
    return simpleGet<PelkQobuzAlbums>(url, false, nullptr);
}

CMReply<PelkQobuzArtist> QobuzApi::artistGet(const int& artistId, const int& offset, const int& limit,
                                             const bool& withAlbums)
{
    PelkUrl url = relativeUrl(QStringLiteral("artist/get"));
    addNumber(url, QStringLiteral("artist_id"), artistId);
    addPage(url, offset, limit);
    if (withAlbums)
        url.addQueryItem(QStringLiteral("extra"), QStringLiteral("albums"));
    return simpleGet<PelkQobuzArtist>(url, true, nullptr);
}

CMReply<PelkQobuzPlaylist> QobuzApi::playlistGet(const int& playlistId, const int& offset, const int& limit,
                                                 const bool& withTracks)
{
    PelkUrl url = relativeUrl(QStringLiteral("playlist/get"));
    addNumber(url, QStringLiteral("playlist_id"), playlistId);
    addPage(url, offset, limit);
    if (withTracks)
        url.addQueryItem(QStringLiteral("extra"), QStringLiteral("tracks"));
    return simpleGet<PelkQobuzPlaylist>(url, true, nullptr);
}

CMReply<PelkQobuzUserPlayistsResponse> QobuzApi::userPlaylistsGet(const int& offset, const int& limit,
                                                                  const bool& owner, const bool& subscriber)
{
    PelkUrl url = relativeUrl(QStringLiteral("playlist/getUserPlaylists"));
    addPage(url, offset, limit);
    if (owner && !subscriber)
        url.addQueryItem(QStringLiteral("filter"), QStringLiteral("owner"));
    else if (subscriber && !owner)
        url.addQueryItem(QStringLiteral("filter"), QStringLiteral("subscriber"));
    return simpleGet<PelkQobuzUserPlayistsResponse>(url, true, nullptr);
}

CMReply<PelkQobuzArticle> QobuzApi::articleGet(const int& articleId)
{
    PelkUrl url = relativeUrl(QStringLiteral("article/get"));
    addNumber(url, QStringLiteral("article_id"), articleId);
    return simpleGet<PelkQobuzArticle>(url, false, nullptr);
}

CMReply<PelkQobuzUserFavoritesResponse> QobuzApi::userFavouritesGet(const int& offset, const int& limit,
                                                                    QSet<PelkQobuzFavouriteTypes::Enum> types)
{
    PelkUrl url = relativeUrl(QStringLiteral("favorite/getUserFavorites"));
    addPage(url, offset, limit);
    containerToUrlQuery<QSet<PelkQobuzFavouriteTypes::Enum>, PelkQobuzFavouriteTypes::Enum>(
        url, QStringLiteral("type"), types, PelkQobuzFavouriteTypes::toString);
    return simpleGet<PelkQobuzUserFavoritesResponse>(url, true, nullptr);
}

CMReply<PelkQobuzCatalogFeaturedResponse>
QobuzApi::catalogGetFeatured(const int& offset, const int& limit, QList<int> genreIds,
                             QSet<PelkQobuzRecommendationTypes::Enum> types)
{
    PelkUrl url = relativeUrl(QStringLiteral("catalog/getFeatured"));
    addPage(url, offset, limit);
    addGenreIds(url, genreIds);
    containerToUrlQuery<QSet<PelkQobuzRecommendationTypes::Enum>, PelkQobuzRecommendationTypes::Enum>(
        url, QStringLiteral("type"), types, PelkQobuzRecommendationTypes::toString);
    return simpleGet<PelkQobuzCatalogFeaturedResponse>(url, false, nullptr);
}

CMReply<PelkQobuzPurchases> QobuzApi::userPurchasesGet(const int& offset, const int& limit)
{
    PelkUrl url = relativeUrl(QStringLiteral("purchase/getUserPurchases"));
    addPage(url, offset, limit);
    addNumber(url, QStringLiteral("flat"), 1);
    return simpleGet<PelkQobuzPurchases>(url, true, nullptr);
}

CMReply<PelkQobuzQueryResponse> QobuzApi::query(const QString& text, const PelkQobuzQueryTypes::Enum& type,
                                                const int& offset, const int& limit)
{
    PelkUrl url;
    switch (int(type)) {
    case PelkQobuzQueryTypes::Artists:
        url.setPath(QStringLiteral("artist/search"));
        if (limit > 0) // the other searches never send a limit, on purpose
            addNumber(url, QStringLiteral("limit"), limit);
        break;
    case PelkQobuzQueryTypes::Albums:
        url.setPath(QStringLiteral("album/search"));
        break;
    case PelkQobuzQueryTypes::Tracks:
        url.setPath(QStringLiteral("track/search"));
        break;
    case PelkQobuzQueryTypes::Playlists:
        url.setPath(QStringLiteral("playlist/search"));
        break;
    default: // the request goes to the bare base URL
        break;
    }
    addNumberIfGiven(url, QStringLiteral("offset"), offset);
    url.addQueryItem(QStringLiteral("query"), text);
    return simpleGet<PelkQobuzQueryResponse>(url, true, nullptr);
}

CMReply<PelkQobuzGetFileUrlResponse> QobuzApi::getFileUrl(const int& trackId,
                                                          const PelkQobuzSoundQuality::Enum& quality)
{
    LOG4CPLUS_TRACE(logger, "Enter " << dbglog_scopedFunction(Q_FUNC_INFO, "Qobuz") << ": quality "
                                     << PelkQobuzSoundQuality::toString(quality));
    PelkQobuzAudioFormat::Enum format = PelkQobuzAudioFormat::Mp3_320;
    switch (int(quality)) {
    case PelkQobuzSoundQuality::Cd:
        format = PelkQobuzAudioFormat::Flac16_44;
        break;
    case PelkQobuzSoundQuality::Hires96:
        format = PelkQobuzAudioFormat::Flac24_96;
        break;
    case PelkQobuzSoundQuality::Hires192:
        format = PelkQobuzAudioFormat::Flac24_192;
        break;
    default:
        break;
    }
    PelkUrl url = relativeUrl(QStringLiteral("track/getFileUrl"));
    addNumber(url, QStringLiteral("track_id"), trackId);
    addNumber(url, QStringLiteral("format_id"), format);

    QString signedText = url.path().remove(QLatin1Char('/'));
    auto items = url.queryItems();
    std::sort(items.begin(), items.end());
    for (const auto& item : qAsConst(items))
        signedText += item.first + item.second;
    const QString seconds = QString::number(std::time(nullptr));
    signedText += seconds + settings().appSecret();

    url.addQueryItem(QStringLiteral("request_ts"), seconds);
    url.addQueryItem(QStringLiteral("request_sig"), md5Hex(signedText));
    return simpleGet<PelkQobuzGetFileUrlResponse>(url, true, nullptr);
}

CMReply<PelkQobuzErrorResponse> QobuzApi::reportStreaming(const QString& endpoint, const int& trackId,
                                                          const int& duration,
                                                          const PelkQobuzAudioFormat::Enum& format,
                                                          const bool& purchase, const bool& local)
{
    LOG4CPLUS_TRACE(logger, "Enter " << dbglog_scopedFunction(Q_FUNC_INFO, "Qobuz") << ": endpoint "
                                     << endpoint << ", trackId " << trackId << ", duration " << duration
                                     << ", formatId " << PelkQobuzAudioFormat::toString(format));
    PelkUrl url = relativeUrl(endpoint);
    url.addQueryItem(QStringLiteral("user_id"), QString::number(m_userId));
    url.addQueryItem(QStringLiteral("date"), QString::number(std::time(nullptr)));
    addNumber(url, QStringLiteral("duration"), duration);
    url.addQueryItem(QStringLiteral("online"),
                     QStringLiteral("false")); // sent so whatever is played, on purpose
    url.addQueryItem(QStringLiteral("intent"), QStringLiteral("streaming"));
    url.addQueryItem(QStringLiteral("sample"), QStringLiteral("false")); // as "online"
    addNumber(url, QStringLiteral("track_id"), trackId);
    url.addQueryItem(QStringLiteral("purchase"), boolText(purchase));
    url.addQueryItem(QStringLiteral("local"), boolText(local));
    addNumber(url, QStringLiteral("format_id"), format);
    url.addQueryItem(QStringLiteral("device_id"), QString::number(m_deviceId));
    url.addQueryItem(QStringLiteral("credential_id"), QString::number(m_credentialId));
    return simpleGet<PelkQobuzErrorResponse>(url, true, nullptr);
}

CMReply<PelkQobuzErrorResponse> QobuzApi::reportStreamingStart(const int& trackId,
                                                               const PelkQobuzAudioFormat::Enum& format,
                                                               const bool& purchase, const bool& local)
{
    return reportStreaming(QStringLiteral("track/reportStreamingStart"), trackId, 0, format, purchase, local);
}

CMReply<PelkQobuzErrorResponse> QobuzApi::reportStreamingEnd(const int& trackId, const int& duration,
                                                             const PelkQobuzAudioFormat::Enum& format,
                                                             const bool& purchase, const bool& local)
{
    return reportStreaming(QStringLiteral("track/reportStreamingEnd"), trackId, duration, format, purchase,
                           local);
}
// NOLINTEND(performance-unnecessary-value-param)
