#include "player/cli/RowList.h"

#include "api/types/cmpath.h"

#include <QJsonDocument>

#include <limits>

namespace {

constexpr int pageSize = 100; // the most that the interface gives at once
constexpr int lastStart = std::numeric_limits<int>::max() - pageSize;
// More than any list of entries or sections has.
constexpr int allRows = 999;

PlayerRequest pageRequest(const QString& path, int from, int to)
{
    return {QStringLiteral("/api/rows"),
            {{QStringLiteral("path"), path},
             {QStringLiteral("from"), QString::number(from)},
             {QStringLiteral("to"), QString::number(to)}}};
}

/// The number of rows that came.
int take(const PlayerAnswer& answer, RowList* list)
{
    const QJsonArray rows = answer.body.value(QStringLiteral("rows")).toArray();
    for (const QJsonValue& row : rows)
        list->rows.append(row);
    list->total = answer.body.value(QStringLiteral("count")).toInt();
    list->version = answer.body.value(QStringLiteral("version")).toInt();
    return rows.size();
}

SearchSection failedSection(const QString& path, const PlayerAnswer& answer)
{
    SearchSection section;
    section.path = path;
    section.answer = answer;
    return section;
}

/// The entry that takes the text, below one module's search path.
QVector<SearchSection> searchBelow(PlayerConnection& player, const QString& searchPath, const QString& text,
                                   int rowsPerSection)
{
    RowList entries;
    PlayerAnswer answer = readRows(player, searchPath, 0, allRows, &entries);
    QJsonObject entry;
    for (const QJsonValue& row : qAsConst(entries.rows))
        if (entry.isEmpty() && row.toObject().value(QStringLiteral("type")) == QLatin1String("query"))
            entry = row.toObject();
    if (answer.isOk() && entry.isEmpty())
        answer.error = QStringLiteral("\"%1\" has no entry for a search text.").arg(searchPath);
    if (!answer.isOk())
        return {failedSection(searchPath, answer)};
    CMPath results(entry.value(QStringLiteral("queryPath")).toString());
    results.addParam(entry.value(QStringLiteral("query")).toString(), text);
    RowList found;
    answer = readRows(player, results.toString(), 0, allRows, &found);
    if (!answer.isOk())
        return {failedSection(results.toString(), answer)};
    QVector<SearchSection> sections;
    // All are asked at once, since each is a question to a service.
    QVector<PlayerRequest> requests;
    for (const QJsonValue& row : qAsConst(found.rows)) {
        SearchSection section;
        section.title = row.toObject().value(QStringLiteral("title")).toString();
        section.path = row.toObject().value(QStringLiteral("path")).toString();
        sections.append(section);
        requests.append(pageRequest(section.path, 0, rowsPerSection - 1));
    }
    const QVector<PlayerAnswer> answers = player.ask(requests);
    for (int i = 0; i < sections.size(); ++i) {
        sections[i].answer = answers.at(i);
        take(answers.at(i), &sections[i].list);
    }
    return sections;
}

} // namespace

QByteArray RowList::toJson(const QString& path) const
{
    return QJsonDocument(QJsonObject{{QStringLiteral("path"), path},
                                     {QStringLiteral("from"), from},
                                     {QStringLiteral("count"), total},
                                     {QStringLiteral("version"), version},
                                     {QStringLiteral("rows"), rows}})
        .toJson();
}

PlayerAnswer readRows(PlayerConnection& player, const QString& path, int from, int to, RowList* list)
{
    list->from = from;
    int next = qMin(from, lastStart);
    for (;;) {
        const int last = int(qMin<qint64>(to, qint64(next) + pageSize - 1));
        const PlayerAnswer answer = player.ask({pageRequest(path, next, qMax(last, next))}).first();
        const int came = answer.isOk() ? take(answer, list) : 0;
        next += came;
        if (came == 0 || next > to || next >= list->total || next > lastStart)
            return answer;
    }
}

QVector<SearchSection> searchAll(PlayerConnection& player, const QString& text, int rowsPerSection)
{
    RowList roots;
    const PlayerAnswer answer = readRows(player, QString(), 0, allRows, &roots);
    if (!answer.isOk())
        return {failedSection(QString(), answer)};
    QVector<SearchSection> sections;
    for (const QJsonValue& root : qAsConst(roots.rows)) {
        const QString searchPath = root.toObject().value(QStringLiteral("searchPath")).toString();
        if (!searchPath.isEmpty())
            sections += searchBelow(player, searchPath, text, rowsPerSection);
    }
    return sections;
}
