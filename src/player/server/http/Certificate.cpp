#include "player/server/http/Certificate.h"

#include "api/core/model/cmreadfile.h"
#include "api/core/model/cmsavefile.h"
#include "player/server/http/TlsCallback.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QLocale>
#include <arpa/inet.h>
#include <gnutls/crypto.h>
#include <gnutls/x509.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

class Certificate::Shown
{
public:
    Shown() = default;
    ~Shown()
    {
        for (unsigned i = 0; i < chainCount; ++i)
            gnutls_pcert_deinit(&chain.at(i));
        gnutls_privkey_deinit(key);
    }
    Shown(const Shown&) = delete;
    Shown& operator=(const Shown&) = delete;

    static constexpr unsigned longestChain = 8;
    mutable std::array<gnutls_pcert_st, longestChain> chain{};
    unsigned chainCount = 0;
    gnutls_privkey_t key = nullptr;
    QString fingerprint;
    QDateTime begin;
    QDateTime end;
    QString unknownName; // the usual name of the player, where the certificate is for others
};

namespace {

constexpr qint64 largestFileBytes = 256 * 1024;
constexpr QFileDevice::Permissions ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

/// All certificates used so far, because a handshake may still use any of them. There is one new certificate
/// per year.
std::vector<std::shared_ptr<const Certificate::Shown>>& allShown()
{
    static std::vector<std::shared_ptr<const Certificate::Shown>> all;
    return all;
}

gnutls_datum_t datum(const QByteArray& bytes)
{
    return {reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.constData())), unsigned(bytes.size())};
}

QByteArray taken(gnutls_datum_t* bytes)
{
    QByteArray copy(reinterpret_cast<const char*>(bytes->data), int(bytes->size));
    gnutls_free(bytes->data);
    return copy;
}

using X509 = std::unique_ptr<gnutls_x509_crt_int, decltype(&gnutls_x509_crt_deinit)>;
using X509Key = std::unique_ptr<gnutls_x509_privkey_int, decltype(&gnutls_x509_privkey_deinit)>;
using PublicKey = std::unique_ptr<gnutls_pubkey_st, decltype(&gnutls_pubkey_deinit)>;

X509 newCertificate()
{
    gnutls_x509_crt_t one = nullptr;
    gnutls_x509_crt_init(&one);
    return {one, gnutls_x509_crt_deinit};
}

bool isKeyOf(gnutls_privkey_t key, gnutls_x509_crt_t certificate)
{
    gnutls_pubkey_t made = nullptr;
    gnutls_pubkey_init(&made);
    const PublicKey publicKey(made, gnutls_pubkey_deinit);
    std::array<unsigned char, 64> one{};
    std::array<unsigned char, 64> other{};
    size_t oneBytes = one.size();
    size_t otherBytes = other.size();
    return gnutls_pubkey_import_privkey(made, key, 0, 0) == 0 &&
           gnutls_pubkey_get_key_id(made, 0, one.data(), &oneBytes) == 0 &&
           gnutls_x509_crt_get_key_id(certificate, 0, other.data(), &otherBytes) == 0 && one == other;
}

/// Reads a certificate, its chain and its key. Null if that fails; `error` receives the end of a sentence.
std::shared_ptr<Certificate::Shown> read(const QByteArray& pem, const QByteArray& keyPem,
                                         const QStringList& names, QString* error)
{
    auto shown = std::make_shared<Certificate::Shown>();
    const gnutls_datum_t bytes = datum(pem);
    const gnutls_datum_t keyBytes = datum(keyPem);
    unsigned count = Certificate::Shown::longestChain;
    gnutls_privkey_init(&shown->key);
    if (gnutls_pcert_list_import_x509_raw(shown->chain.data(), &count, &bytes, GNUTLS_X509_FMT_PEM, 0) != 0 ||
        count == 0) {
        *error = QStringLiteral("it contains no PEM certificate");
        return nullptr;
    }
    shown->chainCount = count;
    if (gnutls_privkey_import_x509_raw(shown->key, &keyBytes, GNUTLS_X509_FMT_PEM, nullptr, 0) != 0) {
        *error = QStringLiteral("its key cannot be read; it must be in PEM format, without a password");
        return nullptr;
    }
    const X509 first = newCertificate();
    const gnutls_datum_t der = shown->chain[0].cert;
    gnutls_x509_crt_import(first.get(), &der, GNUTLS_X509_FMT_DER);
    if (!isKeyOf(shown->key, first.get())) {
        *error = QStringLiteral("the key belongs to another certificate");
        return nullptr;
    }
    const QByteArray digest = QCryptographicHash::hash(
        QByteArray::fromRawData(reinterpret_cast<const char*>(der.data), int(der.size)),
        QCryptographicHash::Sha256);
    shown->fingerprint = QString::fromLatin1(digest.toHex(':').toUpper());
    shown->begin = QDateTime::fromSecsSinceEpoch(gnutls_x509_crt_get_activation_time(first.get()));
    shown->end = QDateTime::fromSecsSinceEpoch(gnutls_x509_crt_get_expiration_time(first.get()));
    const bool isKnown = std::any_of(names.cbegin(), names.cend(), [&first](const QString& name) {
        return gnutls_x509_crt_check_hostname(first.get(), name.toUtf8().constData()) != 0;
    });
    shown->unknownName = isKnown ? QString() : names.value(0);
    return shown;
}

