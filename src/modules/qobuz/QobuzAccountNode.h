#pragma once

#include "api/core/model/cmnode.h"
#include "api/types/pelkqobuzaccount.h"

class QobuzWorker;

/// The node through which a user logs in and removes the account. Writing a PelkQobuzAccount to it drives the
/// login; reading it gives the user session and never the account. Lives on the worker's thread.
class QobuzAccountNode : public CMNode
{
public:
    /// Makes the node and registers it. Owned by the registry.
    static QobuzAccountNode* create(QobuzWorker* worker, CMNodes* nodes, const CMPath& path);
    /// Publishes the initial login state: logged in where a user was kept from an earlier run.
    QobuzAccountNode(QobuzWorker* worker, const CMPath& path);

    /// The user session for the value role, invalid values for all others.
    bool getDataRequest(const CMGetDataRequest& request) override;
    /// Checks role and type of the new value; passes an account to processSetDataRequest().
    bool setDataRequest(const CMSetDataRequest& request) override;

private:
    bool processSetDataRequest(PelkQobuzAccount account, CMSetDataRequest request);

    QobuzWorker* m_worker; // not owned
};
