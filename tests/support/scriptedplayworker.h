#pragma once

#include "api/core/model/cmnodesworker.h"
#include "api/types/pelkroles.h"

#include <QMap>

#include <optional>

/// A worker "test" whose list "test:list" holds tracks that resolve as a test says, and which writes down
/// each change of a play state as "id state error". Its rows come in short pages. Lives and is used on one
/// thread.
class ScriptedPlayWorker final : public CMNodesWorker
{
public:
    ScriptedPlayWorker();

    /// The list, by the tracks' ids; an id may be there twice. One that begins with "-" is a container.
    /// One that begins with "+" is an album, which plays as a whole.
    QStringList list;
    /// The tracks of each album.
    QMap<QString, QStringList> albums;
    int pageSize = 50;
    /// When set, what each reply states as the total, whatever there is.
    std::optional<int> statedTotal;
    /// What a track resolves to; one that is not here resolves to an error that says "no track".
    QMap<QString, QString> uris;
    /// When set, pre-play requests are kept here and not answered.
    bool holdAnswers = false;
    QList<CMSetDataRequest> held;
    /// The same for requests for rows.
    bool holdRows = false;
    QList<CMGetRowsRequest> heldRows;

    /// What the streams say about how long their addresses hold; 0 is nothing.
    qint64 maxIdleMs = 0;

    QStringList states;
    /// Of how many streams that were asked for it was the last one that the latest state is about.
    int lastStream = 0;
    QStringList rowRequests;
    /// The ids whose streams were asked for.
    QStringList resolved;
    /// Where in the track each of those was going to be played from.
    QVector<qint64> resolvedAtMs;

    static CMPath listPath();
    static PelkRoles row(const QString& id);

    void getRowsRequest(const CMGetRowsRequest& request) override;
    void setDataRequest(const CMSetDataRequest& request) override;

    /// Answers a pre-play request that was kept.
    void resolve(const CMSetDataRequest& request) const;
};