void addName(gnutls_x509_crt_t certificate, const QString& name)
{
    in6_addr address{};
    const QByteArray bytes = name.toUtf8();
    if (::inet_pton(AF_INET, bytes.constData(), &address) == 1)
        gnutls_x509_crt_set_subject_alt_name(certificate, GNUTLS_SAN_IPADDRESS, &address, sizeof(in_addr),
                                             GNUTLS_FSAN_APPEND);
    else if (::inet_pton(AF_INET6, bytes.constData(), &address) == 1)
        gnutls_x509_crt_set_subject_alt_name(certificate, GNUTLS_SAN_IPADDRESS, &address, sizeof address,
                                             GNUTLS_FSAN_APPEND);
    else
        gnutls_x509_crt_set_subject_alt_name(certificate, GNUTLS_SAN_DNSNAME, bytes.constData(),
                                             unsigned(bytes.size()), GNUTLS_FSAN_APPEND);
}

/// A self-signed certificate followed by its key, in PEM; empty if that fails.
QByteArray generated(const QStringList& names, const QDateTime& now)
{
    gnutls_x509_privkey_t made = nullptr;
    gnutls_x509_privkey_init(&made);
    const X509Key key(made, gnutls_x509_privkey_deinit);
    const X509 held = newCertificate();
    gnutls_x509_crt_t certificate = held.get();
    std::array<unsigned char, 16> serial{};
    gnutls_rnd(GNUTLS_RND_NONCE, serial.data(), serial.size());
    serial[0] &= 0x7f;                                        // it is a positive number
    const QByteArray name = names.value(0).left(64).toUtf8(); // no more fits
    gnutls_x509_crt_set_version(certificate, 3);
    gnutls_x509_crt_set_serial(certificate, serial.data(), serial.size());
    gnutls_x509_crt_set_dn_by_oid(certificate, GNUTLS_OID_X520_COMMON_NAME, 0, name.constData(),
                                  unsigned(name.size()));
    // Clocks of other devices may be behind.
    gnutls_x509_crt_set_activation_time(certificate, now.addDays(-1).toSecsSinceEpoch());
    gnutls_x509_crt_set_expiration_time(certificate, now.addDays(Certificate::validDays).toSecsSinceEpoch());
    for (const QString& each : names)
        addName(certificate, each);
    gnutls_x509_crt_set_basic_constraints(certificate, 0, -1);
    gnutls_x509_crt_set_key_usage(certificate, GNUTLS_KEY_DIGITAL_SIGNATURE);
    gnutls_x509_crt_set_key_purpose_oid(certificate, GNUTLS_KP_TLS_WWW_SERVER, 0);
    gnutls_datum_t pem{};
    gnutls_datum_t keyPem{};
    if (gnutls_x509_privkey_generate(made, GNUTLS_PK_ECDSA, GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1),
                                     0) != 0 ||
        gnutls_x509_crt_set_key(certificate, made) != 0 ||
        gnutls_x509_crt_sign2(certificate, certificate, made, GNUTLS_DIG_SHA256, 0) != 0 ||
        gnutls_x509_crt_export2(certificate, GNUTLS_X509_FMT_PEM, &pem) != 0 ||
        gnutls_x509_privkey_export2(made, GNUTLS_X509_FMT_PEM, &keyPem) != 0)
        return QByteArray();
    return taken(&pem) + taken(&keyPem);
}

} // namespace

Certificate::Certificate(Source source)
    : m_source(std::move(source))
{
    if (!m_source.now)
        m_source.now = [] { return QDateTime::currentDateTimeUtc(); };
}

Certificate::~Certificate() = default;

bool Certificate::load(QString* error)
{
    const bool isLoaded = m_source.certificateFile.isEmpty() ? loadGenerated(error) : loadOwn(error);
    if (!isLoaded)
        return false;
    allShown().push_back(m_current);
    check();
    return true;
}

