#pragma once

#include <QByteArray>
#include <QString>

/// What is made of passwords, cookies and tokens before anything is saved. Any thread.
namespace Secrets {

/// How long Argon2id computes, and in how much memory: about 60 ms on one core of a small computer, so that
/// one guess is dear. It never runs on the server's thread.
constexpr unsigned long long passwordPasses = 3;
constexpr std::size_t passwordMemoryBytes = 32 * 1024 * 1024;
constexpr int shortestPassword = 6;
constexpr int longestPassword = 256;

/// What is wrong with a new password, as a sentence; empty where it can be used.
QString passwordFault(const QString& password);
/// The Argon2id hash of a password, as text. Slow. Empty where there is too little memory.
QByteArray passwordHash(const QString& password);
/// Whether a password is the one of a hash. Takes as long where there is no hash, and says false.
bool isPassword(const QString& password, const QByteArray& hash);

/// A new secret for a cookie or a token: 256 random bits as text.
QByteArray random();
/// A random name that is no secret.
QByteArray randomName();
/// What of such a secret is saved.
QByteArray digest(const QByteArray& secret);
/// Compares in a time that does not depend on the contents.
bool isEqual(const QByteArray& one, const QByteArray& other);

} // namespace Secrets
