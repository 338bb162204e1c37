#include "player/server/access/Credentials.h"

#include "api/core/json/pelkjson.h"
#include "player/host/StateFile.h"
#include "player/server/access/Secrets.h"

#include <QDir>
#include <QFile>
#include <QLockFile>
#include <QRegularExpression>
#include <sys/stat.h>

#include <algorithm>

namespace {

constexpr int version = 1;
constexpr int mostTokens = 100;
constexpr int lockMs = 5000;
const QString hashKey = QStringLiteral("hash");
const QString tokensKey = QStringLiteral("tokens");
const QString nameKey = QStringLiteral("name");
const QString digestKey = QStringLiteral("digest");
const QString readOnlyKey = QStringLiteral("readOnly");

/// The properties of a file that change when it is replaced or written.
QByteArray stateOf(const QString& fileName)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(fileName).constData(), &status) != 0)
        return QByteArrayLiteral("none");
    return QByteArray::number(qulonglong(status.st_ino)) + ' ' + QByteArray::number(qint64(status.st_size)) +
           ' ' + QByteArray::number(qint64(status.st_mtim.tv_sec)) + ' ' +
           QByteArray::number(qint64(status.st_mtim.tv_nsec));
}

} // namespace

Credentials::Credentials(const QString& folder)
    : m_folder(folder)
    , m_passwordFile{folder + QStringLiteral("/password.json"), QStringLiteral("password"), {}}
    , m_tokenFile{folder + QStringLiteral("/tokens.json"), QStringLiteral("tokens"), {}}
{
}

QByteArray Credentials::passwordHash()
{
    if (hasChanged(&m_passwordFile))
        m_hash = read(m_passwordFile).text(hashKey).toLatin1();
    return m_hash;
}

QByteArray Credentials::passwordMark()
{
    const QByteArray hash = passwordHash();
    return hash.isEmpty() ? hash : Secrets::digest(hash);
}

bool Credentials::setPasswordHash(const QByteArray& hash, QString* error)
{
    return write(&m_passwordFile, QVariantHash{{hashKey, QString::fromLatin1(hash)}}, error);
}

const QVector<Credentials::Token>& Credentials::tokens()
{
    if (!hasChanged(&m_tokenFile))
        return m_tokens;
    m_tokens.clear();
    const QVariantList list = read(m_tokenFile).value(tokensKey).toList();
    for (const QVariant& item : list) {
        const PelkHash token = PelkHash::fromVariant(item);
        m_tokens.append(
            {token.text(nameKey), token.text(digestKey).toLatin1(), token.value(readOnlyKey).toBool()});
    }
    return m_tokens;
}

bool Credentials::addToken(const QString& name, bool isReadOnly, QByteArray* secret, QString* error)
{
    static const QRegularExpression names(QStringLiteral("^[\\w.-]{1,40}$"),
                                          QRegularExpression::UseUnicodePropertiesOption);
    if (!names.match(name).hasMatch()) {
        *error = QStringLiteral("\"%1\" cannot name a token: use 1 to 40 letters, digits, \".\", \"-\" and "
                                "\"_\".")
                     .arg(name);
        return false;
    }
    QDir().mkpath(m_folder);
    QLockFile lock(m_tokenFile.name + QStringLiteral(".lock"));
    lock.tryLock(lockMs);
    tokens();
    const bool isTaken = std::any_of(m_tokens.cbegin(), m_tokens.cend(),
                                     [&name](const Token& token) { return token.name == name; });
    if (isTaken || m_tokens.size() >= mostTokens) {
        *error = isTaken ? QStringLiteral("There is a token \"%1\" already; remove it first, or choose "
                                          "another name.")
                               .arg(name)
                         : QStringLiteral("There are %1 tokens already; remove one first.").arg(mostTokens);
        return false;
    }
    *secret = Secrets::random();
    m_tokens.append({name, Secrets::digest(*secret), isReadOnly});
    return saveTokens(error);
}

bool Credentials::removeToken(const QString& name, QString* error)
{
    QLockFile lock(m_tokenFile.name + QStringLiteral(".lock"));
    lock.tryLock(lockMs);
    tokens();
    const auto found = std::find_if(m_tokens.begin(), m_tokens.end(),
                                    [&name](const Token& token) { return token.name == name; });
    if (found == m_tokens.end()) {
        *error = QStringLiteral("There is no token \"%1\"; \"pelk token list\" shows them.").arg(name);
        return false;
    }
    m_tokens.erase(found);
    return saveTokens(error);
}

QStringList Credentials::takeNotices()
{
    QStringList notices;
    notices.swap(m_notices);
    return notices;
}

bool Credentials::hasChanged(File* file)
{
    const QByteArray state = stateOf(file->name);
    const bool isOther = state != file->state;
    file->state = state;
    return isOther;
}

PelkHash Credentials::read(const File& file)
{
    StateFile reader(file.name, file.concern, version);
    const PelkHash data = reader.read();
    if (!reader.notice().isEmpty())
        m_notices.append(reader.notice());
    return data;
}

bool Credentials::saveTokens(QString* error)
{
    QVariantList list;
    for (const Token& token : qAsConst(m_tokens))
        list.append(QVariantHash{{nameKey, token.name},
                                 {digestKey, QString::fromLatin1(token.digest)},
                                 {readOnlyKey, token.isReadOnly}});
    return write(&m_tokenFile, QVariantHash{{tokensKey, list}}, error);
}

bool Credentials::write(File* file, const QVariant& data, QString* error)
{
    file->state.clear(); // it is read anew, whatever comes of this
    return StateFile(file->name, file->concern, version)
        .saveNow([&data](QByteArray* text) { *text += PelkJson::serialize(data); }, error);
}
