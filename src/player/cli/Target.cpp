#include "player/cli/Target.h"

#include "api/types/cmpath.h"
#include "player/base/PrintableText.h"
#include "player/cli/CommandLine.h"
#include "player/cli/Commands.h"
#include "player/cli/ExitCode.h"
#include "player/cli/RowList.h"
#include "player/cli/RowTable.h"
#include "player/cli/Terminal.h"

#include <QRegularExpression>

namespace {

constexpr int rowsLookedAt = 20; // of each section

/// The word of kinds() for what rows call so.
QString kindOf(const QString& rowKind)
{
    return rowKind == QLatin1String("track list") ? QStringLiteral("playlist") : rowKind;
}

bool isPath(const QString& text)
{
    static const QRegularExpression form(QStringLiteral("^[^\\s:]+:\\S*$"));
    return text.isEmpty() || form.match(text).hasMatch();
}

Target targetOf(const SearchSection& section, int index)
{
    const QJsonObject row = section.list.rows.at(index).toObject();
    Target target;
    target.path = row.value(QStringLiteral("path")).toString();
    target.foundIn = section.path;
    target.foundAt = index;
    target.text = QStringLiteral("%1 \"%2\"").arg(kindOf(rowKind(row)), titleAndArtist(row));
    return target;
}

bool hasTitle(const QJsonObject& row, const QString& title)
{
    return row.value(QStringLiteral("title")).toString().compare(title, Qt::CaseInsensitive) == 0;
}

} // namespace

QStringList Target::kinds()
{
    return {QStringLiteral("album"), QStringLiteral("artist"), QStringLiteral("playlist"),
            QStringLiteral("track")};
}

bool Target::isOfKind(const QJsonObject& row, const QString& kind)
{
    return kindOf(rowKind(row)) == kind;
}

QString Target::check(const CommandLine& line)
{
    const QStringList words = line.texts("PATH");
    CMPath path;
    QString error;
    if (words.size() == 1 && isPath(words.first()) && !words.first().isEmpty() &&
        !CMPath::parse(words.first(), &path, &error))
        return error;
    if (words.size() > 1 && !kinds().contains(words.first()))
        return QStringLiteral("\"%1\" is not a kind of title. The kinds are: %2.")
            .arg(words.first(), kinds().join(QStringLiteral(", ")));
    if (words.size() > 1 && words.mid(1).join(QLatin1Char(' ')).trimmed().isEmpty())
        return QStringLiteral("The title is empty.");
    return QString();
}

int Target::find(const QStringList& words, PlayerConnection& player, Target* target)
{
    *target = Target();
    if (words.size() <= 1 && isPath(words.value(0))) {
        target->path = words.value(0);
        return ExitCode::ok;
    }
    const bool hasKind = words.size() > 1;
    const QString title =
        QStringList(hasKind ? words.mid(1) : QList<QString>(words)).join(QLatin1Char(' ')).trimmed();
    QVector<Target> found;
    const QVector<SearchSection> sections = searchAll(player, title, rowsLookedAt);
    for (const SearchSection& section : sections) {
        if (!section.answer.isOk())
            return Commands::failure(section.answer.error, section.path, player);
        for (int i = 0; i < section.list.rows.size(); ++i) {
            const QJsonObject row = section.list.rows.at(i).toObject();
            if (hasKind ? isOfKind(row, words.first()) : hasTitle(row, title))
                found.append(targetOf(section, i));
        }
    }
    if (found.isEmpty()) {
        Terminal::error(
            hasKind
                ? QStringLiteral("No %1 was found for \"%2\".").arg(words.first(), title)
                : QStringLiteral("Nothing has the title \"%1\". Search with: pelk search TEXT").arg(title));
        return ExitCode::failed;
    }
    if (!hasKind && found.size() > 1) {
        Terminal::error(
            QStringLiteral("Several items have the title \"%1\". Add the kind, or use a path:").arg(title));
        for (const Target& one : qAsConst(found))
            Terminal::note(QStringLiteral("  %1  %2").arg(one.text, printableText(one.path)));
        return ExitCode::failed;
    }
    *target = found.first();
    Terminal::note(QStringLiteral("Found %1: %2").arg(target->text, printableText(target->path)));
    return ExitCode::ok;
}
