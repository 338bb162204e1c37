#pragma once

#include <QByteArray>
#include <QString>

/// The common name of the browser and the device in a User-Agent header, such as "Chrome, Android"; empty if
/// unknown.
QString deviceName(const QByteArray& userAgent);
