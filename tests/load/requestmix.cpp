#include "tests/load/requestmix.h"

#include "api/play/pelkplaylogicdata.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkqobuzaccount.h"
#include "api/types/pelkresource.h"
#include "api/types/pelkroles.h"
#include "api/types/pelkvalue.h"
#include "api/types/qobuzpaths.h"
#include "tests/load/loadservice.h"
#include "tests/support/variantlines.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

using RequestMix::Answered;
using RequestMix::Check;

/// Numbers that look drawn by lot and are the same each time.
class Lot
{
public:
    explicit Lot(int number)
        : m_state(std::uint64_t(number) * 0x9e3779b97f4a7c15U + 1)
    {
    }
    int below(int bound)
    {
        m_state = m_state * 6364136223846793005U + 1442695040888963407U;
        return int((m_state >> 33) % std::uint64_t(bound));
    }

private:
    std::uint64_t m_state;
};

QString text(const char* latin1)
{
    return QString::fromLatin1(latin1);
}

struct OwnList
{
    const char* path;
    QStringList titles;
};

/// The lists that the module has of itself.
const QList<OwnList>& ownLists()
{
    static const QList<OwnList> lists{
        {"qobuz:",
         {text("Discover"), text("My Playlists"), text("Favourites"), text("Purchases"), text("Search")}},
        {"qobuz:featured/", {text("Albums"), text("Artists"), text("Playlists")}},
        {"qobuz:favourites/", {text("Tracks"), text("Albums"), text("Artists")}},
        {"qobuz:purchases/", {text("Tracks"), text("Albums")}},
        {"qobuz:searchContainer", {text("Search")}},
        {"qobuz:search/?query=q%1", {text("Artists"), text("Albums"), text("Tracks"), text("Playlists")}}};
    return lists;
}

/// A path below which the rows of the service are, and the list that it shows.
struct Route
{
    const char* path; // with the number of the list in it
    LoadList::Kind kind;
    int list;  // 0: one of many
    int lists; // how many different ones of them are asked for; 0: a new one each time
    bool sendsLimit = true;
};

const Route routes[] = {
    {"qobuz:featured/albums", LoadList::Albums, LoadList::featured, 1},
    {"qobuz:featured/artists", LoadList::Artists, LoadList::featured, 1},
    {"qobuz:featured/playlists", LoadList::Playlists, LoadList::featured, 1},
    {"qobuz:playlists", LoadList::Playlists, LoadList::userPlaylists, 1},
    {"qobuz:favourites/tracks", LoadList::Tracks, LoadList::favourites, 1},
    {"qobuz:favourites/albums", LoadList::Albums, LoadList::favourites, 1},
    {"qobuz:favourites/artists", LoadList::Artists, LoadList::favourites, 1},
    {"qobuz:purchases/tracks", LoadList::Tracks, LoadList::purchases, 1},
    {"qobuz:purchases/albums", LoadList::Albums, LoadList::purchases, 1},
    {"qobuz:search/artists?query=q%1", LoadList::Artists, 0, 0},
    {"qobuz:search/albums?query=q%1", LoadList::Albums, 0, 0, false},
    {"qobuz:search/tracks?query=q%1", LoadList::Tracks, 0, 0, false},
    {"qobuz:search/playlists?query=q%1", LoadList::Playlists, 0, 0, false},
    {"qobuz:album?id=%1", LoadList::Tracks, 0, 3000},
    {"qobuz:playlist?id=%1", LoadList::Tracks, 0, 0},
    {"qobuz:artist?id=%1", LoadList::Albums, 0, 40},
};

QStringList everyRole()
{
    return {PelkRoles::Title(),     PelkRoles::Path(),      PelkRoles::Type(),
            PelkRoles::AudioType(), PelkRoles::MediaData(), PelkRoles::ContainerType(),
            PelkRoles::Icon(),      PelkRoles::Query(),     PelkRoles::ContainerPlayable()};
}

QString errorText(const CMVoidReply& reply)
{
    return reply.error().message().toString();
}

/// Errors in the structure of a reply with rows.
QString faultAround(const CMVoidReply& reply, int count, int version, int size)
{
    if (reply.error().isSet())
        return QStringLiteral("error: ") + reply.error().message().toString();
    const PelkRowsRoles rows = CMReply<PelkRowsRoles>::from(reply).value();
    const int found = rows.rows().toList().size();
    if (rows.rowsCount() == count && rows.rowsVersion() == version && found == size)
        return {};
    return QStringLiteral("%1 of %2 rows of version %3, and not %4 of %5 of %6")
        .arg(found)
        .arg(rows.rowsCount())
        .arg(rows.rowsVersion())
        .arg(size)
        .arg(count)
        .arg(version);
}

