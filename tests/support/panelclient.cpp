#include "tests/support/panelclient.h"

#include "tests/support/patience.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QHostAddress>
#include <QJsonDocument>
#include <QTimer>

namespace {

QByteArray request(const QByteArray& method, const QByteArray& target, const PanelClient::Headers& headers,
                   const QByteArray& host)
{
    QByteArray text = method + ' ' + target + " HTTP/1.1\r\n";
    bool hasHost = false;
    for (const auto& header : headers) {
        text += header.first + ": " + header.second + "\r\n";
        hasHost = hasHost || header.first == "Host";
    }
    if (!hasHost)
        text += "Host: " + host + "\r\n";
    return text;
}

/// Reads a head; false until it is complete.
bool readHead(const QByteArray& bytes, PanelReply* reply, int* bodyAt)
{
    const int end = bytes.indexOf("\r\n\r\n");
    if (end < 0)
        return false;
    *bodyAt = end + 4;
    const QList<QByteArray> lines = bytes.left(end).split('\n');
    reply->status = lines.first().split(' ').value(1).toInt();
    for (int i = 1; i < lines.size(); ++i) {
        const int colon = lines.at(i).indexOf(':');
        reply->headers.insert(lines.at(i).left(colon).toLower(), lines.at(i).mid(colon + 1).trimmed());
    }
    return true;
}

} // namespace

QJsonObject PanelReply::json() const
{
    return QJsonDocument::fromJson(body).object();
}

QString PanelReply::detail() const
{
    return json().value(QStringLiteral("detail")).toString();
}

PanelReply PanelClient::get(const QByteArray& target, const Headers& headers) const
{
    return send("GET", target, headers);
}

PanelReply PanelClient::post(const QByteArray& target, const QByteArray& body, const Headers& headers) const
{
    return send("POST", target, Headers{{"Content-Type", "application/json"}} + headers, body);
}

PanelReply PanelClient::post(const QByteArray& target, const QJsonObject& body, const Headers& headers) const
{
    return post(target, QJsonDocument(body).toJson(), headers);
}

PanelReply PanelClient::send(const QByteArray& method, const QByteArray& target, const Headers& headers,
                             const QByteArray& body) const
{
    QByteArray text = request(method, target, headers, host());
    if (method != "GET" && method != "HEAD")
        text += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    return raw(text + "\r\n" + body);
}

PanelReply PanelClient::raw(const QByteArray& bytes) const
{
    PendingReply pending(m_port, bytes);
    pending.wait(patienceMs);
    return pending.reply();
}

PendingReply::PendingReply(quint16 port, const QByteArray& bytes)
    : m_isHead(bytes.startsWith("HEAD "))
{
    connect(&m_socket, &QTcpSocket::readyRead, this, &PendingReply::look);
    connect(&m_socket, &QTcpSocket::disconnected, this, [this] { m_finished = true; });
    connect(&m_socket, &QTcpSocket::errorOccurred, this, [this] { m_finished = true; });
    connect(&m_socket, &QTcpSocket::connected, this, [this, bytes] { m_socket.write(bytes); });
    m_socket.connectToHost(QHostAddress::LocalHost, port);
}

bool PendingReply::wait(int ms)
{
    QElapsedTimer time;
    time.start();
    QEventLoop loop;
    QTimer wake;
    connect(&wake, &QTimer::timeout, &loop, [] {});
    wake.start(10);
    while (!m_finished && time.elapsed() < ms)
        loop.processEvents(QEventLoop::WaitForMoreEvents);
    return m_finished;
}

PanelReply PendingReply::reply() const
{
    PanelReply reply;
    int bodyAt = 0;
    if (readHead(m_bytes, &reply, &bodyAt))
        reply.body = m_bytes.mid(bodyAt);
    return reply;
}

void PendingReply::look()
{
    m_bytes += m_socket.readAll();
    PanelReply reply;
    int bodyAt = 0;
    if (!readHead(m_bytes, &reply, &bodyAt))
        return;
    const bool hasLength = reply.headers.contains("content-length");
    m_finished = m_finished || m_isHead || reply.status == 204 || reply.status == 304 ||
                 (hasLength && m_bytes.size() - bodyAt >= reply.headers.value("content-length").toInt());
}

EventReader::EventReader(quint16 port, const QByteArray& query, const PanelClient::Headers& headers)
{
    connect(&m_socket, &QTcpSocket::readyRead, this, &EventReader::read);
    connect(&m_socket, &QTcpSocket::disconnected, this, [this] { m_ended = true; });
    const QByteArray bytes =
        request("GET", "/api/events" + query, headers, "127.0.0.1:" + QByteArray::number(port)) + "\r\n";
    connect(&m_socket, &QTcpSocket::connected, this, [this, bytes] { m_socket.write(bytes); });
    m_socket.connectToHost(QHostAddress::LocalHost, port);
}

void EventReader::read()
{
    m_bytes += m_socket.readAll();
    if (m_status == 0) {
        PanelReply reply;
        int bodyAt = 0;
        if (!readHead(m_bytes, &reply, &bodyAt))
            return;
        m_status = reply.status;
        m_bytes.remove(0, bodyAt);
    }
    for (int end = m_bytes.indexOf("\n\n"); end >= 0; end = m_bytes.indexOf("\n\n")) {
        Event event;
        const QList<QByteArray> lines = m_bytes.left(end).split('\n');
        m_bytes.remove(0, end + 2);
        for (const QByteArray& line : lines) {
            if (line.startsWith("event: "))
                event.name = QString::fromUtf8(line.mid(7));
            else if (line.startsWith("data: "))
                event.data = QJsonDocument::fromJson(line.mid(6)).object();
            else if (line.startsWith(':'))
                ++m_comments;
        }
        if (!event.name.isEmpty())
            m_events.append(event);
    }
}

QJsonObject EventReader::last(const QString& name, const QString& path) const
{
    for (int i = m_events.size() - 1; i >= 0; --i)
        if (m_events.at(i).name == name &&
            (path.isEmpty() || m_events.at(i).data.value(QStringLiteral("path")).toString() == path))
            return m_events.at(i).data;
    return QJsonObject();
}

int EventReader::count(const QString& name) const
{
    int count = 0;
    for (const Event& event : m_events)
        count += event.name == name ? 1 : 0;
    return count;
}
