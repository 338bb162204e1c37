#pragma once

#include "api/core/model/cmnodesworker.h"
#include "api/types/pelkqobuzaudioformat.h"
#include "api/types/pelkqobuzgetfileurlresponse.h"

#include <QElapsedTimer>

class CMListRowsNode;
class CMQueryNode;
class CMValueItem;
class CMValueNode;
class QobuzAccountNode;
class QobuzApi;
class QobuzBrowser;
class QobuzHttpInterface;

/// The module's worker: builds the content tree, queues the host's requests to its own thread and routes
/// them, resolves tracks to streams, and reports played tracks.
///
/// Lives on the thread that calls worker_create. Only getRowsRequest() and setDataRequest() are called from
/// other threads.
class QobuzWorker : public CMNodesWorker
{
    Q_OBJECT

public:
    explicit QobuzWorker(const QHash<QString, QVariant>& configuration);
    /// The transport, the API client and the browser are never deleted, on purpose: responses to them may
    /// still be on the way.
    ~QobuzWorker() override;

    QobuzHttpInterface* httpInterface() const { return m_httpInterface; }
    QobuzApi* qobuzApi() const { return m_qobuzApi; }
    CMValueNode* loginStateNode() const { return m_loginStateNode; }

    /// Queues the request to the worker's thread. Any thread.
    void getRowsRequest(const CMGetRowsRequest& request) override;
    /// Queues the request to the worker's thread. Any thread.
    void setDataRequest(const CMSetDataRequest& request) override;

    /// Reports the end of the current track with its listening time. On purpose, this does not depend on
    /// whether its start was reported.
    void reportEndOfTrack();

    Q_INVOKABLE void on_getRows_invoke(const CMGetRowsRequest& request);
    Q_INVOKABLE void on_setData_invoke(const CMSetDataRequest& request);

private Q_SLOTS:
    void on_qualityItem_changed(const PelkValue& value);

private:
    void createRootMenu();
    void trackResolved(const CMReply<PelkQobuzGetFileUrlResponse>& reply, const CMSetDataRequest& request,
                       int trackId);
    void handlePlayStateChange(const CMSetDataRequest& request);

    QobuzHttpInterface* m_httpInterface = nullptr;
    QobuzApi* m_qobuzApi = nullptr;
    QobuzBrowser* m_browser = nullptr;
    QobuzAccountNode* m_accountNode = nullptr;
    CMValueNode* m_loginStateNode = nullptr;
    QElapsedTimer m_playTimer; // invalid while nothing is being timed
    int m_trackId = 0;         // 0: no track is being reported
    PelkQobuzAudioFormat::Enum m_audioFormat = static_cast<PelkQobuzAudioFormat::Enum>(0);
    int m_playedMs = 0;
    int m_endReported = 1; // 1: no report is open
    CMListRowsNode* m_discoverNode = nullptr;
    CMListRowsNode* m_featuredAlbumsNode = nullptr;
    CMListRowsNode* m_featuredArtistsNode = nullptr;
    CMListRowsNode* m_featuredPlaylistsNode = nullptr;
    CMListRowsNode* m_userPlaylistsNode = nullptr;
    CMListRowsNode* m_favouritesNode = nullptr;
    CMListRowsNode* m_favouriteTracksNode = nullptr;
    CMListRowsNode* m_favouriteAlbumsNode = nullptr;
    CMListRowsNode* m_favouriteArtistsNode = nullptr;
    CMListRowsNode* m_purchasesNode = nullptr;
    CMListRowsNode* m_purchasedTracksNode = nullptr;
    CMListRowsNode* m_purchasedAlbumsNode = nullptr;
    CMQueryNode* m_searchNode = nullptr;
    CMListRowsNode* m_searchRootNode = nullptr;
    CMListRowsNode* m_searchContainerNode = nullptr;
    CMValueItem* m_qualityItem = nullptr;
};

/// The module's only entry point. The first argument is not used. Returns the worker as a pointer to its
/// CMAbstractWorker; the caller owns it. Exceptions of the construction are passed on.
extern "C" Q_DECL_EXPORT void* worker_create(void* unused, const QHash<QString, QVariant>& configuration);
