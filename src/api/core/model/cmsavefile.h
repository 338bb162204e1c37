#pragma once

#include "api/core/export.h"

#include <QByteArray>
#include <QFileDevice>
#include <QString>

/// Replaces a file as a whole, making its folder where there is none: after a power cut, and on a full disk,
/// the file is either as it was before or as it is wanted. Blocks until it is on disk; may be called on any
/// thread.
///
/// On failure it returns false, puts the reason into `error`, and the file is as it was.
PELK_API_EXPORT bool cmSaveFile(const QString& fileName, const QByteArray& content,
                                QFileDevice::Permissions permissions, QString* error);
