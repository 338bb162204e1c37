#pragma once

#include <QString>

/// Takes what has to stay secret out of a log line: passwords, tokens, request signatures, the application
/// secret, and the queries of absolute addresses, since that of a stream is a signed permission to fetch it.
/// The names stay, the values read "***".
QString maskSecrets(const QString& line);

/// Takes out what identifies a person or a device too: names, mail addresses, and the numbers of users,
/// credentials and devices. For every level above debug.
QString maskPersons(const QString& line);
