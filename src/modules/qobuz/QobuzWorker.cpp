#include "modules/qobuz/QobuzWorker.h"

#include "api/core/log/dbglog.h"
#include "api/core/model/cmconnect.h"
#include "api/core/model/cmlistrowsnode.h"
#include "api/core/model/cmquerynode.h"
#include "api/core/model/cmvalueitem.h"
#include "api/core/model/cmvaluenode.h"
#include "api/play/pelkplaylogicdata.h"
#include "api/play/pelkplaylogicerrorname.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelknotificationdisplayitem.h"
#include "api/types/pelkqobuzrestriction.h"
#include "api/types/pelkqobuzsoundquality.h"
#include "api/types/pelkresource.h"
#include "api/types/playerpaths.h"
#include "api/types/qobuzpaths.h"
#include "modules/qobuz/QobuzAccountNode.h"
#include "modules/qobuz/QobuzApi.h"
#include "modules/qobuz/QobuzBrowser.h"
#include "modules/qobuz/QobuzHttpInterface.h"

#include <limits>
#include <memory>

namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance("Qobuz");

constexpr int streamMaxIdleTimeMs = 1800000; // a stream address is good for half an hour

/// Converts a rate in kHz to whole hertz. The service may send any number; converting one that does not fit
/// into an int would be undefined.
int hertz(double kilohertz)
{
    using Limits = std::numeric_limits<int>;
    return int(qBound<double>(Limits::min(), kilohertz * 1000.0, Limits::max()));
}

} // namespace

void* worker_create(void* /*unused*/, const QHash<QString, QVariant>& configuration)
{
    return static_cast<CMAbstractWorker*>(new QobuzWorker(configuration));
}

QobuzWorker::QobuzWorker(const QHash<QString, QVariant>& configuration)
    : CMNodesWorker(configuration, QStringLiteral("qobuz"))
{
    auto httpInterface = std::make_unique<QobuzHttpInterface>();
    m_httpInterface = httpInterface.get();
    auto api = std::make_unique<QobuzApi>(m_httpInterface);
    m_qobuzApi = api.get();
    auto browser = std::make_unique<QobuzBrowser>(m_qobuzApi, subscribe());
    m_browser = browser.get();
    m_loginStateNode = CMValueNode::create(nodes(), PelkQobuzLoginStatePath(), nullptr);
    m_accountNode = QobuzAccountNode::create(this, nodes(), PelkQobuzConfigureAccountPath());
    createRootMenu();
    // Only now, when nothing can throw any more, are they the worker's for good.
    browser.release();       // NOLINT(bugprone-unused-return-value)
    api.release();           // NOLINT(bugprone-unused-return-value)
    httpInterface.release(); // NOLINT(bugprone-unused-return-value)
}

QobuzWorker::~QobuzWorker() = default;

