#pragma once

#include <QDateTime>
#include <QStringList>

#include <functional>
#include <memory>

/// The server's certificate and key: from the user's files, or self-signed, generated on first use and saved
/// in one file that only its owner can read. Connections after refresh() use the new certificate; a process
/// uses one certificate. Main thread.
class Certificate
{
public:
    struct Source
    {
        QString certificateFile; ///< the user's own, in PEM; empty if the certificate is generated
        QString keyFile;
        QString generatedFile; ///< where a generated one is kept
        QStringList names;     ///< names and addresses that the player is reached by, the usual one first
        std::function<QDateTime()> now; ///< null: the system's clock
    };
    /// How long a generated one is valid, and how long before its end the next one is made.
    static constexpr int validDays = 365;
    static constexpr int renewedDaysBefore = 30;

    explicit Certificate(Source source);
    ~Certificate();

    /// Reads or generates the certificate. False, with a sentence, if there is no usable one.
    bool load(QString* error);
    /// Renews a generated certificate that expires soon, and reloads the user's files if they changed. True
    /// if the certificate changed. Problems are in takeNotices().
    bool refresh();
    /// Its SHA-256, as browsers show it: "AB:CD:…".
    QString fingerprint() const;
    QDateTime end() const;
    /// Notices: the certificate has expired, is for another name, or its file was renamed.
    QStringList takeNotices();

    /// A certificate and its key.
    class Shown;
    /// The certificate for the next connection; null if none was loaded.
    static const Shown* shown();

private:
    bool loadOwn(QString* error);
    bool loadGenerated(QString* error);
    bool generate(QString* error);
    void check();

    Source m_source;
    std::shared_ptr<Shown> m_current;
    QDateTime m_ownChanged; // when one's own file was changed last
    QStringList m_notices;
};
