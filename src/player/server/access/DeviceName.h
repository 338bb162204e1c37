#pragma once

#include <QByteArray>
#include <QString>

/// What a person calls the browser and the device that a User-Agent header names, such as "Chrome, Android";
/// empty where neither is known.
QString deviceName(const QByteArray& userAgent);