/// Errors in the rows; the first one has this index in the list.
QString faultIn(const QVariantList& rows, const LoadList& list, int offset, Check check)
{
    for (int i = 0; i < rows.size(); ++i) {
        if (check == RequestMix::Short && i > 0 && i < rows.size() - 1)
            continue;
        const QVariantList values = rows.at(i).toList();
        if (values.value(0).toString() != list.title(offset + i))
            return values.value(0).toString() + QStringLiteral(" instead of ") + list.title(offset + i);
        if (check == RequestMix::Short)
            continue;
        QVariantHash row;
        const QStringList roles = everyRole();
        for (int role = 0; role < roles.size(); ++role)
            if (values.value(role).isValid())
                row.insert(roles.at(role), values.at(role));
        const QStringList found = variantLines(row);
        const QStringList expected = variantLines(list.row(offset + i));
        if (found != expected)
            return found.join(QLatin1Char('\n')) + QStringLiteral("\ninstead of\n") +
                   expected.join(QLatin1Char('\n'));
    }
    return {};
}

template <typename Request, typename Judge>
void watch(const Request& request, Qt::ConnectionType type, const Answered& answered, const Judge& judge)
{
    request.reply().addWatcher([answered, judge](const CMVoidReply& reply) { answered(judge(reply)); }, type);
}

QString place(const char* path, int number)
{
    return QString::fromLatin1(path).replace(QLatin1String("%1"), QString::number(number));
}

void sendOwnRows(CMRootWorker& root, int number, Lot lot, Qt::ConnectionType type, const Answered& answered)
{
    const OwnList& list = ownLists().at(lot.below(ownLists().size()));
    const int from = lot.below(3);
    const int to = from + lot.below(6);
    const CMGetRowsRequest request(CMPath(place(list.path, number)), from, to, {PelkRoles::Title()}, number);
    const QStringList titles = list.titles.mid(from, to + 1 - from);
    watch(request, type, answered, [titles, count = list.titles.size(), number](const CMVoidReply& reply) {
        const QString fault = faultAround(reply, count, number, titles.size());
        if (!fault.isEmpty())
            return fault;
        QStringList found;
        const QVariantList rows = CMReply<PelkRowsRoles>::from(reply).value().rows().toList();
        for (const QVariant& row : rows)
            found << row.toList().value(0).value<TrString>().toString();
        return found == titles ? QString() : found.join(QStringLiteral(", "));
    });
    root.getRowsRequest(request);
}

QVariant trackRow(int id)
{
    PelkRoles row;
    row.setTitle(TrString(QStringLiteral("Tide %1").arg(id)));
    row.setPath(CMPath(QStringLiteral("qobuz:track?id=%1").arg(id)));
    return row.variant();
}

void sendPrePlay(CMRootWorker& root, int number, Qt::ConnectionType type, const Answered& answered)
{
    const CMSetDataRequest request(CMPath(place("qobuz:preplay?id=%1", number)), PelkRoles::PrePlay(),
                                   trackRow(number));
    watch(request, type, answered, [number](const CMVoidReply& reply) {
        if (reply.error().isSet())
            return QStringLiteral("pre-play: ") + reply.error().message().toString();
        const PelkRoles row(PelkHash(reply.d()->value().toHash()));
        const PelkMediaData mediaData = row.mediaData();
        const QString stream =
            mediaData.resources().size() == 1 ? mediaData.resources().first().uri() : QString();
        const QString state = mediaData.metaData().contentStateChangePath().toString();
        const bool right = row.path().toString() == place("qobuz:track?id=%1", number) &&
                           stream == place("http://stream.example/%1?sig=1", number) &&
                           state == place("qobuz:stateChange?id=%1&format=6", number);
        return right ? QString() : QStringLiteral("pre-play: ") + stream + QLatin1Char(' ') + state;
    });
    root.setDataRequest(request);
}

void sendState(CMRootWorker& root, int number, Lot lot, Qt::ConnectionType type, const Answered& answered)
{
    PelkPlayLogicData data;
    data.setTrackRoles(PelkRoles(PelkHash(trackRow(number).toHash())));
    data.setState(static_cast<PelkPlayLogicState::Enum>(lot.below(4)));
    const CMSetDataRequest request(CMPath(place("qobuz:stateChange?id=%1&format=6", number)),
                                   PelkRoles::Value(), data.variant());
    watch(request, type, answered, [](const CMVoidReply& reply) {
        const bool right = !reply.error().isSet() && !reply.d()->value().isValid();
        return right ? QString() : QStringLiteral("state change: ") + errorText(reply);
    });
    root.setDataRequest(request);
}

void sendQuality(CMRootWorker& root, Lot lot, Qt::ConnectionType type, const Answered& answered)
{
    PelkValue value;
    value.setQobuzSoundQuality(static_cast<PelkQobuzSoundQuality::Enum>(lot.below(3)));
    const auto reply = CMReply<QVariant>::create();
    reply.addWatcher(
        [answered, value](const CMVoidReply& done) {
            answered(done.d()->value() == value.variant() ? QString() : QStringLiteral("sound quality"));
        },
        type);
    root.setValue(PelkQobuzSoundQualityPath(), value, reply);
}

