#include "tests/support/scriptedplayworker.h"

#include "api/core/model/cmglobal.h"
#include "api/play/pelkplaylogicdata.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"

namespace {

CMPath pathWithId(const QString& base, const QString& id)
{
    CMPath path(QStringLiteral("test:") + base);
    path.addParam(QStringLiteral("id"), id);
    return path;
}

} // namespace

ScriptedPlayWorker::ScriptedPlayWorker()
    : CMNodesWorker({}, QStringLiteral("test"))
{
}

CMPath ScriptedPlayWorker::listPath()
{
    return CMPath(QStringLiteral("test:list"));
}

PelkRoles ScriptedPlayWorker::row(const QString& id)
{
    PelkRoles row;
    row.setTitle(TrString(QStringLiteral("Track ") + id));
    row.setPath(pathWithId(QStringLiteral("track"), id));
    if (id.startsWith(QLatin1Char('-'))) {
        row.setType(PelkRolesType::Container);
        return row;
    }
    if (id.startsWith(QLatin1Char('+'))) {
        row.setType(PelkRolesType::Container);
        row.setContainerType(PelkRolesContainerType::Album);
        row.setContainerPlayable(true);
        row.setIcon(QStringLiteral("http://covers/") + id);
        return row;
    }
    PelkMetaData metaData;
    metaData.setPrePlayPath(pathWithId(QStringLiteral("preplay"), id));
    PelkMediaData mediaData;
    mediaData.setMetaData(metaData);
    row.setType(PelkRolesType::Audio);
    row.setMediaData(mediaData);
    return row;
}

void ScriptedPlayWorker::getRowsRequest(const CMGetRowsRequest& request)
{
    if (holdRows) {
        heldRows.append(request);
        return;
    }
    rowRequests << QStringLiteral("%1-%2").arg(request.from()).arg(request.to());
    const QString album = request.path().param(QStringLiteral("id"));
    if (request.path() != listPath() && !albums.contains(album)) {
        CMNodesWorker::getRowsRequest(request);
        return;
    }
    const QStringList ids = request.path() == listPath() ? list : albums.value(album);
    QVariantList rows;
    for (int i = request.from(); i <= request.to() && i < ids.size() && rows.size() < pageSize; ++i)
        rows.append(QVariant(CMGlobal::itemRolesToList(request.roles(), row(ids.at(i)))));
    PelkRowsRoles reply;
    reply.setRows(rows);
    reply.setRowsCount(statedTotal.value_or(ids.size()));
    reply.setRowsVersion(7);
    request.reply().setValue(reply);
}

void ScriptedPlayWorker::setDataRequest(const CMSetDataRequest& request)
{
    if (request.path().base() == QLatin1String("state")) {
        const PelkPlayLogicData data(PelkHash(request.value().toHash()));
        states << QStringLiteral("%1 %2 %3")
                      .arg(data.trackRoles().path().param(QStringLiteral("id")),
                           PelkPlayLogicState::toString(data.state()), data.error())
                      .trimmed();
        lastStream = request.path().param(QStringLiteral("stream")).toInt();
        request.reply().setValue(QVariant());
    } else if (request.path().base() == QLatin1String("preplay") && request.role() == PelkRoles::PrePlay()) {
        resolved << request.path().param(QStringLiteral("id"));
        resolvedAtMs
            << PelkRoles(PelkHash(request.value().toHash())).mediaData().metaData().prePlayTimeOffset();
        if (holdAnswers)
            held.append(request);
        else
            resolve(request);
    } else {
        CMNodesWorker::setDataRequest(request);
    }
}

void ScriptedPlayWorker::resolve(const CMSetDataRequest& request) const
{
    const QString id = request.path().param(QStringLiteral("id"));
    if (!uris.contains(id)) {
        request.reply().setError(CMError(TrString(QStringLiteral("no track"))));
        return;
    }
    PelkRoles row(PelkHash(request.value().toHash()));
    PelkMediaData mediaData = row.mediaData();
    PelkMetaData metaData = mediaData.metaData();
    CMPath state = pathWithId(QStringLiteral("state"), id);
    state.addParam(QStringLiteral("stream"), QString::number(resolved.size()));
    metaData.setContentStateChangePath(state);
    mediaData.setMetaData(metaData);
    PelkResource resource;
    resource.setUri(uris.value(id));
    resource.setMaxIdleTime(maxIdleMs);
    PelkList<PelkResource> resources;
    resources.append(resource);
    mediaData.setResources(resources);
    row.setMediaData(mediaData);
    request.reply().setValue(row.variant());
}
