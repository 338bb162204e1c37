#pragma once

#include "api/types/pelkhash.h"

#include <QStringList>
#include <QVector>

/// The household's password and the tokens of programs, as hashes, in files of the state folder that only
/// their owner can read. `pelk password` and `pelk token` write them while a player runs: it sees the change
/// with the next request. A file that cannot be used is set aside, and holds nothing. Main thread.
class Credentials
{
public:
    struct Token
    {
        QString name;
        QByteArray digest;
        bool isReadOnly = false;
    };

    explicit Credentials(const QString& folder);

    /// The password's hash; empty where none is set.
    QByteArray passwordHash();
    /// Changes with the password: what was let in by an earlier one is not let in any longer.
    QByteArray passwordMark();
    bool setPasswordHash(const QByteArray& hash, QString* error);

    const QVector<Token>& tokens();
    /// Makes a token, and gives the secret that is shown once. False, with a sentence, where the name is
    /// taken or none, or the file cannot be written.
    bool addToken(const QString& name, bool isReadOnly, QByteArray* secret, QString* error);
    bool removeToken(const QString& name, QString* error);

    /// What people have to know of the files; each sentence once.
    QStringList takeNotices();

private:
    struct File
    {
        QString name;
        QString concern;
        QByteArray state; // of the file when it was read
    };

    bool hasChanged(File* file);
    PelkHash read(const File& file);
    bool write(File* file, const QVariant& data, QString* error);
    bool saveTokens(QString* error);

    QString m_folder;
    File m_passwordFile;
    File m_tokenFile;
    QByteArray m_hash;
    QVector<Token> m_tokens;
    QStringList m_notices;
};
