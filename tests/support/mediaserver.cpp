#include "tests/support/mediaserver.h"

MediaServer::MediaServer()
{
    m_server.setHandler([this](const TestHttpServer::Request& request) { return serve(request); });
}

QString MediaServer::add(const QString& name, const QByteArray& bytes)
{
    const QMutexLocker locker(&m_mutex);
    m_files.insert('/' + name.toUtf8(), bytes);
    return url(name);
}

QString MediaServer::url(const QString& name) const
{
    return m_server.url(QLatin1Char('/') + name);
}

TestHttpServer::Response MediaServer::serve(const TestHttpServer::Request& request) const
{
    TestHttpServer::Response response;
    QByteArray file;
    {
        const QMutexLocker locker(&m_mutex);
        file = m_files.value(request.path);
    }
    if (file.isNull()) {
        response.status = 404;
        return response;
    }
    response.headers = {{"Accept-Ranges", "bytes"}};
    const QByteArray range = request.header("Range");
    const int from = range.startsWith("bytes=") ? range.mid(6, range.indexOf('-') - 6).toInt() : 0;
    response.body = file.mid(from);
    if (!range.isNull()) {
        response.status = 206;
        response.headers.append({"Content-Range", "bytes " + QByteArray::number(from) + '-' +
                                                      QByteArray::number(file.size() - 1) + '/' +
                                                      QByteArray::number(file.size())});
    }
    return response;
}
