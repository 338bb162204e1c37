#pragma once

#include "api/types/pelkhash.h"

#include <QStringList>
#include <QVector>

/// The household's password and the tokens of programs, as hashes, in files of the state folder that only
/// their owner can read. `pelk password` and `pelk token` write them while a player runs: it sees the change
/// with the next request. An unusable file is renamed and treated as empty. Main thread.
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

    /// The password's hash; empty if none is set.
    QByteArray passwordHash();
    /// Changes with the password, so that sessions of an earlier password become invalid.
    QByteArray passwordMark();
    bool setPasswordHash(const QByteArray& hash, QString* error);

    const QVector<Token>& tokens();
    /// Creates a token and returns its secret, which is shown once. False, with a sentence, if the name is
    /// taken or invalid, or the file cannot be written.
    bool addToken(const QString& name, bool isReadOnly, QByteArray* secret, QString* error);
    bool removeToken(const QString& name, QString* error);

    /// Notices about the files; each is returned once.
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
