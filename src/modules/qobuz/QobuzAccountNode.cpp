#include "modules/qobuz/QobuzAccountNode.h"

#include "api/core/log/dbglog.h"
#include "api/core/model/cmabstractworker.h"
#include "api/core/model/cmvaluenode.h"
#include "api/play/playlogicinterface.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkqobuzloginresponse.h"
#include "api/types/pelkroles.h"
#include "api/types/qobuzpaths.h"
#include "modules/qobuz/QobuzApi.h"
#include "modules/qobuz/QobuzWorker.h"

namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance("Qobuz");

PelkQobuzUserSession storedSession()
{
    return CMRoot()->getValue(PelkQobuzUserSessionPath()).qobuzUserSession();
}

/// The user session as the variant of a value, the form in which replies carry it.
QVariant storedSessionVariant()
{
    PelkValue value;
    value.setQobuzUserSession(storedSession());
    return value.variant();
}

void publishLoginState(CMValueNode* node, PelkQobuzLoginStates::Enum state)
{
    PelkQobuzLoginState loginState;
    loginState.setState(state);
    PelkValue value;
    value.setQobuzLoginState(loginState);
    node->setValue(value);
}

CMError accountError(const char* text, const char* disambiguation = nullptr)
{
    return CMError(TrString(TrCharData{"Qobuz", text, disambiguation, -1}, {}));
}

} // namespace

QobuzAccountNode* QobuzAccountNode::create(QobuzWorker* worker, CMNodes* nodes, const CMPath& path)
{
    LOG4CPLUS_TRACE(logger, "creating Qobuz Account node");
    auto* node = new QobuzAccountNode(worker, path);
    node->setNodes(nodes);
    return node;
}

QobuzAccountNode::QobuzAccountNode(QobuzWorker* worker, const CMPath& path)
    : CMNode(path)
    , m_worker(worker)
{
    publishLoginState(m_worker->loginStateNode(), storedSession().userId() == 0
                                                      ? PelkQobuzLoginStates::LoggedOut
                                                      : PelkQobuzLoginStates::LoggedIn);
}

bool QobuzAccountNode::getDataRequest(const CMGetDataRequest& request)
{
    QVariantList values;
    for (const QString& role : request.roles())
        values.append(role == PelkRoles::Value() ? storedSessionVariant() : QVariant());
    request.reply().setValue(values);
    return true;
}

bool QobuzAccountNode::setDataRequest(const CMSetDataRequest& request)
{
    if (request.role() != PelkRoles::Value()) {
        LOG4CPLUS_ERROR(logger, "Expected value role!");
        return CMNode::setDataRequest(request);
    }
    const PelkValue value(PelkHash::fromVariant(request.value()));
    if (value.type() != PelkValue::QobuzAccountType) {
        LOG4CPLUS_ERROR(logger, "Expected qobuz account value type!");
        request.reply().setError(accountError("Invalid value type for account operation.",
                                              "Account node - invalid input data format"));
        return true;
    }
    // The whole value, password included, is printed at this level on purpose; the default level is far above
    // it.
    LOG4CPLUS_DEBUG(logger, "Qobuz account value: '" << value.toString() << "'");
    return processSetDataRequest(value.qobuzAccount(), request);
}

// By value: both live on in the watcher. NOLINTNEXTLINE(performance-unnecessary-value-param)
bool QobuzAccountNode::processSetDataRequest(PelkQobuzAccount account, CMSetDataRequest request)
{
    LOG4CPLUS_DEBUG(logger, "Enter " << dbglog_scopedFunction(Q_FUNC_INFO, "Qobuz") << ": ");
    const CMReply<QVariant> requestReply = request.reply();
    switch (int(account.operation())) {
    case PelkQobuzAccountOperation::Login: {
        PelkQobuzAccount reduced;
        reduced.setOperation(account.operation());
        reduced.setUsername(account.username());
        reduced.setPassword(account.password());
        // Presence alone is tested: empty texts go to the service, which refuses them in its own words.
        if (!account.contains(PelkQobuzAccount::Username()) ||
            !account.contains(PelkQobuzAccount::Password())) {
            requestReply.setError(accountError("Username or password not set"));
            break;
        }
        publishLoginState(m_worker->loginStateNode(), PelkQobuzLoginStates::InProgress);
        const CMVoidReply loginReply = m_worker->qobuzApi()->login(account);
        loginReply.addWatcher([this, requestReply, reduced](const CMVoidReply& reply) {
            if (reply.error().value(CMError::Name()).toString().isEmpty()) {
                requestReply.setValue(QVariantList{storedSessionVariant(), false});
                publishLoginState(m_worker->loginStateNode(), PelkQobuzLoginStates::LoggedIn);
            } else {
                requestReply.setError(reply.error());
                publishLoginState(m_worker->loginStateNode(), PelkQobuzLoginStates::Failed);
            }
        });
        break;
    }
    case PelkQobuzAccountOperation::Remove: {
        m_worker->qobuzApi()->logout();
        LOG4CPLUS_INFO(logger, "Account removed");
        PlayLogicInterface* const player = PlayLogicInterface::playerInstance();
        // A paused or stopped track of this service stops the player too, on purpose.
        if (player->data().trackRoles().mediaData().metaData().serviceID() == PelkService_Qobuz_Id()) {
            LOG4CPLUS_INFO(logger, "We were playing qobuz when logged out - stopping player");
            player->stop(PelkPlayLogicStopReason::ContentGone);
        }
        requestReply.setValue(QVariantList{storedSessionVariant(), false});
        publishLoginState(m_worker->loginStateNode(), PelkQobuzLoginStates::LoggedOut);
        break;
    }
    case PelkQobuzAccountOperation::None:
        LOG4CPLUS_WARN(logger,
                       "No operation on account node specified!"); // and the reply stays open, on purpose
        break;
    default:
        break;
    }
    LOG4CPLUS_DEBUG(logger, "Leave " << dbglog_scopedFunction(Q_FUNC_INFO, "Qobuz") << ": ");
    return true;
}
