#include "player/server/http/Certificate.h"
#include "tests/unit/player/server_fixture.h"

#include <QProcess>
#include <QtTest>
#include <sys/stat.h>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

const QDateTime today = QDateTime::fromSecsSinceEpoch(1'800'000'000);

/// A generated certificate in a file.
Certificate::Source source(const QString& file, const QDateTime& now = today)
{
    return {{}, {}, file, {text("player.example"), text("127.0.0.1")}, [now] { return now; }};
}

/// One's own files.
Certificate::Source own(const QString& certificate, const QString& key, const char* name = "player.example",
                        const QDateTime& now = today)
{
    return {certificate, key, {}, {text(name)}, [now] { return now; }};
}

/// Makes a certificate and its key in one file; gives the file.
QString made(const QTemporaryDir& folder, const char* name)
{
    const QString file = folder.filePath(text(name));
    QString error;
    if (!Certificate(source(file)).load(&error))
        qFatal("%s", qPrintable(error));
    return file;
}

void write(const QString& name, const QByteArray& content)
{
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("%s cannot be written", qPrintable(name));
}

QByteArray content(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The output of the real curl; this thread's event loop runs meanwhile.
QByteArray curl(const QStringList& arguments)
{
    QProcess process;
    process.start(text("curl"),
                  QStringList{text("-sS"), text("--max-time"), text("30"), text("--noproxy"), text("*")} +
                      arguments);
    if (!QTest::qWaitFor([&process] { return process.state() == QProcess::NotRunning; }, 60000))
        return "curl did not end";
    return process.readAllStandardOutput() + process.readAllStandardError();
}

} // namespace

/// Encrypted connections: which certificate they are shown, and when it is renewed.
class ServerTlsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aCertificateIsMadeOnFirstUseAndKept()
    {
        QTemporaryDir folder;
        const QString file = folder.filePath(text("certificate.pem"));
        Certificate first(source(file));
        QString error;
        QVERIFY2(first.load(&error), qPrintable(error));
        QVERIFY(QRegularExpression(text("^([0-9A-F]{2}:){31}[0-9A-F]{2}$"))
                    .match(first.fingerprint())
                    .hasMatch());
        QCOMPARE(first.end(), today.addDays(Certificate::validDays));
        struct stat status = {};
        QCOMPARE(::stat(QFile::encodeName(file).constData(), &status), 0);
        QCOMPARE(int(status.st_mode & 0777), 0600);
        Certificate second(source(file));
        QVERIFY(second.load(&error));
        QCOMPARE(second.fingerprint(), first.fingerprint());
        QCOMPARE(second.takeNotices(), QStringList());
    }

    void aCertificateIsRenewedBeforeItEnds_data()
    {
        QTest::addColumn<int>("daysLater");
        QTest::addColumn<bool>("isRenewed");
        QTest::newRow("at once") << 0 << false;
        QTest::newRow("31 days before") << 334 << false;
        QTest::newRow("30 days before") << 335 << true;
        QTest::newRow("long after") << 1000 << true;
        QTest::newRow("the clock is set back by a year") << -365 << false;
    }
    void aCertificateIsRenewedBeforeItEnds()
    {
        QFETCH(int, daysLater);
        QFETCH(bool, isRenewed);
        QTemporaryDir folder;
        Certificate::Source changing = source(folder.filePath(text("certificate.pem")));
        QDateTime now = today;
        changing.now = [&now] { return now; };
        Certificate running(changing);
        QString error;
        QVERIFY(running.load(&error));
        const QString before = running.fingerprint();
        now = today.addDays(daysLater);
        QCOMPARE(running.refresh(), isRenewed);
        QCOMPARE(running.fingerprint() != before, isRenewed);
        Certificate restarted(changing);
        QVERIFY(restarted.load(&error));
        QCOMPARE(restarted.fingerprint(), running.fingerprint());
    }

    void aDamagedFileIsSetAside_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTemporaryDir folder;
        const QByteArray whole = content(made(folder, "whole.pem"));
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("without the key") << whole.left(whole.indexOf("-----BEGIN EC"));
        QTest::newRow("half") << whole.left(whole.size() / 2);
        QTest::newRow("noise") << QByteArray(5000, '\x80');
    }
    void aDamagedFileIsSetAside()
    {
        QFETCH(QByteArray, content);
        QTemporaryDir folder;
        const QString file = folder.filePath(text("certificate.pem"));
        write(file, content);
        Certificate certificate(source(file));
        QString error;
        QVERIFY2(certificate.load(&error), qPrintable(error));
        const QStringList notices = certificate.takeNotices();
        QCOMPARE(notices.size(), 1);
        QVERIFY2(notices.first().contains(text("renamed to")), qPrintable(notices.first()));
        QVERIFY(QFile::exists(file + text(".bad")));
    }

    void invalidCertificatesAreReportedInASentence_data()
    {
        QTest::addColumn<QString>("certificate");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("told");
        QTest::newRow("no certificate")
            << text("none.pem") << text("a.pem") << text("No such file or directory");
        QTest::newRow("no key") << text("a.pem") << text("none.pem") << text("No such file or directory");
        QTest::newRow("a folder") << text(".") << text("a.pem") << text("it is a folder");
        QTest::newRow("another key") << text("a.pem") << text("b.pem")
                                     << text("the key belongs to another certificate");
        QTest::newRow("a text") << text("text.pem") << text("a.pem")
                                << text("it contains no PEM certificate");
        QTest::newRow("a key that is none")
            << text("a.pem") << text("text.pem") << text("its key cannot be read");
    }
    void invalidCertificatesAreReportedInASentence()
    {
        QFETCH(QString, certificate);
        QFETCH(QString, key);
        QFETCH(QString, told);
        QTemporaryDir folder;
        made(folder, "a.pem");
        made(folder, "b.pem");
        write(folder.filePath(text("text.pem")), "no certificate");
        QString error;
        QVERIFY(!Certificate(own(folder.filePath(certificate), folder.filePath(key))).load(&error));
        QVERIFY2(error.contains(told), qPrintable(error));
        QVERIFY2(error.contains(text("cannot be used for TLS")), qPrintable(error));
    }

    void aCertificateThatBrowsersRefuseIsUsedWithAWarning()
    {
        QTemporaryDir folder;
        const QString file = made(folder, "a.pem");
        const auto notices = [&](const char* name, int days) {
            Certificate certificate(own(file, file, name, today.addDays(days)));
            QString error;
            return certificate.load(&error) ? certificate.takeNotices().join(QLatin1Char('\n')) : error;
        };
        QCOMPARE(notices("player.example", 0), QString());
        QVERIFY(notices("player.example", 400).contains(text("was valid until 15 January 2028")));
        QVERIFY(notices("player.example", -400).contains(text("is valid from")));
        QVERIFY(notices("other.example", 0).contains(text("is for another name than other.example")));
    }

    void onesOwnCertificateIsReadAgainWhenItChanges()
    {
        QTemporaryDir folder;
        const QString file = made(folder, "a.pem");
        const QByteArray other = content(made(folder, "b.pem"));
        Certificate certificate(own(file, file));
        QString error;
        QVERIFY(certificate.load(&error));
        const QString before = certificate.fingerprint();
        QVERIFY(!certificate.refresh());
        const auto later = [&file](int seconds) {
            QFile changed(file);
            return changed.open(QIODevice::ReadWrite) &&
                   changed.setFileTime(QDateTime::currentDateTime().addSecs(seconds),
                                       QFileDevice::FileModificationTime);
        };
        write(file, "half");
        QVERIFY(later(10));
        QVERIFY(!certificate.refresh()); // the one that was read goes on
        QCOMPARE(certificate.takeNotices().size(), 1);
        write(file, other);
        QVERIFY(later(20));
        QVERIFY(certificate.refresh());
        QVERIFY(certificate.fingerprint() != before);
    }

    void curlTrustsThePlayerByItsCertificate()
    {
        ServerFixture f;
        f.options.stateFolder = f.folder.filePath(text("state"));
        f.options.hasTls = true;
        f.start();
        const QString url = f.server->url();
        QVERIFY2(url.startsWith(text("https://127.0.0.1:")), qPrintable(url));
        const QString file = f.options.stateFolder + text("/certificate.pem");
        const QByteArray page = curl({text("--cacert"), file, url});
        QCOMPARE(page, QByteArray("<!doctype html>the panel"));
        const QByteArray access = curl({text("--cacert"), file, url + text("api/access")});
        QVERIFY2(access.contains(f.server->fingerprint().toLatin1()), access.constData());
        QVERIFY2(access.contains("\"readable\":false"), access.constData());
        QVERIFY(curl({url}).contains("certificate")); // a stranger's
        QVERIFY(!curl({text("--cacert"), file, text("-H"), text("Origin: http://127.0.0.1:%1").arg(f.port),
                       url + text("api/player")})
                     .contains("state"));
        // 32 streams of events and more are no matter, as without TLS.
        QCOMPARE(curl({text("--cacert"), file, text("-H"), text("Origin: https://127.0.0.1:%1").arg(f.port),
                       text("-H"), text("Content-Type: application/json"), text("-d"), text("{}"), text("-w"),
                       text("%{http_code}"), url + text("api/player/pause")}),
                 QByteArray("204"));
    }

    void oldVersionsAreNotSpoken_data()
    {
        QTest::addColumn<QString>("version");
        QTest::addColumn<bool>("isSpoken");
        QTest::newRow("1.0") << text("1.0") << false;
        QTest::newRow("1.1") << text("1.1") << false;
        QTest::newRow("1.2") << text("1.2") << true;
        QTest::newRow("1.3") << text("1.3") << true;
    }
    void oldVersionsAreNotSpoken()
    {
        QFETCH(QString, version);
        QFETCH(bool, isSpoken);
        ServerFixture f;
        f.options.stateFolder = f.folder.filePath(text("state"));
        f.options.hasTls = true;
        f.start();
        const QByteArray page = curl({text("-k"), text("--ciphers"), text("DEFAULT@SECLEVEL=0"),
                                      text("--tlsv") + version, text("--tls-max"), version, f.server->url()});
        QCOMPARE(page.contains("the panel"), isSpoken);
    }

    void plainHttpIsNotAnsweredInItsPlace()
    {
        ServerFixture f;
        f.options.stateFolder = f.folder.filePath(text("state"));
        f.options.hasTls = true;
        f.start();
        QCOMPARE(f.client().get("/api/player").status, 0);
        QVERIFY(curl({text("-k"), f.server->url()}).contains("the panel"));
    }

    void aRunningPlayerShowsTheNewCertificate()
    {
        ServerFixture f;
        qint64 nowMs = QDateTime::currentMSecsSinceEpoch();
        QStringList told;
        f.options.stateFolder = f.folder.filePath(text("state"));
        f.options.hasTls = true;
        f.options.limits.certificateLookMs = 10;
        f.options.wallClock = [&nowMs] { return nowMs; };
        f.options.tell = [&told](const QString& sentence) { told.append(sentence); };
        f.start();
        const QString file = f.options.stateFolder + text("/certificate.pem");
        const QString before = f.server->fingerprint();
        const QString old = f.folder.filePath(text("old.pem"));
        QVERIFY(QFile::copy(file, old));
        nowMs += qint64(Certificate::validDays - Certificate::renewedDaysBefore) * 24 * 3600 * 1000;
        QTRY_VERIFY(f.server->fingerprint() != before);
        QVERIFY2(told.value(0).contains(f.server->fingerprint()), qPrintable(told.value(0)));
        // Its beginning is in the future of this machine's clock, so that curl refuses it for that.
        QVERIFY(!curl({text("--cacert"), old, f.server->url()}).contains("the panel"));
        QVERIFY(curl({text("-k"), f.server->url()}).contains("the panel"));
    }

    void anInvalidCertificatePreventsTheStart()
    {
        ServerFixture f;
        f.options.certificateFile = f.folder.filePath(text("none.pem"));
        f.options.keyFile = f.options.certificateFile;
        QString error;
        QVERIFY(!PanelServer(f.options, f.engine.get()).start(&error));
        QVERIFY2(error.contains(text("none.pem cannot be used for TLS")), qPrintable(error));
    }
};

QTEST_GUILESS_MAIN(ServerTlsTest)
#include "server_tls_test.moc"