void QobuzWorker::createRootMenu()
{
    const QByteArray context = trExtractContext(Q_FUNC_INFO);
    const auto createList = [this, &context](CMNodes* registry, const QString& path, const char* title) {
        CMListRowsNode* const node = CMListRowsNode::create(registry, addPrefix(path));
        node->setTitle(TrString(TrCharData{context, title}, {}));
        return node;
    };

    CMListRowsNode* const root = CMListRowsNode::create(nodes(), PelkQobuzBrowsePath());
    root->setTitle(TrString(TrCharData{context, "Qobuz root"}, {}));

    m_discoverNode = createList(nodes(), PelkQobuzFeaturedPath(), "Discover");
    m_discoverNode->setPlayable(false);
    root->rowsAppend(m_discoverNode->path());
    m_featuredAlbumsNode = createList(m_discoverNode->nodes(), PelkQobuzFeaturedAlbumsPath(), "Albums");
    m_discoverNode->rowsAppend(m_featuredAlbumsNode->path());
    m_featuredArtistsNode = createList(m_discoverNode->nodes(), PelkQobuzFeaturedArtistsPath(), "Artists");
    m_discoverNode->rowsAppend(m_featuredArtistsNode->path());
    m_featuredPlaylistsNode =
        createList(m_discoverNode->nodes(), PelkQobuzFeaturedPlaylistsPath(), "Playlists");
    m_discoverNode->rowsAppend(m_featuredPlaylistsNode->path());

    m_userPlaylistsNode = createList(nodes(), PelkQobuzUserPlaylistsPath(), "My Playlists");
    root->rowsAppend(m_userPlaylistsNode->path());

    m_favouritesNode = createList(nodes(), PelkQobuzUserFavouritesPath(), "Favourites");
    root->rowsAppend(m_favouritesNode->path());
    m_favouriteTracksNode =
        createList(m_favouritesNode->nodes(), PelkQobuzUserFavouriteTracksPath(), "Tracks");
    m_favouriteTracksNode->setContainerType(PelkRolesContainerType::TrackList);
    m_favouriteTracksNode->setPlayable(true);
    m_favouritesNode->rowsAppend(m_favouriteTracksNode->path());
    m_favouriteAlbumsNode =
        createList(m_favouritesNode->nodes(), PelkQobuzUserFavouriteAlbumsPath(), "Albums");
    m_favouritesNode->rowsAppend(m_favouriteAlbumsNode->path());
    m_favouriteArtistsNode =
        createList(m_favouritesNode->nodes(), PelkQobuzUserFavouriteArtistsPath(), "Artists");
    m_favouritesNode->rowsAppend(m_favouriteArtistsNode->path());

    m_purchasesNode = createList(nodes(), PelkQobuzUserPurchasesPath(), "Purchases");
    m_purchasedTracksNode =
        createList(m_purchasesNode->nodes(), PelkQobuzUserPurchasedTracksPath(), "Tracks");
    m_purchasedTracksNode->setContainerType(PelkRolesContainerType::TrackList);
    m_purchasedTracksNode->setPlayable(true);
    m_purchasesNode->rowsAppend(m_purchasedTracksNode->path());
    m_purchasedAlbumsNode =
        createList(m_purchasesNode->nodes(), PelkQobuzUserPurchasedAlbumsPath(), "Albums");
    m_purchasesNode->rowsAppend(m_purchasedAlbumsNode->path());
    root->rowsAppend(m_purchasesNode->path()); // only now that it has its children

    m_searchRootNode = createList(nodes(), PelkQobuzSearchRootPath(), "Search");
    m_searchRootNode->setCopyPathParams(true);
    m_searchRootNode->rowsAppend(createList(nodes(), PelkQobuzSearchArtistsPath(), "Artists")->path());
    m_searchRootNode->rowsAppend(createList(nodes(), PelkQobuzSearchAlbumsPath(), "Albums")->path());
    m_searchRootNode->rowsAppend(createList(nodes(), PelkQobuzSearchTracksPath(), "Tracks")->path());
    m_searchRootNode->rowsAppend(createList(nodes(), PelkQobuzSearchPlaylistsPath(), "Playlists")->path());

    m_searchNode = CMQueryNode::create(nodes(), addPrefix(PelkQobuzSearchNodePath()));
    m_searchNode->setTitle(TrString(TrCharData{context, "Search"}, {}));
    m_searchNode->setQueryPath(m_searchRootNode->path());
    m_searchNode->setQuery(QStringLiteral("query"));

    m_searchContainerNode = createList(nodes(), QStringLiteral("searchContainer"),
                                       "Search artists, albums, tracks and playlists");
    m_searchContainerNode->setContainerType(PelkRolesContainerType::Search);
    m_searchContainerNode->rowsAppend(m_searchNode->path());
    root->setSearchPath(m_searchContainerNode->path());
    root->rowsAppend(m_searchNode->path());

    m_qualityItem = new CMValueItem(this, PelkQobuzSoundQualityPath());
    cmConnect(m_qualityItem, &CMValueItem::changed, this, &QobuzWorker::on_qualityItem_changed);
}

