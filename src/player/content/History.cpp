#include "player/content/History.h"

#include "api/types/pelkmediadata.h"
#include "player/content/RowText.h"

#include <QDateTime>

#include <algorithm>

namespace {

const QString itemsKey = QStringLiteral("items");
const QString rowKey = QStringLiteral("row");
const QString timeKey = QStringLiteral("timeMs");

void append(QByteArray* text, const QVector<History::Item>& items)
{
    *text += "{\"items\":[";
    for (const History::Item& item : items) {
        *text += text->endsWith('[') ? "{\"row\":" : ",{\"row\":";
        RowText::append(text, item.row);
        *text += ",\"timeMs\":" + QByteArray::number(item.timeMs) + '}';
    }
    *text += "]}";
}

} // namespace

History::History(const QString& fileName, QObject* parent)
    : QObject(parent)
    , m_file(fileName, QStringLiteral("history"), 1)
{
    connect(&m_file, &StateFile::failed, this, &History::failed);
}

QString History::load()
{
    const QList<PelkHash> items = m_file.read().records(itemsKey);
    for (const PelkHash& item : items) {
        const PelkRoles row = RowText::row(item.record(rowKey));
        if (!row.path().isEmpty() && m_items.size() < mostItems)
            m_items.append({row, item.value(timeKey).toLongLong()});
    }
    Q_EMIT changed();
    return m_file.notice();
}

void History::add(const PelkRoles& row)
{
    const CMPath path = row.path();
    if (!m_isKeeping || path.isEmpty())
        return;
    m_items.erase(std::remove_if(m_items.begin(), m_items.end(),
                                 [&path](const Item& item) { return item.row.path() == path; }),
                  m_items.end());
    PelkRoles kept = row;
    PelkMediaData media = row.mediaData();
    if (media.contains(PelkMediaData::Resources())) {
        media.remove(PelkMediaData::Resources());
        kept.setMediaData(media);
    }
    m_items.prepend({kept, QDateTime::currentMSecsSinceEpoch()});
    if (m_items.size() > mostItems)
        m_items.resize(mostItems);
    m_file.save([this] { return [items = m_items](QByteArray* text) { append(text, items); }; });
    Q_EMIT changed();
}

void History::setKeeping(bool isKeeping)
{
    if (isKeeping == m_isKeeping)
        return;
    m_isKeeping = isKeeping;
    QString error;
    if (!isKeeping && !clear(&error))
        Q_EMIT failed(error);
}

bool History::clear(QString* error)
{
    m_items.clear();
    const bool isCleared = m_file.remove(error);
    Q_EMIT changed();
    return isCleared;
}
