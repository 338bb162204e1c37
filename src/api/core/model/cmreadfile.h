#pragma once

#include "api/core/export.h"

#include <QByteArray>
#include <QString>

/// The outcome of cmReadFile().
enum class CMReadFile
{
    Done,
    Missing, ///< the file does not exist
    Failed   ///< `error` says why
};

/// Reads a whole file of at most `mostBytes`. Only regular files, and links to them, are opened: a pipe would
/// block, a device may never end. Any thread; blocks while the disk does. `error` gets the end of a sentence
/// ("it is not a regular file").
PELK_API_EXPORT CMReadFile cmReadFile(const QString& fileName, qint64 mostBytes, QByteArray* content,
                                      QString* error);
