#pragma once

#include "tests/support/testhttpserver.h"

#include <QHash>
#include <QMutex>

/// Serves a test's files on loopback, with Range requests like a real media server. All operations are
/// thread-safe.
class MediaServer
{
public:
    MediaServer();

    /// Serves these bytes as "/NAME"; returns their address. A file of the same name is replaced.
    QString add(const QString& name, const QByteArray& bytes);
    /// The address of "/NAME", whether or not there is such a file; a missing file returns a 404.
    QString url(const QString& name) const;

private:
    TestHttpServer::Response serve(const TestHttpServer::Request& request) const;

    mutable QMutex m_mutex;
    QHash<QByteArray, QByteArray> m_files; // by path
    TestHttpServer m_server;               // last: its threads end first
};
