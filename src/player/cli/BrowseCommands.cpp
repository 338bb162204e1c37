#include "api/core/model/cmabstractworker.h"
#include "player/cli/CommandLine.h"
#include "player/cli/Commands.h"
#include "player/cli/ExitCode.h"
#include "player/cli/RowTable.h"
#include "player/cli/Terminal.h"
#include "player/content/ContentClient.h"
#include "player/content/RowJson.h"
#include "player/host/PrintableText.h"
#include "player/host/ServiceAccount.h"

namespace {

// Of each section of a search; who wants more asks for the section's own path.
constexpr int rowsPerSection = 5;
// More than any list of entries or sections has.
constexpr int allRows = 999;

int failure(const QString& sentence, const CMPath& path)
{
    if (!ServiceAccount::lacksLogin(path)) {
        Terminal::error(sentence);
        return ExitCode::failed;
    }
    Terminal::error(sentence + QStringLiteral(" Log in with: pelk login USER"));
    return ExitCode::notLoggedIn;
}

QString rangeLine(const RowPage& page)
{
    if (page.total == 0)
        return QStringLiteral("no rows\n");
    if (page.rows.isEmpty())
        return QStringLiteral("no rows from %1 on; there are %2\n").arg(page.from).arg(page.total);
    return QStringLiteral("rows %1 to %2 of %3\n")
        .arg(page.from)
        .arg(page.from + page.rows.size() - 1)
        .arg(page.total);
}

/// The search entry that a root row leads to; false, with a sentence, when it cannot be had.
bool findEntry(const PelkRoles& root, PelkRoles* entry, QString* error)
{
    RowPage entries;
    if (!ContentClient::rows(root.searchPath(), 0, allRows, &entries, error))
        return false;
    for (const PelkRoles& row : qAsConst(entries.rows)) {
        if (row.type() == PelkRolesType::Query) {
            *entry = row;
            return true;
        }
    }
    *error = QStringLiteral("\"%1\" has no entry for a search text.").arg(root.searchPath().toString());
    return false;
}

void printSection(const PelkRoles& section, const RowPage& page)
{
    Terminal::out(QStringLiteral("%1 (%2)\n").arg(printableText(section.title().toString())).arg(page.total));
    Terminal::out(rowTable(page.rows, Terminal::width()));
    if (page.rows.size() < page.total)
        Terminal::out(QStringLiteral("More: pelk rows '%1'\n").arg(section.path().toString()));
    Terminal::out(QStringLiteral("\n"));
}

/// Searches below one module's root; an exit code.
int searchBelow(const PelkRoles& root, const QString& text)
{
    QString error;
    PelkRoles entry;
    if (!findEntry(root, &entry, &error))
        return failure(error, root.searchPath());
    CMPath results = entry.queryPath();
    results.addParam(entry.query(), text);
    RowPage sections;
    if (!ContentClient::rows(results, 0, allRows, &sections, &error))
        return failure(error, results);
    // All are asked at once, since each is a question to a service.
    QVector<CMGetRowsRequest> requests;
    for (const PelkRoles& section : qAsConst(sections.rows)) {
        requests.append(CMGetRowsRequest(section.path(), 0, rowsPerSection - 1, ContentClient::allRoles()));
        CMRoot()->getRowsRequest(requests.last());
    }
    int code = ExitCode::ok;
    for (int i = 0; i < requests.size(); ++i) {
        const CMGetRowsRequest& request = requests.at(i);
        if (!ContentClient::wait(request.reply(), request.path(), &error)) {
            code = failure(error, request.path());
            continue;
        }
        RowPaging paging(0, rowsPerSection - 1);
        RowPage page;
        page.take(request.reply().value(), &paging);
        printSection(sections.rows.at(i), page);
    }
    return code;
}

} // namespace

int Commands::rows(const CommandLine& line)
{
    CMPath path;
    QString error;
    if (!line.path.isEmpty() && !CMPath::parse(line.path, &path, &error)) {
        Terminal::error(error);
        return ExitCode::usage;
    }
    RowPage page;
    if (!ContentClient::rows(path, line.from, line.to, &page, &error)) {
        if (!ServiceAccount::prePlayPath(path).isEmpty() && ServiceAccount::isLoggedIn())
            error +=
                QStringLiteral(" A track has no rows; play it with: pelk play '%1'").arg(path.toString());
        return failure(error, path);
    }
    if (line.json) {
        Terminal::out(QString::fromUtf8(rowsToJson(page)));
        return ExitCode::ok;
    }
    Terminal::out(rowTable(page.rows, Terminal::width()));
    Terminal::out(rangeLine(page));
    return ExitCode::ok;
}

int Commands::search(const CommandLine& line)
{
    RowPage roots;
    QString error;
    if (!ContentClient::rows(CMPath(), 0, allRows, &roots, &error))
        return failure(error, CMPath());
    int code = ExitCode::ok;
    bool any = false;
    for (const PelkRoles& root : qAsConst(roots.rows)) {
        if (root.searchPath().isEmpty())
            continue;
        any = true;
        code = qMax(code, searchBelow(root, line.text));
    }
    if (any)
        return code;
    Terminal::error(QStringLiteral("None of the modules can be searched."));
    return ExitCode::failed;
}
