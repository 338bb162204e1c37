#include "tests/faults/stage.h"

#include "api/http/httpclient.h"
#include "api/play/pelkplaylogicdata.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkqobuzaccount.h"
#include "api/types/pelkqobuzloginstate.h"
#include "api/types/pelkrowsroles.h"
#include "api/types/qobuzpaths.h"
#include "tests/module/samples.h"
#include "tests/support/patience.h"

#include <QDeadlineTimer>

namespace {

const sandbox::Options& defaults()
{
    static const sandbox::Options options;
    return options;
}

QString text(const std::string& utf8)
{
    return QString::fromStdString(utf8);
}

/// An address of a stream and a token are others each time; that they are there is all that can be compared.
void hideSecrets(Json& records)
{
    for (Json& record : records) {
        const auto hide = [&record](const char* place) {
            const Json::json_pointer at(place);
            if (record.contains(at) && record[at].is_string() && record[at].get<std::string>().size() > 40)
                record[at] = "(new each time)";
        };
        hide("/userAuthToken");
        hide("/mediaData/resources/0/uri");
    }
}

} // namespace

Stage::Stage()
    : m_log(QStringLiteral("Qobuz"), log4cplus::ERROR_LOG_LEVEL)
{
    startSandbox(0);
    if (!m_sandbox)
        return;
    m_host = std::make_unique<ModuleHost>(text(m_sandbox->baseUrl()));
    m_host->setSettings(text(m_sandbox->baseUrl()), text(defaults().appId), text(defaults().appSecret));
    m_host->start();
    if (!ModuleHost::wait(sendLogin().reply))
        return;
    const auto firstPath = [this](const char* list) {
        const ModuleHost::Rows rows = m_host->rows(QString::fromLatin1(list), 0, 0, {PelkRoles::Path()});
        return rows.rows.value(0).toList().value(0).toString();
    };
    m_paths = {{QStringLiteral("qobuz:album"), firstPath("qobuz:featured/albums")},
               {QStringLiteral("qobuz:artist"), firstPath("qobuz:featured/artists")},
               {QStringLiteral("qobuz:playlist"), firstPath("qobuz:featured/playlists")}};
    const ModuleHost::Rows tracks = m_host->rows(QStringLiteral("qobuz:favourites/tracks"), 0, 0,
                                                 {PelkRoles::Path(), PelkRoles::MediaData()});
    const QVariantList first = tracks.rows.value(0).toList();
    PelkRoles row;
    row.setPath(CMPath(first.value(0).toString()));
    row.setMediaData(PelkMediaData(PelkHash(first.value(1).toHash())));
    m_track = row.variant();
    m_trackId = row.path().param(QStringLiteral("id"));
    m_ready = !m_trackId.isEmpty() && takeErrorLines().isEmpty();
}

Stage::~Stage()
{
    // Pending transfers end with the sandbox; the module must notice it.
    if (m_sandbox)
        m_sandbox->stop();
    HttpClient::waitForIdle(patienceMs);
}

void Stage::startSandbox(int port)
{
    sandbox::Options options;
    options.port = port;
    m_sandbox = std::make_unique<sandbox::Sandbox>(options);
    // Another program may take a port while it is free.
    const QDeadlineTimer deadline(10000);
    while (!m_sandbox->start()) {
        if (deadline.hasExpired()) {
            m_sandbox.reset();
            return;
        }
        m_sandbox = std::make_unique<sandbox::Sandbox>(options);
    }
    m_http = std::make_unique<httplib::Client>("127.0.0.1", m_sandbox->port());
    m_http->set_keep_alive(true);
    m_http->set_tcp_nodelay(true);
}

bool Stage::post(const char* path, const Json& body)
{
    const auto answer = m_http->Post(path, body.dump(), "application/json");
    return answer && answer->status == 200;
}

bool Stage::arm(const char* call, const Json& fault)
{
    if (fault["kind"] == "refuse") {
        m_sandbox->stop();
        return true;
    }
    Json lasting = fault;
    lasting["endpoint"] = call;
    lasting["count"] = -1;
    return post("/control/faults", lasting);
}

bool Stage::disarm()
{
    const auto answer = m_http->Delete("/control/faults");
    if (answer)
        return answer->status == 200;
    // It was stopped; the module only knows its port. Tokens outlive this.
    const int port = m_sandbox->port();
    startSandbox(port);
    return m_sandbox != nullptr;
}

Json Stage::control(const char* path)
{
    const auto answer = m_http->Get(std::string("/control/") + path);
    return answer ? Json::parse(answer->body, nullptr, false) : Json();
}

bool Stage::expireTokens()
{
    return post("/control/token-expiry", Json::object());
}

QString Stage::pathOf(const Endpoint& endpoint) const
{
    const QString path = QString::fromLatin1(endpoint.path);
    return m_paths.value(path, path);
}

const QStringList& Stage::roles()
{
    static const QStringList all{PelkRoles::Title(),     PelkRoles::Path(),
                                 PelkRoles::Type(),      PelkRoles::ContainerType(),
                                 PelkRoles::AudioType(), PelkRoles::ContainerPlayable(),
                                 PelkRoles::Icon(),      PelkRoles::MediaData()};
    return all;
}

Pending Stage::watched(const CMVoidReply& reply) const
{
    Pending pending{reply, std::make_shared<std::atomic<int>>(0)};
    reply.addWatcher([answers = pending.answers](const CMVoidReply&) { ++*answers; }, Qt::DirectConnection);
    return pending;
}