void QobuzWorker::getRowsRequest(const CMGetRowsRequest& request)
{
    LOG4CPLUS_TRACE(logger, "Enter " << dbglog_scopedFunction(Q_FUNC_INFO, "Qobuz")
                                     << ": path: " << request.path().toString()
                                     << ", from: " << request.from() << ", to: " << request.to()
                                     << ", roles: " << request.roles().join(QLatin1String(", ")));
    QMetaObject::invokeMethod(this, "on_getRows_invoke", Qt::QueuedConnection,
                              Q_ARG(CMGetRowsRequest, request));
}

void QobuzWorker::setDataRequest(const CMSetDataRequest& request)
{
    LOG4CPLUS_TRACE(logger, "Enter " << dbglog_scopedFunction(Q_FUNC_INFO, "Qobuz") << ": "
                                     << pelkToString(request.value()));
    QMetaObject::invokeMethod(this, "on_setData_invoke", Qt::QueuedConnection,
                              Q_ARG(CMSetDataRequest, request));
}

void QobuzWorker::on_getRows_invoke(const CMGetRowsRequest& request)
{
    LOG4CPLUS_TRACE(logger, "Enter " << dbglog_scopedFunction(Q_FUNC_INFO, "Qobuz")
                                     << ": path: " << request.path().toString()
                                     << ", from: " << request.from() << ", to: " << request.to()
                                     << ", roles: " << request.roles().join(QLatin1String(", ")));
    if (!m_qobuzApi->isLoggedIn()) {
        const TrString message(TrCharData{trExtractContext(Q_FUNC_INFO), "User is not logged in"}, {});
        request.reply().setError(CMError(message));
        LOG4CPLUS_ERROR(logger, message.toString());
        return;
    }
    if (!m_browser->browse(request))
        CMNodesWorker::getRowsRequest(request);
}

void QobuzWorker::on_setData_invoke(const CMSetDataRequest& request)
{
    LOG4CPLUS_TRACE(logger, "Enter " << dbglog_scopedFunction(Q_FUNC_INFO, "Qobuz") << ": "
                                     << pelkToString(request.value()));
    if (request.role() == PelkRoles::PrePlay() && request.path().contains(PelkQobuzPreplayPath())) {
        if (!request.path().hasParam(QStringLiteral("id"))) {
            request.reply().setError(
                CMError(TrString(TrCharData{trExtractContext(Q_FUNC_INFO), "Track resolve failed"}, {})));
            return;
        }
        const int trackId = request.path().param(QStringLiteral("id")).toInt();
        const PelkQobuzSoundQuality::Enum quality = m_qualityItem->value().qobuzSoundQuality();
        LOG4CPLUS_TRACE(logger, "Track quality " << PelkQobuzSoundQuality::toString(quality));
        m_qobuzApi->getFileUrl(trackId, quality)
            .addWatcher([this, request, trackId](const CMVoidReply& reply) {
                trackResolved(CMReply<PelkQobuzGetFileUrlResponse>::from(reply), request, trackId);
            });
    } else if (request.path().startsWith(addPrefix(PelkQobuzStateChange()), nullptr)) {
        handlePlayStateChange(request);
    } else {
        CMNodesWorker::setDataRequest(request);
    }
}

void QobuzWorker::trackResolved(const CMReply<PelkQobuzGetFileUrlResponse>& reply,
                                const CMSetDataRequest& request, int trackId)
{
    if (!reply.error().value(CMError::Name()).toString().isEmpty()) {
        request.reply().setError(reply.error());
        return;
    }
    const PelkQobuzGetFileUrlResponse answer = reply.value();
    LOG4CPLUS_DEBUG(logger, "Qobuz track with id '" << trackId << "' was resolved to " << answer.url());

    PelkRoles row(PelkHash::fromVariant(request.value()));
    PelkMediaData mediaData = row.mediaData();
    PelkMetaData metaData = mediaData.metaData();
    metaData.setStartTime(metaData.prePlayTimeOffset());
    metaData.setAllowSeekTime(true);

    CMPath stateChangePath = addPrefix(PelkQobuzStateChange());
    stateChangePath.addParam(QStringLiteral("id"), QString::number(answer.track_id()));
    stateChangePath.addParam(QStringLiteral("format"), QString::number(answer.format_id()));
    LOG4CPLUS_TRACE(logger, "Returned in response format " << answer.format_id());
    const auto restrictions = answer.restrictions();
    for (const PelkQobuzRestriction& restriction : restrictions)
        stateChangePath.addParam(restriction.code(), QStringLiteral("1"));
    metaData.setContentStateChangePath(stateChangePath);

    PelkResource resource;
    resource.setUri(answer.url());
    resource.setMimeType(answer.mime_type());
    resource.setSampleFrequency(hertz(answer.sampling_rate()));
    resource.setBitsPerSample(answer.bit_depth());
    resource.setDuration(answer.duration());
    resource.setMaxIdleTime(streamMaxIdleTimeMs);

    mediaData.setMetaData(metaData);
    mediaData.setResources({resource});
    row.setMediaData(mediaData);
    request.reply().setValue(row.variant());
}