bool Certificate::refresh()
{
    QString error;
    const QString before = fingerprint();
    if (m_source.certificateFile.isEmpty()) {
        if (m_source.now() < end().addDays(-renewedDaysBefore))
            return false;
        if (!generate(&error))
            m_notices.append(error);
    } else if (QFileInfo(m_source.certificateFile).lastModified() != m_ownChanged && !loadOwn(&error)) {
        m_notices.append(error);
    }
    if (fingerprint() == before)
        return false;
    allShown().push_back(m_current);
    check();
    return true;
}

QString Certificate::fingerprint() const
{
    return m_current ? m_current->fingerprint : QString();
}

QDateTime Certificate::end() const
{
    return m_current ? m_current->end : QDateTime();
}

QStringList Certificate::takeNotices()
{
    QStringList notices;
    notices.swap(m_notices);
    return notices;
}

const Certificate::Shown* Certificate::shown()
{
    return allShown().empty() ? nullptr : allShown().back().get();
}

bool Certificate::loadOwn(QString* error)
{
    QByteArray pem;
    QByteArray key;
    QString reason;
    QString file = m_source.certificateFile;
    m_ownChanged = QFileInfo(file).lastModified();
    bool isRead = cmReadFile(file, largestFileBytes, &pem, &reason) == CMReadFile::Done;
    if (isRead) {
        file = m_source.keyFile;
        isRead = cmReadFile(file, largestFileBytes, &key, &reason) == CMReadFile::Done;
        file = isRead ? m_source.certificateFile : file;
    }
    const std::shared_ptr<Shown> found = isRead ? read(pem, key, m_source.names, &reason) : nullptr;
    if (found)
        m_current = found;
    else
        *error = QStringLiteral("%1 cannot be used for TLS: %2.").arg(file, reason);
    return found != nullptr;
}

bool Certificate::loadGenerated(QString* error)
{
    QByteArray pem;
    QString reason;
    const CMReadFile outcome = cmReadFile(m_source.generatedFile, largestFileBytes, &pem, &reason);
    if (outcome == CMReadFile::Done)
        m_current = read(pem, pem, m_source.names, &reason);
    if (outcome != CMReadFile::Missing && !m_current) {
        const QString aside = m_source.generatedFile + QStringLiteral(".bad");
        std::rename(qPrintable(m_source.generatedFile), qPrintable(aside));
        m_notices.append(
            QStringLiteral("%1 cannot be used: %2. It was renamed to %3, and a new certificate was created.")
                .arg(m_source.generatedFile, reason, aside));
    }
    // A slow clock must not replace a certificate that browsers have accepted.
    const bool isOver = m_current && m_source.now() >= end().addDays(-renewedDaysBefore);
    return (m_current && !isOver) || generate(error);
}

bool Certificate::generate(QString* error)
{
    const QByteArray pem = generated(m_source.names, m_source.now());
    QString reason = QStringLiteral("it cannot be made");
    const std::shared_ptr<Shown> made = pem.isEmpty() ? nullptr : read(pem, pem, m_source.names, &reason);
    if (!made || !cmSaveFile(m_source.generatedFile, pem, ownerOnly, &reason)) {
        *error = QStringLiteral("Cannot save a certificate in %1: %2.").arg(m_source.generatedFile, reason);
        return false;
    }
    m_current = made;
    return true;
}

void Certificate::check()
{
    if (m_source.certificateFile.isEmpty())
        return;
    const QString day = QStringLiteral("d MMMM yyyy");
    const auto warn = [this](const QString& what) {
        m_notices.append(QStringLiteral("The certificate in %1 %2; browsers will refuse it or warn.")
                             .arg(m_source.certificateFile, what));
    };
    if (m_source.now() >= m_current->end)
        warn(QStringLiteral("was valid until %1").arg(QLocale::c().toString(m_current->end, day)));
    else if (m_source.now() < m_current->begin)
        warn(QStringLiteral("is valid from %1 on, if the clock is right")
                 .arg(QLocale::c().toString(m_current->begin, day)));
    if (!m_current->unknownName.isEmpty())
        warn(QStringLiteral("is for another name than %1").arg(m_current->unknownName));
}

int showCertificate(gnutls_session_t /*session*/, const gnutls_datum_t* /*authorities*/,
                    int /*authorityCount*/, const gnutls_pk_algorithm_t* /*algorithms*/,
                    int /*algorithmCount*/, gnutls_pcert_st** chain, unsigned* chainCount,
                    gnutls_privkey_t* key)
{
    const Certificate::Shown* const shown = Certificate::shown();
    if (!shown)
        return -1;
    *chain = shown->chain.data();
    *chainCount = shown->chainCount;
    *key = shown->key;
    return 0;
}
