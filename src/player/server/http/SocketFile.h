#pragma once

#include <QString>

/// A file that programs of this machine connect to, in place of an address and port. Its owner alone may use
/// it, or also the members of one group.
class SocketFile
{
public:
    SocketFile() = default;
    /// Removes the file, unless another one has taken its place. Connections are not touched.
    ~SocketFile();
    SocketFile(const SocketFile&) = delete;
    SocketFile& operator=(const SocketFile&) = delete;

    /// Makes the file, and its folder where that alone is missing. What a player left that ended without
    /// removing it is replaced; a file of another user, of another kind, or where somebody listens is not.
    /// False, with a sentence, when there is no such file afterwards.
    bool open(const QString& fileName, const QString& group, QString* error);
    /// Listens. Belongs to the caller from then on.
    int takeSocket();

    /// A connection to the one who listens at a file; -1, with errno, where nobody does. Blocks as connect()
    /// does.
    static int connect(const QString& fileName);
    /// The folder of a file; -1, with errno, where it cannot be opened.
    static int openFolder(const QString& fileName);
    /// A name of a file that fits into an address of the kernel, if need be through the folder's descriptor.
    static QByteArray shortName(const QString& fileName, int folder);
    /// Where a player has its file: $XDG_RUNTIME_DIR/pelk/player.sock, or in the state folder where the
    /// session has no such folder.
    static QString defaultFile(const QString& stateFolder);
    /// Where a player has its file that is a service of the system.
    static QString systemFile();

private:
    bool makeRoom(const QString& fileName, QString* error);
    bool bind(int folder, const QString& fileName, int group, QString* error);

    QString m_fileName;
    quint64 m_inode = 0;
    int m_socket = -1;
};