Pending Stage::sendLogin()
{
    const CMSetDataRequest request(CMPath(accountPath()), PelkRoles::Value(),
                                   accountValue(login(QString::fromLatin1(sandbox::demo::userName),
                                                      QString::fromLatin1(sandbox::demo::password))));
    const Pending pending = watched(request.reply());
    m_host->root().setDataRequest(request);
    return pending;
}

Pending Stage::changeState(const QString& trackId, int state)
{
    PelkPlayLogicData data;
    data.setTrackRoles(PelkRoles(PelkHash(m_track.toHash())));
    data.setState(static_cast<PelkPlayLogicState::Enum>(state));
    CMPath path(QStringLiteral("qobuz:stateChange"));
    path.addParam(QStringLiteral("id"), trackId);
    path.addParam(QStringLiteral("format"), QStringLiteral("5"));
    const CMSetDataRequest request(path, PelkRoles::Value(), data.variant());
    const Pending pending = watched(request.reply());
    m_host->root().setDataRequest(request);
    return pending;
}

Pending Stage::send(const Endpoint& endpoint)
{
    switch (endpoint.kind) {
    case Endpoint::Login:
        return sendLogin();
    case Endpoint::Rows: {
        const CMGetRowsRequest request(CMPath(pathOf(endpoint)), 0, rowsAsked - 1, roles());
        const Pending pending = watched(request.reply());
        m_host->root().getRowsRequest(request);
        return pending;
    }
    case Endpoint::Resolve: {
        const PelkRoles row(PelkHash(m_track.toHash()));
        const CMSetDataRequest request(row.mediaData().metaData().prePlayPath(), PelkRoles::PrePlay(),
                                       m_track);
        const Pending pending = watched(request.reply());
        m_host->root().setDataRequest(request);
        return pending;
    }
    case Endpoint::ReportStart:
        return changeState(m_trackId, PelkPlayLogicState::Playing);
    case Endpoint::ReportEnd:
        return changeState(m_trackId, PelkPlayLogicState::Stopped);
    }
    return {};
}

Outcome Stage::outcome(const Endpoint& endpoint, const Pending& pending, int waitMs)
{
    Outcome outcome;
    outcome.finished = ModuleHost::wait(pending.reply, waitMs);
    // The reply of a state change does not wait for the report. Else this brings what still follows a reply.
    m_host->settle();
    outcome.finished = HttpClient::waitForIdle(waitMs) && outcome.finished;
    m_host->settle();
    outcome.answers = *pending.answers;
    outcome.errorLines = takeErrorLines();
    if (!outcome.finished)
        return outcome;
    outcome.error = pending.reply.error();
    const QVariant value = pending.reply.d()->value();
    switch (endpoint.kind) {
    case Endpoint::Login:
        outcome.loginState =
            int(m_host->root().getValue(PelkQobuzLoginStatePath()).qobuzLoginState().state());
        if (!outcome.error.isSet())
            outcome.records.push_back(json(sessionIn(value.toList().value(0)).variant()));
        break;
    case Endpoint::Rows: {
        const PelkRowsRoles answer = value.value<PelkRowsRoles>();
        outcome.count = answer.rowsCount();
        const QVariantList rows = answer.rows().toList();
        for (const QVariant& row : rows) {
            const QVariantList values = row.toList();
            QVariantHash hash;
            for (int i = 0; i < values.size(); ++i)
                if (values.at(i).isValid())
                    hash.insert(roles().value(i), values.at(i));
            outcome.records.push_back(json(hash));
        }
        break;
    }
    case Endpoint::Resolve:
        if (!outcome.error.isSet())
            outcome.records.push_back(json(value));
        break;
    case Endpoint::ReportStart:
    case Endpoint::ReportEnd:
        break;
    }
    hideSecrets(outcome.records);
    return outcome;
}

Outcome Stage::run(const Endpoint& endpoint, const Json& fault, Pending* sent, bool* armed)
{
    const int waitMs = patienceMs; // nothing that comes here lasts to the time-out
    if (endpoint.kind == Endpoint::ReportEnd)
        outcome(endpoint, changeState(m_trackId, PelkPlayLogicState::Playing), waitMs);
    const bool known = fault.is_null() || arm(endpoint.call, fault);
    const Pending pending = send(endpoint);
    const Outcome result = outcome(endpoint, pending, waitMs);
    const bool disarmed = fault.is_null() || disarm();
    if (endpoint.kind == Endpoint::ReportStart)
        outcome(endpoint, changeState(m_trackId, PelkPlayLogicState::Stopped), waitMs);
    if (sent)
        *sent = pending;
    if (armed)
        *armed = known && disarmed;
    return result;
}

QStringList Stage::takeErrorLines()
{
    const QStringList lines = m_log.texts(log4cplus::ERROR_LOG_LEVEL);
    m_log.clear();
    return lines;
}

Json Stage::json(const QVariant& value)
{
    if (value.userType() == qMetaTypeId<PelkHash>())
        return json(value.toHash());
    switch (value.userType()) {
    case QMetaType::QVariantHash: {
        Json object = Json::object();
        const QVariantHash hash = value.toHash();
        for (auto it = hash.begin(); it != hash.end(); ++it)
            object[it.key().toStdString()] = json(it.value());
        return object;
    }
    case QMetaType::QVariantList: {
        Json array = Json::array();
        const QVariantList list = value.toList();
        for (const QVariant& item : list)
            array.push_back(json(item));
        return array;
    }
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Double:
        return value.toDouble();
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return value.toLongLong();
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        return nullptr;
    default:
        return value.toString().toStdString();
    }
}
