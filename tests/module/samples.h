#pragma once

#include "api/types/pelkqobuzaccount.h"
#include "api/types/pelkqobuzusersession.h"
#include "api/types/pelkroles.h"
#include "api/types/pelkvalue.h"
#include "tests/support/modulehost.h"
#include "tests/support/testhttpserver.h"

// Values that tests write to the account node, and the responses of the service.

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

/// One list in the format of the service.
inline QByteArray list(int total, const QByteArrayList& items)
{
    return "{\"offset\":0,\"limit\":500,\"total\":" + QByteArray::number(total) + ",\"items\":[" +
           items.join(',') + "]}";
}

/// `count` albums titled "Album 0", "Album 1", ...
inline QByteArrayList albums(int count)
{
    QByteArrayList items;
    for (int i = 0; i < count; ++i) {
        const QByteArray number = QByteArray::number(i);
        items << "{\"id\":\"a" + number + "\",\"title\":\"Album " + number + "\"}";
    }
    return items;
}

/// A response with every list that a response can have, each with its own total.
inline QByteArray everyList()
{
    return R"({"id":1,"title":"Envelope","name":"Envelope","total":9999,"artists":)" +
           list(310, {R"({"id":11,"name":"First artist"})", R"({"id":12,"name":"Second artist"})"}) +
           R"(,"albums":)" +
           list(1200, {R"({"id":"21","title":"First album"})", R"({"id":"22","title":"Second album"})"}) +
           R"(,"tracks":)" +
           list(70, {R"({"id":31,"title":"First track"})", R"({"id":32,"title":"Second track"})"}) +
           R"(,"playlists":)" +
           list(42, {R"({"id":41,"name":"First playlist"})", R"({"id":42,"name":"Second playlist"})"}) +
           R"(,"articles":)" +
           list(5, {R"({"id":51,"title":"First article"})", R"({"id":52,"title":"Second article"})"}) + "}";
}

/// The values of rows with a single role.
inline QStringList texts(const QVariantList& rows)
{
    QStringList found;
    for (const QVariant& row : rows)
        found << row.toList().value(0).toString();
    return found;
}

/// A path with one parameter, in its text form.
inline QString pathWith(const QString& base, const QString& name, const QString& value)
{
    CMPath path(base);
    path.addParam(name, value);
    return path.toString();
}

/// Every role, and one that does not exist.
inline QStringList allRoles()
{
    return {PelkRoles::Title(),         PelkRoles::Path(),       PelkRoles::Type(),
            PelkRoles::ContainerType(), PelkRoles::AudioType(),  PelkRoles::ContainerPlayable(),
            PelkRoles::Icon(),          PelkRoles::MediaData(),  PelkRoles::SearchPath(),
            PelkRoles::Query(),         PelkRoles::QueryPath(),  PelkRoles::Value(),
            PelkRoles::PrePlay(),       QStringLiteral("artist")};
}
