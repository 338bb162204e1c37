#include "player/base/PrintableText.h"
#include "player/cli/CommandLine.h"
#include "player/cli/Commands.h"
#include "player/cli/ExitCode.h"
#include "player/cli/RowList.h"
#include "player/cli/RowTable.h"
#include "player/cli/Target.h"
#include "player/cli/Terminal.h"
#include "player/host/ServiceAccount.h"

#include <limits>

namespace {

constexpr int defaultRows = 50;
// Per section of a search; for more, request the section's own path.
constexpr int rowsPerSection = 5;

int firstRow(const CommandLine& line)
{
    return line.whole("from", 0);
}

int lastRow(const CommandLine& line)
{
    const int from = firstRow(line);
    return line.whole("to", from + qMin(defaultRows - 1, std::numeric_limits<int>::max() - from));
}

QString rangeLine(const RowList& list)
{
    if (list.total == 0)
        return QStringLiteral("no rows\n");
    if (list.rows.isEmpty())
        return QStringLiteral("no rows from %1 on; there are %2\n").arg(list.from).arg(list.total);
    return QStringLiteral("rows %1 to %2 of %3\n")
        .arg(list.from)
        .arg(list.from + list.rows.size() - 1)
        .arg(list.total);
}

void printSection(const SearchSection& section)
{
    Terminal::out(QStringLiteral("%1 (%2)\n").arg(printableText(section.title)).arg(section.list.total));
    Terminal::out(rowTable(section.list.rows, Terminal::width()));
    if (section.list.rows.size() < section.list.total)
        Terminal::out(QStringLiteral("More: pelk rows '%1'\n").arg(section.path));
    Terminal::out(QStringLiteral("\n"));
}

} // namespace

QString Commands::checkRows(const CommandLine& line)
{
    if (lastRow(line) < firstRow(line))
        return QStringLiteral("The range is empty: --to %1 comes before --from %2.")
            .arg(lastRow(line))
            .arg(firstRow(line));
    return Target::check(line);
}

int Commands::rows(const CommandLine& line, PlayerConnection& player)
{
    Target target;
    const int code = Target::find(line.texts("PATH"), player, &target);
    if (code != ExitCode::ok)
        return code;
    RowList list;
    const PlayerAnswer answer = readRows(player, target.path, firstRow(line), lastRow(line), &list);
    if (!answer.isOk()) {
        QString sentence = answer.error;
        const bool isTrack = !ServiceAccount::prePlayPath(CMPath(target.path)).isEmpty();
        if (isTrack && player.about().value(QStringLiteral("loggedIn")).toBool())
            sentence += QStringLiteral(" A track has no rows; play it with: pelk play '%1'").arg(target.path);
        return failure(sentence, target.path, player);
    }
    if (line.has("json")) {
        Terminal::out(QString::fromUtf8(list.toJson(target.path)));
        return ExitCode::ok;
    }
    Terminal::out(rowTable(list.rows, Terminal::width()));
    Terminal::out(rangeLine(list));
    return ExitCode::ok;
}

QString Commands::checkSearch(const CommandLine& line)
{
    return line.text("TEXT").trimmed().isEmpty() ? QStringLiteral("The search text is empty.") : QString();
}

int Commands::search(const CommandLine& line, PlayerConnection& player)
{
    const QVector<SearchSection> sections = searchAll(player, line.text("TEXT").trimmed(), rowsPerSection);
    int code = ExitCode::ok;
    for (const SearchSection& section : sections) {
        if (section.answer.isOk())
            printSection(section);
        else
            code = qMax(code, failure(section.answer.error, section.path, player));
    }
    if (!sections.isEmpty())
        return code;
    Terminal::error(QStringLiteral("No module supports search."));
    return ExitCode::failed;
}
