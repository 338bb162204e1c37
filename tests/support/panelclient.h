#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QObject>
#include <QTcpSocket>

/// A response of the panel's server.
struct PanelReply
{
    int status = 0;                       ///< 0: the connection ended without an answer
    QMap<QByteArray, QByteArray> headers; ///< by lower-case name
    QByteArray body;

    QJsonObject json() const;
    QString detail() const; ///< of a problem
};

/// Sends requests to the panel's server, valid ones like a browser, or invalid ones. The calling thread's
/// event loop runs while it waits for a response, up to a test's time limit.
class PanelClient
{
public:
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    explicit PanelClient(quint16 port)
        : m_port(port)
    {
    }

    QByteArray host() const { return "127.0.0.1:" + QByteArray::number(m_port); }
    PanelReply get(const QByteArray& target, const Headers& headers = {}) const;
    PanelReply post(const QByteArray& target, const QByteArray& body, const Headers& headers = {}) const;
    PanelReply post(const QByteArray& target, const QJsonObject& body, const Headers& headers = {}) const;
    /// Any method; a Host is added if `headers` has none.
    PanelReply send(const QByteArray& method, const QByteArray& target, const Headers& headers,
                    const QByteArray& body = QByteArray()) const;
    /// Sends these bytes unchanged.
    PanelReply raw(const QByteArray& bytes) const;

private:
    quint16 m_port;
};

/// A pending response, which does not block other requests.
class PendingReply : public QObject
{
    Q_OBJECT

public:
    PendingReply(quint16 port, const QByteArray& bytes);
    ~PendingReply() override { m_socket.disconnect(this); }
    bool isFinished() const { return m_finished; }
    /// False if it did not arrive in time.
    bool wait(int ms);
    PanelReply reply() const;
    /// All bytes received.
    QByteArray bytes() const { return m_bytes; }
    QTcpSocket& socket() { return m_socket; }

private:
    void look();

    QTcpSocket m_socket;
    const bool m_isHead;
    QByteArray m_bytes;
    bool m_finished = false;
};

/// Follows the event stream.
class EventReader : public QObject
{
    Q_OBJECT

public:
    struct Event
    {
        QString name;
        QJsonObject data;
    };

    EventReader(quint16 port, const QByteArray& query = QByteArray(),
                const PanelClient::Headers& headers = {});
    ~EventReader() override { m_socket.disconnect(this); }

    int status() const { return m_status; } ///< 0 until a response arrives
    bool hasEnded() const { return m_ended; }
    const QList<Event>& events() const { return m_events; }
    /// The data of the last event with a name, and with a path if it has one.
    QJsonObject last(const QString& name, const QString& path = QString()) const;
    int count(const QString& name) const;
    int comments() const { return m_comments; }
    QTcpSocket& socket() { return m_socket; }

private:
    void read();

    QTcpSocket m_socket;
    QByteArray m_bytes;
    int m_status = 0;
    int m_comments = 0;
    bool m_ended = false;
    QList<Event> m_events;
};
