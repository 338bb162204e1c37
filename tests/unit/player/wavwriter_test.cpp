#include "player/play/WavWriter.h"

#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>
#include <sys/resource.h>

#include <csignal>

namespace {

constexpr PcmFormat cd{44100, 2, 16};

QByteArray contents(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// As if the disk were full, for as long as it lives: files of this process cannot grow.
class FullDisk
{
public:
    FullDisk()
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit none = {0, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &none);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &m_before); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit m_before = {};
};

} // namespace

class WavWriterTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_name;
    QString m_error;

private Q_SLOTS:
    void init()
    {
        m_name = m_dir.filePath(QStringLiteral("a.wav"));
        QFile::remove(m_name);
    }

    void theHeaderContainsFormatAndSize()
    {
        WavWriter writer(m_name);
        QVERIFY(writer.open(&m_error));
        QVERIFY(writer.write({96000, 1, 24}, "abcdef", 6, &m_error));
        QVERIFY(writer.write({96000, 1, 24}, "ghi", 3, &m_error));
        QVERIFY(writer.finish(&m_error));
        const QByteArray file = contents(m_name);
        QCOMPARE(file.left(4), QByteArray("RIFF"));
        QCOMPARE(file.mid(8, 8), QByteArray("WAVEfmt "));
        const auto number = [&file](int at) { return qFromLittleEndian<quint32>(file.constData() + at); };
        const auto shortNumber = [&file](int at) {
            return qFromLittleEndian<quint16>(file.constData() + at);
        };
        QCOMPARE(number(4), quint32(file.size() - 8));
        QCOMPARE(number(16), 16U);
        QCOMPARE(int(shortNumber(20)), 1);
        QCOMPARE(int(shortNumber(22)), 1);
        QCOMPARE(number(24), 96000U);
        QCOMPARE(number(28), 288000U);
        QCOMPARE(int(shortNumber(32)), 3);
        QCOMPARE(int(shortNumber(34)), 24);
        QCOMPARE(file.mid(36, 4), QByteArray("data"));
        QCOMPARE(number(40), 9U);
        // A chunk of odd length is filled up.
        QCOMPARE(file.mid(44), QByteArray("abcdefghi\0", 10));
    }

    void moreThanTheLimitIsLeftOut()
    {
        WavWriter writer(m_name);
        writer.setLimit(1);
        QVERIFY(writer.open(&m_error));
        const QByteArray sound(3 * 44100, 'x');
        QVERIFY(writer.write(cd, sound.constData(), sound.size(), &m_error));
        QVERIFY(writer.write(cd, sound.constData(), sound.size(), &m_error));
        QVERIFY(writer.write(cd, sound.constData(), sound.size(), &m_error));
        QCOMPARE(writer.milliseconds(), 1000);
        QVERIFY(writer.finish(&m_error));
        QCOMPARE(contents(m_name).size(), 44 + 4 * 44100);
    }

    void withoutSoundTheOldFileStays()
    {
        QFile file(m_name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("dear");
        file.close();
        {
            WavWriter writer(m_name);
            QVERIFY(writer.open(&m_error));
            QVERIFY(writer.finish(&m_error));
        }
        QCOMPARE(contents(m_name), QByteArray("dear"));
        QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    }

    void aFullDiskIsReportedAndTheOldFileStays()
    {
        QFile file(m_name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("dear");
        file.close();
        bool finished = true;
        {
            WavWriter writer(m_name);
            QVERIFY(writer.open(&m_error));
            QVERIFY(writer.write(cd, "four", 4, &m_error));
            const FullDisk full;
            finished = writer.finish(&m_error);
        }
        QVERIFY(!finished);
        QCOMPARE(m_error, QStringLiteral("%1 cannot be written: File too large.").arg(m_name));
        QCOMPARE(contents(m_name), QByteArray("dear"));
    }

    void anUnwritableTargetIsReported()
    {
        WavWriter writer(QStringLiteral("/nowhere/a.wav"));
        QVERIFY(!writer.open(&m_error));
        QCOMPARE(m_error, QStringLiteral("/nowhere/a.wav cannot be written: No such file or directory."));
    }
};

QTEST_GUILESS_MAIN(WavWriterTest)
#include "wavwriter_test.moc"
