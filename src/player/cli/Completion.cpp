#include "player/cli/Completion.h"

#include "player/cli/CommandTable.h"
#include "player/cli/RowList.h"
#include "player/cli/Target.h"
#include "player/host/PrintableText.h"

#include <algorithm>

namespace {

constexpr int mostPaths = 100;

/// What was typed before the last word.
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

/// The rows of the container that a beginning of a path lies in.
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

QVector<Completion> values(const Parameter& parameter, const QString& word, bool isFirst,
                           PlayerConnection& player)
{
    QVector<Completion> found;
    switch (parameter.kind) {
    case Parameter::Kind::File:
        return {{QStringLiteral(":files"), QString()}};
    case Parameter::Kind::Folder:
        return {{QStringLiteral(":folders"), QString()}};
    case Parameter::Kind::Choice:
        for (const QString& choice : parameter.choices)
            found.append({choice, QString()});
        break;
    case Parameter::Kind::Target:
        if (!isFirst)
            break;
        for (const QString& kind : Target::kinds())
            found.append({kind, QStringLiteral("by title")});
        found += paths(word, player);
        break;
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
        return values(*typed.option, word, true, player);
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
        words += values(*next, word, index == 0, player);
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
        if (one.word.startsWith(word) || one.word == QLatin1String(":files") ||
            one.word == QLatin1String(":folders"))
            found.append(one);
    return found;
}
