#pragma once

#include "api/types/pelkqobuzaccount.h"
#include "api/types/pelkqobuzusersession.h"
#include "api/types/pelkvalue.h"

// What is written to the account node and read from it.

inline const QString& accountPath()
{
    static const QString path = QStringLiteral("account:qobuz");
    return path;
}

inline QVariant accountValue(const PelkQobuzAccount& account)
{
    PelkValue value;
    value.setQobuzAccount(account);
    return value.variant();
}

inline PelkQobuzAccount account(int operation)
{
    PelkQobuzAccount made;
    made.setOperation(static_cast<PelkQobuzAccountOperation::Enum>(operation));
    return made;
}

inline PelkQobuzAccount login(const QString& user = QStringLiteral("user@example.com"),
                              const QString& password = QStringLiteral("s3cret"))
{
    PelkQobuzAccount made = account(PelkQobuzAccountOperation::Login);
    made.setUsername(user);
    made.setPassword(password);
    return made;
}

inline PelkQobuzUserSession sessionIn(const QVariant& value)
{
    return PelkValue(PelkHash(value.toHash())).qobuzUserSession();
}
