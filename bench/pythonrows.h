#pragma once

#include "bench/pages.h"

#include <QProcess>
#include <QTemporaryDir>

/// rows.py as a process beside this one, which measures when it is told to.
class PythonRows
{
public:
    PythonRows();
    ~PythonRows();

    /// Makes the page's rows so many times with a parser, "json" or "ujson"; nanoseconds of all.
    qint64 run(Page::Kind kind, const QByteArray& parser, qint64 times);
    /// The rows that it makes, as JSON.
    QByteArray rowsAsJson(Page::Kind kind, const QByteArray& parser);

private:
    QByteArray ask(const QByteArray& line);

    QTemporaryDir m_folder;
    QProcess m_process;
};
