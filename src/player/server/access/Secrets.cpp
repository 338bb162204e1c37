#include "player/server/access/Secrets.h"

#include <array>
#include <sodium.h>

namespace {

constexpr int secretBytes = 32;
constexpr int nameBytes = 8;

/// A hash of the same cost that matches no password, so that an attempt takes as long if no password is set.
const char* const nobodysHash = "$argon2id$v=19$m=32768,t=3,p=1$c29tZXNhbHRzb21lc2FsdA$"
                                "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA";

void start()
{
    static const int outcome = sodium_init();
    Q_ASSERT(outcome >= 0);
}

/// Phones and terminals may encode the same letter differently.
QByteArray bytesOf(const QString& password)
{
    return password.normalized(QString::NormalizationForm_C).toUtf8();
}

QByteArray randomText(int count)
{
    start();
    QByteArray bytes(count, Qt::Uninitialized);
    randombytes_buf(bytes.data(), size_t(bytes.size()));
    return bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
}

} // namespace

QString Secrets::passwordFault(const QString& password)
{
    if (password.size() < shortestPassword)
        return QStringLiteral("The password is too short; it needs at least %1 characters.")
            .arg(shortestPassword);
    if (password.size() > longestPassword)
        return QStringLiteral("The password is too long; it may have at most %1 characters.")
            .arg(longestPassword);
    return QString();
}

QByteArray Secrets::passwordHash(const QString& password)
{
    start();
    std::array<char, crypto_pwhash_STRBYTES> text{};
    QByteArray bytes = bytesOf(password);
    const int outcome =
        crypto_pwhash_str_alg(text.data(), bytes.constData(), static_cast<unsigned long long>(bytes.size()),
                              passwordPasses, passwordMemoryBytes, crypto_pwhash_ALG_ARGON2ID13);
    sodium_memzero(bytes.data(), size_t(bytes.size()));
    return outcome == 0 ? QByteArray(text.data()) : QByteArray();
}

bool Secrets::isPassword(const QString& password, const QByteArray& hash)
{
    start();
    QByteArray bytes = bytesOf(password);
    const bool isSame =
        crypto_pwhash_str_verify(hash.isEmpty() ? nobodysHash : hash.constData(), bytes.constData(),
                                 static_cast<unsigned long long>(bytes.size())) == 0;
    sodium_memzero(bytes.data(), size_t(bytes.size()));
    return isSame && !hash.isEmpty();
}

QByteArray Secrets::random()
{
    return randomText(secretBytes);
}

QByteArray Secrets::randomName()
{
    return randomText(nameBytes);
}

QByteArray Secrets::digest(const QByteArray& secret)
{
    start();
    std::array<unsigned char, crypto_generichash_BYTES> bytes{};
    crypto_generichash(bytes.data(), bytes.size(), reinterpret_cast<const unsigned char*>(secret.constData()),
                       static_cast<unsigned long long>(secret.size()), nullptr, 0);
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), int(bytes.size())).toHex();
}

bool Secrets::isEqual(const QByteArray& one, const QByteArray& other)
{
    return one.size() == other.size() &&
           sodium_memcmp(one.constData(), other.constData(), size_t(one.size())) == 0;
}
