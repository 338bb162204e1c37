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

/// The words that can stand in place of the last one, which is being typed; the others are what was typed
/// before it, behind the program's name. Made from the command table; paths are asked of the player.
QVector<Completion> completionsOf(const QStringList& words, PlayerConnection& player);
