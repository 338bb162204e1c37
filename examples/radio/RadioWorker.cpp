// A module that plays internet radio. Its stations come from radio.ini beside the player's settings; see
// StationList.h.
#include "StationList.h"
#include "api/core/model/cmglobal.h"
#include "api/core/model/cmlistrowsnode.h"
#include "api/core/model/cmnodesworker.h"
#include "api/core/model/cmquerynode.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"

extern "C" Q_DECL_EXPORT void* worker_create(void* unused, const QHash<QString, QVariant>& configuration);

namespace {

const QString stationsBase = QStringLiteral("stations");
const QString foundBase = QStringLiteral("found");
const QString streamBase = QStringLiteral("stream");
const QString address = QStringLiteral("address");
const QString search = QStringLiteral("search");

QString settingsFile()
{
    const QString folder =
        qEnvironmentVariable("XDG_CONFIG_HOME", qEnvironmentVariable("HOME") + QStringLiteral("/.config"));
    return folder + QStringLiteral("/pelk/radio.ini");
}

/// radio:            the menu: all stations, and the search
/// radio:stations    the stations
/// radio:found       those whose title holds the parameter `search`
/// radio:stream      turns a station's row, before it is played, into one with a stream
class RadioWorker final : public CMNodesWorker
{
public:
    explicit RadioWorker(const QHash<QString, QVariant>& configuration)
        : CMNodesWorker(configuration, QStringLiteral("radio"))
    {
        CMListRowsNode* menu = CMListRowsNode::create(nodes(), addPrefix(QString()));
        menu->setTitle(TrString(QStringLiteral("Radio")));
        CMListRowsNode* all = CMListRowsNode::create(nodes(), addPrefix(stationsBase));
        all->setTitle(TrString(QStringLiteral("All stations")));
        CMQueryNode* query = CMQueryNode::create(nodes(), addPrefix(QStringLiteral("searchNode")));
        query->setTitle(TrString(QStringLiteral("Search stations")));
        query->setQuery(search);
        query->setQueryPath(addPrefix(foundBase));
        menu->rowsAppend(all->path());
        menu->rowsAppend(query->path());
        menu->setSearchPath(menu->path());
    }

    // Called on other threads: the work is queued to this one.
    void getRowsRequest(const CMGetRowsRequest& request) override
    {
        const QString base = request.path().base();
        if (base != stationsBase && base != foundBase) {
            CMNodesWorker::getRowsRequest(request);
            return;
        }
        QMetaObject::invokeMethod(
            this, [this, request] { answerRows(request); }, Qt::QueuedConnection);
    }

    void setDataRequest(const CMSetDataRequest& request) override
    {
        if (request.path().base() != streamBase || request.role() != PelkRoles::PrePlay()) {
            CMNodesWorker::setDataRequest(request);
            return;
        }
        PelkResource stream;
        stream.setUri(request.path().param(address));
        PelkRoles row(PelkHash::fromVariant(request.value()));
        PelkMediaData mediaData = row.mediaData();
        mediaData.setResources({stream});
        row.setMediaData(mediaData);
        request.reply().setValue(row.variant());
    }

private:
    void answerRows(const CMGetRowsRequest& request) const
    {
        QString problem;
        const QString wanted = request.path().param(search);
        QVector<Station> stations;
        for (const Station& station : StationList::read(settingsFile(), &problem))
            if (station.title.contains(wanted, Qt::CaseInsensitive))
                stations.append(station);
        if (stations.isEmpty() && !problem.isEmpty()) {
            request.reply().setError(CMError(TrString(problem)));
            return;
        }
        QVariantList rows;
        for (int i = qMax(0, request.from()); i <= request.to() && i < stations.size(); ++i)
            rows.append(QVariant(CMGlobal::itemRolesToList(request.roles(), row(stations.at(i)))));
        PelkRowsRoles reply;
        reply.setRows(rows);
        reply.setRowsCount(stations.size());
        request.reply().setValue(reply);
    }

    PelkRoles row(const Station& station) const
    {
        CMPath stream = addPrefix(streamBase);
        stream.addParam(address, station.address);
        PelkMetaData metaData;
        metaData.setPrePlayPath(stream);
        PelkMediaData mediaData;
        mediaData.setMetaData(metaData);
        CMPath path = addPrefix(stationsBase);
        path.addParam(address, station.address);
        PelkRoles row;
        row.setTitle(TrString(station.title));
        row.setPath(path);
        row.setType(PelkRolesType::Audio);
        row.setAudioType(PelkRolesAudioType::Music);
        row.setIcon(station.icon);
        row.setMediaData(mediaData);
        return row;
    }
};

} // namespace

void* worker_create(void* /*unused*/, const QHash<QString, QVariant>& configuration)
{
    return static_cast<CMAbstractWorker*>(new RadioWorker(configuration));
}
