#pragma once

#include <QJsonArray>

/// The entries of a queue as lines for a person: number, title, artist and album, the entry `current` marked.
/// Columns are cut to fit `width`; 0 is no limit.
QString queueTable(const QJsonArray& entries, int current, int width);
