#include "player/memory/SavedPlayerText.h"

#include "api/core/json/pelkjson.h"
#include "player/content/RowText.h"

#include <QHash>

#include <array>
#include <utility>

namespace {

const QString generationKey = QStringLiteral("generation");
const QString playerKey = QStringLiteral("player");
const QString rowsKey = QStringLiteral("rows");
const QString sourcesKey = QStringLiteral("sources");
const QString sourceKey = QStringLiteral("source");
const QString unshuffledKey = QStringLiteral("unshuffled");
const QString shuffledKey = QStringLiteral("shuffled");
const QString currentKey = QStringLiteral("current");
const QString pathKey = QStringLiteral("path");
const QString positionKey = QStringLiteral("positionMs");
const QString durationKey = QStringLiteral("durationMs");
const QString volumeKey = QStringLiteral("volumePercent");
const QString mutedKey = QStringLiteral("muted");
const QString repeatKey = QStringLiteral("repeat");

/// A track with its meta data; a longer one only makes the text grow.
constexpr int usualRowBytes = 700;
/// A generation for each change in a thousand years, and exact in any JSON.
constexpr qint64 mostGenerations = 1LL << 53;

const std::array<std::pair<RepeatMode, const char*>, 3> repeatWords{
    {{RepeatMode::Off, "off"}, {RepeatMode::One, "one"}, {RepeatMode::All, "all"}}};

int currentOf(const QVector<PelkRoles>& rows, const PelkHash& rest)
{
    const CMPath path(rest.text(pathKey));
    const int index = rest.value(currentKey).toInt();
    if (path.isEmpty() || !rest.contains(currentKey))
        return -1;
    if (index >= 0 && index < rows.size() && rows.at(index).path() == path)
        return index;
    for (int i = 0; i < rows.size(); ++i)
        if (rows.at(i).path() == path)
            return i;
    return -1;
}

/// Each container once, and for each row which one it is.
void appendSources(QByteArray* text, const QVector<CMPath>& sources)
{
    QHash<QString, int> numbers;
    QVariantList names;
    QByteArray of;
    for (const CMPath& source : sources) {
        const QString name = source.toString();
        auto number = numbers.find(name);
        if (number == numbers.end()) {
            number = numbers.insert(name, names.size());
            names.append(name);
        }
        of += (of.isEmpty() ? "" : ",") + QByteArray::number(*number);
    }
    *text += "\"sources\":" + PelkJson::serialize(names) + ",\"source\":[" + of + "],";
}

} // namespace

void SavedPlayerText::appendQueue(QByteArray* text, const SavedPlayer& saved, qint64 generation)
{
    text->reserve(text->size() + saved.rows.size() * usualRowBytes);
    *text += "{\"rows\":[";
    for (int i = 0; i < saved.rows.size(); ++i) {
        if (i > 0)
            *text += ',';
        RowText::append(text, saved.rows.at(i));
    }
    *text +=
        saved.shuffled ? "],\"shuffled\":true,\"unshuffled\":[" : "],\"shuffled\":false,\"unshuffled\":[";
    for (int i = 0; i < saved.unshuffled.size(); ++i)
        *text += (i > 0 ? "," : "") + QByteArray::number(saved.unshuffled.at(i));
    *text += "],";
    appendSources(text, saved.sources);
    *text += "\"player\":";
    appendRest(text, saved, saved.rows.value(saved.current), generation);
    *text += ",\"generation\":" + QByteArray::number(generation) + '}';
}

void SavedPlayerText::appendRest(QByteArray* text, const SavedPlayer& saved, const PelkRoles& row,
                                 qint64 generation)
{
    QString repeat;
    for (const auto& [mode, word] : repeatWords)
        if (mode == saved.repeat)
            repeat = QLatin1String(word);
    *text += PelkJson::serialize(QVariantHash{{generationKey, generation},
                                              {currentKey, saved.current},
                                              {pathKey, row.path().toString()},
                                              {positionKey, saved.positionMs},
                                              {durationKey, saved.durationMs},
                                              {volumeKey, saved.volumePercent},
                                              {mutedKey, saved.muted},
                                              {repeatKey, repeat}});
}

qint64 SavedPlayerText::generation(const PelkHash& data)
{
    const qint64 said = data.value(generationKey).toLongLong();
    return said > 0 && said < mostGenerations ? said : 0;
}

SavedPlayer SavedPlayerText::read(const PelkHash& queue, const PelkHash& written)
{
    SavedPlayer saved;
    const PelkHash rest = generation(queue) > generation(written) ? queue.record(playerKey) : written;
    const QList<PelkHash> rows = queue.records(rowsKey);
    saved.rows.reserve(rows.size());
    const QVariantList names = queue.value(sourcesKey).toList();
    const QVariantList of = queue.value(sourceKey).toList();
    for (int i = 0; i < rows.size(); ++i) {
        const PelkRoles row = RowText::row(rows.at(i));
        if (!PlayQueue::isPlayable(row))
            continue;
        saved.rows.append(row);
        saved.sources.append(CMPath(names.value(of.value(i, -1).toInt()).toString()));
    }
    saved.shuffled = queue.value(shuffledKey).toBool();
    const QVariantList places = queue.value(unshuffledKey).toList();
    saved.unshuffled.reserve(places.size());
    for (const QVariant& place : places)
        saved.unshuffled.append(place.toInt());
    saved.current = currentOf(saved.rows, rest);
    if (saved.current >= 0) {
        saved.positionMs = qMax<qint64>(0, rest.value(positionKey).toLongLong());
        saved.durationMs = qMax<qint64>(0, rest.value(durationKey).toLongLong());
    }
    bool hasVolume = false;
    const int volume = rest.value(volumeKey).toInt(&hasVolume);
    const bool isVolume = hasVolume && volume >= 0 && volume <= 100;
    saved.volumePercent = isVolume ? volume : cautiousVolumePercent;
    saved.muted = rest.value(mutedKey).toBool();
    for (const auto& [mode, word] : repeatWords)
        if (rest.text(repeatKey) == QLatin1String(word))
            saved.repeat = mode;
    return saved;
}
