#pragma once

#include "api/core/export.h"

#include <QByteArray>
#include <QFileDevice>
#include <QString>

/// Replaces a whole file and creates its folder if necessary. After a power cut or on a full disk, the file
/// is either the old one or the new one. Blocks until it is on the disk. Any thread.
///
/// On failure it returns false, puts the reason into `error`, and the file is as it was.
PELK_API_EXPORT bool cmSaveFile(const QString& fileName, const QByteArray& content,
                                QFileDevice::Permissions permissions, QString* error);
