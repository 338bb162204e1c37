#include "bench/pythonrows.h"

#include <QFile>

namespace {

QByteArray nameOf(Page::Kind kind)
{
    return kind == Page::Albums ? "albums" : "tracks";
}

} // namespace

PythonRows::PythonRows()
{
    QStringList arguments = {QStringLiteral(PELK_BENCH_ROWS_PY)};
    for (const Page* page : {&Page::albums50(), &Page::tracks500()}) {
        QFile file(m_folder.filePath(QString::fromLatin1(nameOf(page->kind))));
        if (!file.open(QIODevice::WriteOnly) || file.write(page->body) != page->body.size())
            qFatal("%s cannot be written", qPrintable(file.fileName()));
        arguments.append(file.fileName());
    }
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QStringLiteral(PELK_PYTHON), arguments);
    if (!m_process.waitForStarted())
        qFatal("%s does not start", PELK_PYTHON);
}

PythonRows::~PythonRows()
{
    m_process.closeWriteChannel();
    m_process.waitForFinished();
}

QByteArray PythonRows::ask(const QByteArray& line)
{
    m_process.write(line + '\n');
    while (!m_process.canReadLine())
        if (!m_process.waitForReadyRead(60000))
            qFatal("rows.py gave no answer to \"%s\"", line.constData());
    return m_process.readLine().trimmed();
}

qint64 PythonRows::run(Page::Kind kind, const QByteArray& parser, qint64 times)
{
    return ask(nameOf(kind) + ' ' + parser + ' ' + QByteArray::number(times)).toLongLong();
}

QByteArray PythonRows::rowsAsJson(Page::Kind kind, const QByteArray& parser)
{
    return ask(nameOf(kind) + ' ' + parser);
}
