#pragma once

#include <QByteArray>
#include <QString>

/// Hashes and digests of passwords, cookies and tokens. Any thread.
namespace Secrets {

/// The cost of Argon2id: about 60 ms on one core of a small computer, so that guessing is expensive. It never
/// runs on the server's thread.
constexpr unsigned long long passwordPasses = 3;
constexpr std::size_t passwordMemoryBytes = 32 * 1024 * 1024;
constexpr int shortestPassword = 6;
constexpr int longestPassword = 256;

/// Why a new password is invalid, as a sentence; empty if it is valid.
QString passwordFault(const QString& password);
/// The Argon2id hash of a password, as text. Slow. Empty if there is too little memory.
QByteArray passwordHash(const QString& password);
/// Whether a password matches a hash. Without a hash it takes as long and returns false.
bool isPassword(const QString& password, const QByteArray& hash);

/// A new secret for a cookie or a token: 256 random bits as text.
QByteArray random();
/// A random name that is not secret.
QByteArray randomName();
/// The digest of such a secret, which is saved instead of it.
QByteArray digest(const QByteArray& secret);
/// Compares in a time that does not depend on the contents.
bool isEqual(const QByteArray& one, const QByteArray& other);

} // namespace Secrets
