#pragma once

#include "api/types/pelkhash.h"
#include "player/server/access/Access.h"
#include "player/server/api/Problem.h"
#include "player/server/http/HttpMessage.h"

#include <QJsonObject>

#include <optional>

/// A request to one of the routes, as far as it concerns them.
struct ApiRequest
{
    const HttpRequest& http;  ///< there as long as the handler runs
    const Language* language; ///< the reader's; never null
    Grant grant;              ///< at least the right that the route needs
    PelkHash body{};          ///< of a POST; as its route's schema says

    /// The first parameter with a name; empty if there is none.
    QString param(const QString& name) const;
    QStringList all(const QString& name) const;
    /// A parameter that is a whole number from `least` to `most`. Throws a Problem if it is not.
    int number(const QString& name, int least, int most) const;
    /// A field of the body, or `otherwise` if it is missing.
    qint64 whole(const char* name, qint64 otherwise = 0) const;
    QString text(const char* name) const;
    bool flag(const char* name) const;
    bool has(const char* name) const;
};

/// A response with what every response carries: what browsers may do with it.
HttpResponse withCommonHeaders(HttpResponse response);

/// Receives the response to a request. May be stored; only the first response counts.
class ApiResponder
{
public:
    ApiResponder(Responder responder, const Language* language)
        : m_responder(std::move(responder))
        , m_language(language)
    {
    }

    void send(int status, const QJsonObject& body) const;
    /// 204.
    void done() const;
    void fail(const Problem& problem) const;
    /// A response that is not JSON.
    void sendRaw(HttpResponse response) const;
    bool isOpen() const { return m_responder->isOpen(); }
    void onGone(const std::function<void()>& gone) const { m_responder->onGone(gone); }

private:
    Responder m_responder;
    const Language* m_language;
};

/// A field of a request's body.
struct Field
{
    enum class Kind
    {
        Text,
        Whole,       ///< a number from `least` to `most`
        WholeOrNull, ///< the same, or null
        Flag,
        Ids,   ///< numbers from `least` to `most`, one at least
        Tagged ///< a value with its type
    };
    const char* name;
    Kind kind;
    bool required = true;
    qint64 least = 0;
    qint64 most = 0;
};

/// One operation. The handler runs on the server's thread, must not block, and may throw a Problem.
struct Route
{
    QByteArray method;
    QByteArray path;
    QVector<Field> body; ///< of a POST
    std::function<void(const ApiRequest&, const ApiResponder&)> handler;
    std::optional<Grant::Level> needs{}; ///< if it does not follow from the method

    Grant::Level needed() const
    {
        return needs.value_or(method == "GET" ? Grant::Level::Read : Grant::Level::Control);
    }
    /// Reads the body of a request. Throws a Problem if it does not match the schema.
    PelkHash read(const QByteArray& json) const;
};
