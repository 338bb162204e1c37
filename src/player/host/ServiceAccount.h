#pragma once

#include "api/core/model/cmfilestore.h"
#include "api/core/model/cmrequest.h"
#include "api/types/pelkroles.h"

/// The service's account as used by the player: the login form, the saved login and the sound quality. Any
/// thread; nothing blocks unless stated otherwise.
namespace ServiceAccount {

/// The request that logs a user in. Send it through the root worker.
CMSetDataRequest loginRequest(const QString& userName, const QString& password);
/// The request that logs out and forgets the account.
CMSetDataRequest logoutRequest();

/// Whether a module has published that a user is logged in.
bool isLoggedIn();
/// Whether the service answers at this path.
bool isServicePath(const CMPath& path);
/// Whether this path needs a login and nobody is logged in.
bool lacksLogin(const CMPath& path);
/// The user name of the saved login; empty if there is none.
QString userName();

/// The supported sound qualities, as written in the settings.
QStringList qualities();
QString quality();
/// The request that chooses one of qualities(). Its reply finishes once it is saved.
CMSetDataRequest qualityRequest(const QString& quality);

/// Whether the stream of a resolved row is of a lower quality than this one of qualities(). False for rows of
/// other services, and where the stream does not say what it is.
bool isLowerThan(const QString& quality, const PelkRoles& row);

/// The pre-play path of a single track of which only the path is known; empty if `path` is not that of a
/// track.
CMPath prePlayPath(const CMPath& path);
/// A row with which such a track can be played, because its own row cannot be requested. Empty if `path` is
/// not that of a track.
PelkRoles trackRow(const CMPath& path);

/// Saves the login in a file that only its owner can read.
class LoginStore : public CMFileStore
{
public:
    explicit LoginStore(const QString& fileName);

    /// The path whose value is kept here.
    static CMPath path();
    /// Like CMFileStore, but remembers a failure, because the module that saves the login ignores the
    /// outcome. If a record without a token cannot be written, the file is removed.
    bool write(const CMPath& path, const PelkValue& value, QString* error) override;
    /// Why the last write failed; empty if it did not. Root worker's thread.
    QString failure() const { return m_failure; }

private:
    QString m_failure;
};

} // namespace ServiceAccount
