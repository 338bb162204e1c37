#pragma once

#include <QStringList>
#include <QVector>

class PlayerConnection;

/// A word that the shell may put in place of the one that is typed.
struct Completion
{
    QString word; ///< ":files" or ":folders" leave it to the shell
    QString meaning;
};

/// The completions of the last word, which is being typed; the other words are those before it, without the
/// program's name. They come from the command table; paths come from the player.
QVector<Completion> completionsOf(const QStringList& words, PlayerConnection& player);
