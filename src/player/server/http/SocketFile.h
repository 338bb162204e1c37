#pragma once

#include <QString>

/// A file to which programs of this machine connect, instead of an address and port. Only its owner can use
/// it, or also the members of one group.
class SocketFile
{
public:
    SocketFile() = default;
    /// Removes the file, unless another one has taken its place. Connections are not touched.
    ~SocketFile();
    SocketFile(const SocketFile&) = delete;
    SocketFile& operator=(const SocketFile&) = delete;

    /// Creates the file, and its folder if only that is missing. Replaces a socket left by a crashed player,
    /// but no file of another user, no other kind of file, and no socket that is in use. False, with a
    /// sentence, after a failure.
    bool open(const QString& fileName, const QString& group, QString* error);
    /// Listens. Belongs to the caller from then on.
    int takeSocket();

    /// Connects to the player that listens at a file; -1, with errno, if there is none. Blocks like
    /// connect().
    static int connect(const QString& fileName);
    /// The folder of a file; -1, with errno, if it cannot be opened.
    static int openFolder(const QString& fileName);
    /// A name of a file that fits into a kernel address, if necessary through the folder's descriptor.
    static QByteArray shortName(const QString& fileName, int folder);
    /// The default file of a player: $XDG_RUNTIME_DIR/pelk/player.sock, or a file in the state folder if
    /// XDG_RUNTIME_DIR is not set.
    static QString defaultFile(const QString& stateFolder);
    /// The file of a system-wide player.
    static QString systemFile();

private:
    bool makeRoom(const QString& fileName, QString* error);
    bool bind(int folder, const QString& fileName, int group, QString* error);

    QString m_fileName;
    quint64 m_inode = 0;
    int m_socket = -1;
};
