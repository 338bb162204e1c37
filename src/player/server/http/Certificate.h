#pragma once

#include <QDateTime>
#include <QStringList>

#include <functional>
#include <memory>

/// The certificate that browsers are shown, with its key: from files of one's own, or generated on first use,
/// signed by itself and kept in one file that only its owner can read. Connections that begin after
/// refresh() get what it found; a process shows one certificate. Main thread.
class Certificate
{
public:
    struct Source
    {
        QString certificateFile; ///< of one's own, in PEM; empty where it is generated
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

    /// Reads the certificate, or makes one. False, with a sentence, where there is none that can be used.
    bool load(QString* error);
    /// Makes a new one where the generated one ends soon, and reads one's own again where its file has
    /// changed. True where browsers see another one from now on. What went wrong is in takeNotices().
    bool refresh();
    /// Its SHA-256, as browsers show it: "AB:CD:…".
    QString fingerprint() const;
    QDateTime end() const;
    /// What people have to know: it has ended, it is for another name, its file was set aside.
    QStringList takeNotices();

    /// One that is shown, and its key.
    class Shown;
    /// What the next connection is shown; null where no certificate was loaded.
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
