#pragma once

#include <QJsonArray>

/// The entries of a queue as a table: number, title, artist and album; the entry `current` is marked. Columns
/// are cut to fit `width`; 0 means no limit.
QString queueTable(const QJsonArray& entries, int current, int width);
