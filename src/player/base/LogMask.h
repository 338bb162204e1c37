#pragma once

#include <QString>

/// Masks secrets in a log line: passwords, tokens, request signatures, the application secret, and queries of
/// absolute addresses, because a stream's query permits anyone to fetch it. Names are kept; values become
/// "***".
QString maskSecrets(const QString& line);

/// Also masks what identifies a person or a device: names, mail addresses, and ids of users, credentials and
/// devices. For every level above debug.
QString maskPersons(const QString& line);
