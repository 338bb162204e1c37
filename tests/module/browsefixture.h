#pragma once

#include "api/types/pelkroles.h"
#include "tests/support/modulehost.h"
#include "tests/support/testhttpserver.h"

/// The module with a user who is logged in, in front of a server that the test scripts. The API's base is
/// "/api/".
class BrowseFixture
{
public:
    BrowseFixture()
        : host(server.url(QStringLiteral("/api/")))
    {
        host.setSession();
        host.start();
    }

    /// Answers every request from here on so, and forgets what was received.
    void serve(const QByteArray& body, int status = 200)
    {
        TestHttpServer::Response response = TestHttpServer::json(body, status);
        server.setHandler([response](const TestHttpServer::Request&) { return response; });
        server.clearRequests();
    }

    /// The targets of the requests received.
    QList<QByteArray> targets() const
    {
        QList<QByteArray> found;
        const QList<TestHttpServer::Request> requests = server.requests();
        for (const TestHttpServer::Request& request : requests)
            found << request.target;
        return found;
    }

    /// One list as the service writes it.
    static QByteArray list(int total, const QByteArrayList& items)
    {
        return "{\"offset\":0,\"limit\":500,\"total\":" + QByteArray::number(total) + ",\"items\":[" +
               items.join(',') + "]}";
    }

    /// `count` albums titled "Album 0", "Album 1", ...
    static QByteArrayList albums(int count)
    {
        QByteArrayList items;
        for (int i = 0; i < count; ++i) {
            const QByteArray number = QByteArray::number(i);
            items << "{\"id\":\"a" + number + "\",\"title\":\"Album " + number + "\"}";
        }
        return items;
    }

    /// An answer that has every list that an answer can have, each with a total of its own.
    static QByteArray everyList()
    {
        return R"({"id":1,"title":"Envelope","name":"Envelope",)"
               R"("artists":)" +
               list(310, {R"({"id":11,"name":"First artist"})", R"({"id":12,"name":"Second artist"})"}) +
               R"(,"albums":)" +
               list(1200, {R"({"id":"21","title":"First album"})", R"({"id":"22","title":"Second album"})"}) +
               R"(,"tracks":)" +
               list(70, {R"({"id":31,"title":"First track"})", R"({"id":32,"title":"Second track"})"}) +
               R"(,"playlists":)" +
               list(42, {R"({"id":41,"name":"First playlist"})", R"({"id":42,"name":"Second playlist"})"}) +
               R"(,"articles":)" +
               list(5, {R"({"id":51,"title":"First article"})", R"({"id":52,"title":"Second article"})"}) +
               "}";
    }

    /// The values of one role, of rows that were asked for one role.
    static QStringList texts(const QVariantList& rows)
    {
        QStringList found;
        for (const QVariant& row : rows)
            found << row.toList().value(0).toString();
        return found;
    }

    /// A path with one parameter, in its text form.
    static QString pathWith(const QString& base, const QString& name, const QString& value)
    {
        CMPath path(base);
        path.addParam(name, value);
        return path.toString();
    }

    TestHttpServer server;
    ModuleHost host;
};