void sendAccountWithoutOperation(CMRootWorker& root, Qt::ConnectionType type, const Answered& answered)
{
    PelkQobuzAccount account;
    account.setOperation(PelkQobuzAccountOperation::None);
    PelkValue value;
    value.setQobuzAccount(account);
    const CMSetDataRequest request(PelkQobuzConfigureAccountPath(), PelkRoles::Value(), value.variant());
    watch(request, type, answered,
          [](const CMVoidReply&) { return QStringLiteral("an answer where there is none"); });
    root.setDataRequest(request);
}

void sendQueryNode(CMRootWorker& root, Qt::ConnectionType type, const Answered& answered)
{
    const CMGetDataRequest request(CMPath(QStringLiteral("qobuz:searchNode")),
                                   {PelkRoles::Query(), PelkRoles::QueryPath()});
    watch(request, type, answered, [](const CMVoidReply& reply) {
        const QVariantList values = reply.d()->value().toList();
        const bool right = values.value(0).toString() == QLatin1String("query") &&
                           values.value(1).toString() == QLatin1String("qobuz:search/");
        return right ? QString() : QStringLiteral("query node: ") + values.value(1).toString();
    });
    root.getDataRequest(request);
}

void sendFailing(CMRootWorker& root, int number, Lot lot, Qt::ConnectionType type, const Answered& answered)
{
    struct Case
    {
        const char* path;
        int from;
        const char* error;
    };
    static const Case cases[] = {{"qobuz:favourites/tracks", -1, "Bad rows request range"},
                                 {"qobuz:nowhere%1", 0, "There is nothing at \"qobuz:nowhere%1\"."},
                                 {"qobuz:album?id=missing%1", 0, "No such album"},
                                 {"qobuz:album?id=broken%1", 0, "Invalid data returned."}};
    const Case& one = cases[lot.below(4)];
    const CMGetRowsRequest request(CMPath(place(one.path, number)), one.from, 9, {PelkRoles::Title()});
    watch(request, type, answered, [error = place(one.error, number)](const CMVoidReply& reply) {
        return errorText(reply) == error ? QString() : errorText(reply) + QStringLiteral(" and not ") + error;
    });
    root.getRowsRequest(request);
}

} // namespace

void RequestMix::sendRows(CMRootWorker& root, int number, Check check, Qt::ConnectionType type,
                          const Answered& answered)
{
    Lot lot(number);
    if (lot.below(3) == 0) {
        sendOwnRows(root, number, lot, type, answered);
        return;
    }
    static const int sizes[] = {1, 1, 5, 10, 10, 20, 50, 70, 0, -1};
    static const int offsets[] = {0, 0, 0, 10, 20, 50, 200, LoadList::total - 5, 2 * LoadList::total};
    const Route& route = routes[lot.below(int(std::size(routes)))];
    const int from = offsets[lot.below(int(std::size(offsets)))];
    const int size = sizes[lot.below(int(std::size(sizes)))];
    const LoadList list{route.kind, route.list    ? route.list
                                    : route.lists ? 10 + lot.below(route.lists)
                                                  : 10 + number};
    // A size below 0 is not sent, nor one of 0 by a search.
    const bool search = std::strstr(route.path, "search") != nullptr;
    const int limit = !route.sendsLimit || (search && size == 0) ? -1 : size;
    const int shown = std::min(LoadList::pageSize(from, limit), std::max(size, 0));
    const QStringList roles =
        check == Full ? everyRole() : QStringList{PelkRoles::Title(), PelkRoles::Path()};
    const CMGetRowsRequest request(CMPath(place(route.path, list.number)), from, from + size - 1, roles,
                                   number);
    // Of a range that ends before row 0 the module says so.
    if (from + size - 1 < 0) {
        watch(request, type, answered, [](const CMVoidReply& reply) {
            return errorText(reply) == QLatin1String("Bad rows request range") ? QString() : errorText(reply);
        });
    } else {
        watch(request, type, answered, [list, from, shown, check, number](const CMVoidReply& reply) {
            const QString fault = faultAround(reply, LoadList::total, number, shown);
            return fault.isEmpty() ? faultIn(CMReply<PelkRowsRoles>::from(reply).value().rows().toList(),
                                             list, from, check)
                                   : fault;
        });
    }
    root.getRowsRequest(request);
}

bool RequestMix::sendOther(CMRootWorker& root, int number, Qt::ConnectionType type, const Answered& answered)
{
    Lot lot(number);
    switch (lot.below(8)) {
    case 0:
    case 1:
        sendPrePlay(root, number, type, answered);
        return true;
    case 2:
    case 3:
        sendState(root, number, lot, type, answered);
        return true;
    case 4:
        sendQuality(root, lot, type, answered);
        return true;
    case 5:
        sendAccountWithoutOperation(root, type, answered);
        return false;
    case 6:
        sendQueryNode(root, type, answered);
        return true;
    default:
        sendFailing(root, number, lot, type, answered);
        return true;
    }
}
