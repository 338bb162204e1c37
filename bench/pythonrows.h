#pragma once

#include "bench/pages.h"

#include <QProcess>
#include <QTemporaryDir>

/// rows.py as a separate process, which measures on request.
class PythonRows
{
public:
    PythonRows();
    ~PythonRows();

    /// Creates the page's rows repeatedly with a parser, "json" or "ujson"; returns the total nanoseconds.
    qint64 run(Page::Kind kind, const QByteArray& parser, qint64 times);
    /// Its rows, as JSON.
    QByteArray rowsAsJson(Page::Kind kind, const QByteArray& parser);

private:
    QByteArray ask(const QByteArray& line);

    QTemporaryDir m_folder;
    QProcess m_process;
};
