#pragma once

#include "api/core/model/cmnodesworker.h"
#include "api/types/pelkroles.h"

#include <QMap>

#include <optional>

/// A worker "test" whose list "test:list" contains tracks that resolve as a test says. It records each change
/// of a play state as "id state error". It returns rows in short pages. Lives and is used on one thread.
class ScriptedPlayWorker final : public CMNodesWorker
{
public:
    ScriptedPlayWorker();

    /// The track ids in the list; an id may occur twice. An id that begins with "-" is a container; one that
    /// begins with "+" is an album, which plays as a whole.
    QStringList list;
    /// The tracks of each album.
    QMap<QString, QStringList> albums;
    int pageSize = 50;
    /// If set, the total in each reply, whatever the list contains.
    std::optional<int> statedTotal;
    /// The addresses of tracks; other tracks resolve to the error "no track".
    QMap<QString, QString> uris;
    /// If set, pre-play requests are stored here and not answered.
    bool holdAnswers = false;
    QList<CMSetDataRequest> held;
    /// The same for row requests.
    bool holdRows = false;
    QList<CMGetRowsRequest> heldRows;

    /// How long the streams' addresses are valid; 0 means unspecified.
    qint64 maxIdleMs = 0;

    QStringList states;
    /// How many streams had been requested when the stream of the latest state was.
    int lastStream = 0;
    QStringList rowRequests;
    /// The ids whose streams were requested.
    QStringList resolved;
    /// The start position of each of them.
    QVector<qint64> resolvedAtMs;

    static CMPath listPath();
    static PelkRoles row(const QString& id);

    void getRowsRequest(const CMGetRowsRequest& request) override;
    void setDataRequest(const CMSetDataRequest& request) override;

    /// Answers a stored pre-play request.
    void resolve(const CMSetDataRequest& request) const;
};