void QobuzWorker::handlePlayStateChange(const CMSetDataRequest& request)
{
    const PelkPlayLogicData data(PelkHash::fromVariant(request.value()));
    if (data.trackRoles().path().startsWith(PelkQobuzBrowsePath(), nullptr)) {
        const CMPath& path = request.path();
        int id = 0;
        if (path.hasParam(QStringLiteral("id")))
            id = path.param(QStringLiteral("id")).toInt();
        if (m_trackId != 0 && m_trackId != id)
            reportEndOfTrack();
        if (id != m_trackId && path.hasParam(QStringLiteral("TrackRestrictedByRightHolders"))) {
            LOG4CPLUS_WARN(logger, "Track restricted by Right Holders");
            const QByteArray context = trExtractContext(Q_FUNC_INFO);
            PelkNotificationDisplayItem item;
            item.setTitle(TrString(TrCharData{context, "Track restriction"}, {}));
            item.setMessage(TrString(
                TrCharData{context, "The rights-holders have not made the streaming of this track possible"},
                {}));
            PelkValue value;
            value.setNotificationDisplayItem(item);
            CMRoot()->invoke(PelkNotificationDisplayOpenPath(),
                             QHash<QString, QVariant>{{QStringLiteral("value"), value.variant()}},
                             CMReply<QVariant>::create());
        }
        m_trackId = id;
        m_audioFormat = PelkQobuzAudioFormat::Mp3_320;
        if (path.hasParam(QStringLiteral("format")))
            m_audioFormat =
                static_cast<PelkQobuzAudioFormat::Enum>(path.param(QStringLiteral("format")).toInt());
        LOG4CPLUS_TRACE(logger, "Format " << int(m_audioFormat));

        const QString error = data.error();
        if (error.isEmpty() || error == PelkPlaylogicErrorName::PelkPlaylogicUserStop() ||
            error == PelkPlaylogicErrorName::PelkPlaylogicUserSkip()) {
            switch (int(data.state())) {
            case PelkPlayLogicState::Playing:
                if (!m_playTimer.isValid())
                    m_playTimer.start();
                if (m_endReported) {
                    m_qobuzApi->reportStreamingStart(id, m_audioFormat, false, false);
                    m_endReported = 0;
                }
                break;
            case PelkPlayLogicState::Paused:
                if (m_playTimer.isValid())
                    m_playedMs += int(m_playTimer.elapsed());
                m_playTimer.invalidate();
                break;
            case PelkPlayLogicState::Stopped:
                reportEndOfTrack();
                m_trackId = 0;
                break;
            default:
                break;
            }
        }
    }
    request.reply().setValue(QVariant());
}

void QobuzWorker::reportEndOfTrack()
{
    if (m_playTimer.isValid())
        m_playedMs += int(m_playTimer.elapsed());
    m_playTimer.invalidate();
    m_qobuzApi->reportStreamingEnd(m_trackId, m_playedMs / 1000, m_audioFormat, false, false);
    m_playedMs = 0;
    m_endReported = 1;
}

void QobuzWorker::on_qualityItem_changed(const PelkValue& value)
{
    LOG4CPLUS_TRACE(logger,
                    "Enter " << dbglog_scopedFunction(Q_FUNC_INFO, "Qobuz") << ": " << value.toString());
}
