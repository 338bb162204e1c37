#include "tests/support/memoryservice.h"

#include <QCoreApplication>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

#include <deque>

namespace {

struct Open
{
    PelkUrl url;
    HttpClient::Callback callback;
};

std::deque<Open> openRequests;

/// Failures are formatted, because that is part of processing a response, but not written.
void logNowhere()
{
    static const log4cplus::Initializer initializer;
    static const bool done = [] {
        log4cplus::Logger::getRoot().addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
        log4cplus::Logger::getRoot().setLogLevel(log4cplus::ERROR_LOG_LEVEL);
        return true;
    }();
    Q_UNUSED(done)
}

} // namespace

// These take the place of the client's own: the program is the service.
void HttpClient::get(const PelkUrl& url, const HttpClientOptions& /*options*/, Callback callback)
{
    openRequests.push_back({url, std::move(callback)});
}

void HttpClient::post(const PelkUrl& url, const QByteArray& /*body*/, const HttpClientOptions& /*options*/,
                      Callback callback)
{
    openRequests.push_back({url, std::move(callback)});
}

MemoryService::MemoryService(const QString& apiUrl)
    : host((logNowhere(), apiUrl))
    , api((host.setSession(), &http))
    , browser(&api, nullptr)
{
}

PelkUrl MemoryService::answer(int code, const QByteArray& body, const QString& servingHost, int which)
{
    const auto place = openRequests.begin() + which;
    const Open request = std::move(*place);
    openRequests.erase(place);
    HttpClientHeaders headers;
    if (!servingHost.isNull())
        headers.insert(QStringLiteral("X-PelkEfectiveUrl"), servingHost);
    request.callback({request.url, HttpClientResult::Complete, code, body, headers});
    return request.url;
}

int MemoryService::open()
{
    return static_cast<int>(openRequests.size());
}

void MemoryService::reset()
{
    openRequests.clear();
    QCoreApplication::sendPostedEvents();
}
