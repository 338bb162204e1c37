#include "player/cli/Completion.h"

#include "player/base/PrintableText.h"
#include "player/cli/CommandTable.h"
#include "player/cli/RowList.h"
#include "player/cli/RowTable.h"
#include "player/cli/Target.h"

#include <algorithm>

namespace {

constexpr int mostPaths = 100;
constexpr int titlesPerSection = 20;
// Fewer letters begin too many titles.
constexpr int leastTitleLetters = 2;

/// The words before the last one.
struct Typed
{
    const Command* command = nullptr;
    QString name;                      // of the command, as far as it was typed
    QStringList arguments;             // positional
    const Parameter* option = nullptr; // whose value comes next
};

const Parameter* findOption(const QVector<Parameter>& parameters, const QString& word)
{
    const auto found = std::find_if(parameters.cbegin(), parameters.cend(), [&word](const Parameter& one) {
        return one.isOption() && word == QLatin1String(one.name);
    });
    return found == parameters.cend() ? nullptr : &*found;
}

Typed read(const QStringList& words)
{
    Typed typed;
    for (const QString& word : words) {
        if (typed.option) {
            typed.option = nullptr;
        } else if (word.startsWith(QLatin1Char('-'))) {
            const Parameter* option = findOption(commonParameters(), word);
            if (!option && typed.command)
                option = findOption(typed.command->parameters, word);
            typed.option = option && option->kind != Parameter::Kind::Flag ? option : nullptr;
        } else {
            const QString longer = typed.name.isEmpty() ? word : typed.name + QLatin1Char(' ') + word;
            const Command* command = typed.arguments.isEmpty() ? findCommand(longer) : nullptr;
            if (command) {
                typed.command = command;
                typed.name = longer;
            } else {
                typed.arguments.append(word);
            }
        }
    }
    return typed;
}

/// The next words of the commands whose names begin so.
QVector<Completion> commandNames(const QString& before)
{
    const QString prefix = before.isEmpty() ? before : before + QLatin1Char(' ');
    QVector<Completion> names;
    for (const Command& command : commandTable()) {
        const QString rest = command.name().mid(prefix.size());
        if (command.isShown && command.name().startsWith(prefix) && !rest.contains(QLatin1Char(' ')))
            names.append({rest, QString::fromUtf8(command.summary)});
    }
    return names;
}

QVector<Completion> options(const QVector<Parameter>& parameters)
{
    QVector<Completion> words;
    for (const Parameter& one : parameters)
        if (one.isOption())
            words.append({QString::fromLatin1(one.name), QString::fromUtf8(one.summary)});
    return words;
}

/// The rows of the container to which the beginning of a path belongs.
QVector<Completion> paths(const QString& word, PlayerConnection& player)
{
    QString container = word.left(word.lastIndexOf(QLatin1Char('/')));
    if (!word.contains(QLatin1Char('/')))
        container = word.left(word.indexOf(QLatin1Char(':')) + 1);
    QVector<Completion> found;
    RowList list;
    if (!readRows(player, container, 0, mostPaths - 1, &list).isOk())
        return found;
    for (const QJsonValue& row : qAsConst(list.rows)) {
        const QString path = row.toObject().value(QStringLiteral("path")).toString();
        if (!path.isEmpty())
            found.append({path, printableText(row.toObject().value(QStringLiteral("title")).toString())});
    }
    return found;
}

/// The titles that begin with the words typed so far, without the words before the last one. `kind` is empty
/// for all.
QVector<Completion> titles(const QString& kind, const QStringList& before, const QString& word,
                           PlayerConnection& player)
{
    QVector<Completion> found;
    const QString begin = (before + QStringList(word)).join(QLatin1Char(' '));
    if (begin.trimmed().size() < leastTitleLetters)
        return found;
    const QVector<SearchSection> sections = searchAll(player, begin.trimmed(), titlesPerSection);
    for (const SearchSection& section : sections) {
        for (const QJsonValue& value : section.list.rows) {
            const QJsonObject row = value.toObject();
            const QString title = printableText(row.value(QStringLiteral("title")).toString());
            if (title.startsWith(begin, Qt::CaseInsensitive) &&
                (kind.isEmpty() || Target::isOfKind(row, kind)))
                found.append({title.mid(begin.size() - word.size()), titleAndArtist(row)});
        }
    }
    return found;
}

/// The words for a target: a kind with a title, a path, or only a title.
QVector<Completion> targets(const QStringList& before, const QString& word, PlayerConnection& player)
{
    if (!before.isEmpty())
        return Target::kinds().contains(before.first()) ? titles(before.first(), before.mid(1), word, player)
                                                        : QVector<Completion>();
    QVector<Completion> found;
    for (const QString& kind : Target::kinds())
        if (kind.startsWith(word))
            found.append({kind, QStringLiteral("by title")});
    if (word.contains(QLatin1Char(':')) || !found.isEmpty())
        return found + paths(word, player);
    return paths(word, player) + titles(QString(), {}, word, player);
}

QVector<Completion> values(const Parameter& parameter, const QStringList& before, const QString& word,
                           PlayerConnection& player)
{
    QVector<Completion> found;
    for (const QString& choice : parameter.choices)
        found.append({choice, QString()});
    switch (parameter.kind) {
    case Parameter::Kind::File:
        return {{QStringLiteral(":files"), QString()}};
    case Parameter::Kind::Folder:
        return {{QStringLiteral(":folders"), QString()}};
    case Parameter::Kind::Target:
        return targets(before, word, player);
    case Parameter::Kind::Choice:
    case Parameter::Kind::Flag:
    case Parameter::Kind::Text:
    case Parameter::Kind::Whole:
        break;
    }
    return found;
}

const Parameter* positional(const Command& command, int index)
{
    for (const Parameter& parameter : command.parameters)
        if (!parameter.isOption() && (index-- == 0 || parameter.many))
            return &parameter;
    return nullptr;
}

QVector<Completion> candidates(const Typed& typed, const QString& word, PlayerConnection& player)
{
    if (typed.option)
        return values(*typed.option, {}, word, player);
    if (word.startsWith(QLatin1Char('-'))) {
        QVector<Completion> words =
            typed.command ? options(typed.command->parameters) : QVector<Completion>();
        words += options(commonParameters());
        words.append({QStringLiteral("--help"), QStringLiteral("Show the help")});
        if (!typed.command)
            words.append({QStringLiteral("--version"), QStringLiteral("Show the version")});
        return words;
    }
    QVector<Completion> words = typed.arguments.isEmpty() ? commandNames(typed.name) : QVector<Completion>();
    const int index = typed.arguments.size();
    if (const Parameter* const next = typed.command ? positional(*typed.command, index) : nullptr)
        words += values(*next, typed.arguments, word, player);
    return words;
}

} // namespace

QVector<Completion> completionsOf(const QStringList& words, PlayerConnection& player)
{
    const QString word = words.isEmpty() ? QString() : words.last();
    const Typed typed = read(words.mid(0, qMax(0, words.size() - 1)));
    QVector<Completion> found;
    const QVector<Completion> all = candidates(typed, word, player);
    for (const Completion& one : all)
        if (one.word.startsWith(word, Qt::CaseInsensitive) || one.word == QLatin1String(":files") ||
            one.word == QLatin1String(":folders"))
            found.append(one);
    return found;
}
