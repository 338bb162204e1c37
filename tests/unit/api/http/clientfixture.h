#pragma once

#include "api/http/httpclient.h"
#include "tests/support/testhttpserver.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QList>
#include <QTimer>

/// A client whose requests put their results in a list, in the order of their callbacks.
struct ClientFixture
{
    ClientFixture() { options.setTimeoutMs(15000); }

    HttpClient::Callback collect()
    {
        return [this](const HttpClientResult& result) { results.append(result); };
    }

    void get(const QString& url) { client.get(PelkUrl(url), options, collect()); }

    /// Runs the event loop until so many results are there; false when that takes too long.
    bool waitForResults(int count)
    {
        const QDeadlineTimer deadline(20000);
        QTimer awake; // so that the wait below ends now and then even when nothing happens
        awake.start(100);
        while (results.size() < count && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        return results.size() == count;
    }

    /// The result of one GET; a default result, with code 0, when none came.
    HttpClientResult fetch(const QString& url)
    {
        const int before = results.size();
        get(url);
        return waitForResults(before + 1) ? results.last() : HttpClientResult();
    }

    void setHeader(const char* name, const char* value)
    {
        HttpClientHeaders headers = options.headers();
        headers.insert(QString::fromUtf8(name), QString::fromUtf8(value));
        options.setHeaders(headers);
    }

    HttpClient client{nullptr, HttpClient::BestVersion, true};
    HttpClientOptions options;
    QList<HttpClientResult> results;
};

inline TestHttpServer::Response withHeader(TestHttpServer::Response response, const QByteArray& name,
                                           const QByteArray& value)
{
    response.headers.append({name, value});
    return response;
}
