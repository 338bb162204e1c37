#include "api/types/playerpaths.h"
#include "api/types/qobuzpaths.h"
#include "player/host/Host.h"
#include "tests/support/figures.h"
#include "tests/support/ownprocess.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>
#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// The saved values: each kind counts up, and every part of a value contains the count.
enum Kind
{
    Settings,
    Session,
    Quality
};
constexpr int kinds = 3;
constexpr int qualities = 4;
// A name as long as this makes the login file several blocks of a disk.
constexpr int longNameSize = 20000;

CMPath pathOf(Kind kind)
{
    return kind == Settings  ? PelkQobuzSettingsPath()
           : kind == Session ? PelkQobuzUserSessionPath()
                             : PelkQobuzSoundQualityPath();
}

PelkValue valueOf(Kind kind, int count)
{
    PelkValue value;
    if (kind == Settings) {
        PelkQobuzSettings settings;
        settings.setApiUrl(QStringLiteral("http://127.0.0.1/%1/").arg(count));
        settings.setAppId(QString::number(count));
        settings.setAppSecret(QStringLiteral("secret-%1").arg(count));
        value.setQobuzSettings(settings);
    } else if (kind == Session) {
        PelkQobuzUserSession session;
        session.setUserName(QString(longNameSize, QLatin1Char('u')) + QString::number(count));
        session.setUserAuthToken(QStringLiteral("token-%1").arg(count));
        session.setUserId(unsigned(count));
        value.setQobuzUserSession(session);
    } else {
        value.setQobuzSoundQuality(static_cast<PelkQobuzSoundQuality::Enum>(count % qualities));
    }
    return value;
}

/// The count that a value carries; that of the quality is known up to a multiple of four.
int countOf(Kind kind, const PelkValue& value)
{
    return kind == Settings  ? value.qobuzSettings().appId().toInt()
           : kind == Session ? int(value.qobuzUserSession().userId())
                             : int(value.qobuzSoundQuality());
}

/// Whether every part of a value carries the same count; a login that was never saved is whole, too.
bool isWhole(Kind kind, const PelkValue& value)
{
    const PelkValue whole = valueOf(kind, countOf(kind, value));
    if (kind == Session)
        return value.isEmpty() ||
               (value.qobuzUserSession().userName() == whole.qobuzUserSession().userName() &&
                value.qobuzUserSession().userAuthToken() == whole.qobuzUserSession().userAuthToken());
    return value == whole;
}

void tell(const QByteArray& line)
{
    // One call, so that a line is written completely or not at all.
    if (::write(STDOUT_FILENO, line.constData(), size_t(line.size())) != line.size())
        ::_exit(4);
}

void setNext(Kind kind, int count)
{
    const CMReply<QVariant> reply = CMReply<QVariant>::create();
    reply.addWatcher([kind, count](const CMVoidReply& finished) {
        if (finished.error().isSet())
            tell("failed " + finished.error().message().toString().toUtf8() + '\n');
        else
            tell("saved " + QByteArray::number(kind) + ' ' + QByteArray::number(count) + '\n');
        setNext(kind, count + 1);
    });
    CMRoot()->setValue(pathOf(kind), valueOf(kind, count), reply);
}

/// The process that is killed: prints what it reads, and then saves for ever. The argument contains the
/// counts from which to continue.
int saveForEver(const QString& counts)
{
    Host host([](const PelkNotificationDisplayItem&) {});
    QString error;
    if (!host.loadSettings(Host::defaultConfigFile(), &error)) {
        tell("failed " + error.toUtf8() + '\n');
        return 3;
    }
    QByteArray line = "read";
    for (int kind = 0; kind < kinds; ++kind) {
        const PelkValue value = CMRoot()->getValue(pathOf(Kind(kind)));
        line += ' ' + (isWhole(Kind(kind), value) ? QByteArray::number(countOf(Kind(kind), value))
                                                  : QByteArrayLiteral("mixed"));
    }
    tell(line + '\n');
    const QStringList from = counts.split(QLatin1Char(','));
    for (int kind = 0; kind < kinds; ++kind)
        setNext(Kind(kind), from.at(kind).toInt() + 1);
    return QCoreApplication::exec();
}

} // namespace

class KilledWhileSavingTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString configFile() const { return m_dir.filePath(QStringLiteral("pelk/pelk.ini")); }
    QString loginFile() const { return m_dir.filePath(QStringLiteral("pelk/session.json")); }

    static QByteArray contents(const QString& name)
    {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    static int mode(const QString& name)
    {
        struct stat status = {};
        return ::stat(QFile::encodeName(name).constData(), &status) == 0 ? int(status.st_mode & 07777) : -1;
    }

    bool hasUnnamedFiles() const
    {
        const int file = ::open(QFile::encodeName(m_dir.path()).constData(), O_TMPFILE | O_WRONLY, 0600);
        if (file >= 0)
            ::close(file);
        return file >= 0;
    }

    std::unique_ptr<QProcess> start(const QVector<int>& counts) const
    {
        auto process = std::make_unique<QProcess>();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.path());
        environment.insert(QStringLiteral("XDG_STATE_HOME"), m_dir.path());
        process->setProcessEnvironment(environment);
        const QString argument =
            QStringLiteral("%1,%2,%3").arg(counts.at(0)).arg(counts.at(1)).arg(counts.at(2));
        process->start(QCoreApplication::applicationFilePath(), {QStringLiteral("--play"), argument});
        return process;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("pelk")));
        QFile file(configFile());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("# mine\n[qobuz]\napiUrl=http://127.0.0.1/0/\nappId=0\nappSecret=secret-0\n"
                   "soundQuality=mp3\n");
    }

    void nothingThatWasAcknowledgedIsLostAndNothingIsBroken()
    {
        constexpr int rounds = 200;
        constexpr quint32 seed = 20240917;
        constexpr int mostLeftOver = 30; // 2 to 7 as a rule, by how fast the machine is
        constexpr int mostSaves = 12;
        constexpr int mostMicroseconds = 3000;
        QRandomGenerator random(seed);
        QVector<int> acknowledged(kinds, 0);
        int saves = 0;
        for (int round = 0; round < rounds; ++round) {
            const std::unique_ptr<QProcess> process = start(acknowledged);
            // Killed so many saves after the start, and a moment later, in the middle of the next one.
            const int after = random.bounded(mostSaves);
            const int moment = random.bounded(mostMicroseconds);
            QList<QByteArray> lines;
            while (lines.size() <= after) {
                QVERIFY2(process->canReadLine() || process->waitForReadyRead(20000),
                         (process->readAllStandardError() + lines.join()).constData());
                while (process->canReadLine())
                    lines << process->readLine();
            }
            QElapsedTimer timer;
            for (timer.start(); timer.nsecsElapsed() < moment * 1000;) {
            }
            process->kill();
            QVERIFY(process->waitForFinished(20000));
            QCOMPARE(process->exitStatus(), QProcess::CrashExit);
            lines << process->readAllStandardOutput().split('\n');
            QCOMPARE(process->readAllStandardError(), QByteArray());

            const QList<QByteArray> read = lines.takeFirst().trimmed().split(' ');
            const QByteArray where = "round " + QByteArray::number(round) + ": read \"" + read.join(' ') +
                                     "\" after " + QByteArray::number(acknowledged.at(0)) + ' ' +
                                     QByteArray::number(acknowledged.at(1)) + ' ' +
                                     QByteArray::number(acknowledged.at(2)) + " had been acknowledged";
            QCOMPARE(read.size(), 1 + kinds);
            for (int kind = 0; kind < kinds; ++kind) {
                bool isNumber = false;
                const int count = read.at(1 + kind).toInt(&isNumber);
                QVERIFY2(isNumber, where.constData());
                // The last value, or the next one, which was being saved.
                const int period = kind == Quality ? qualities : std::numeric_limits<int>::max();
                QVERIFY2(count == acknowledged.at(kind) % period ||
                             count == (acknowledged.at(kind) + 1) % period,
                         where.constData());
            }
            for (const QByteArray& line : qAsConst(lines)) {
                const QList<QByteArray> words = line.trimmed().split(' ');
                QVERIFY2(words.size() != 1 || words.first().isEmpty(), line.constData());
                if (words.size() == 1)
                    continue;
                QVERIFY2(words.first() == "saved" && words.size() == 3, line.constData());
                acknowledged[words.at(1).toInt()] = words.at(2).toInt();
                ++saves;
            }

            QVERIFY(contents(configFile()).startsWith("# mine\n[qobuz]\n"));
            QJsonParseError error{};
            QVERIFY(QJsonDocument::fromJson(contents(loginFile()), &error).isObject() ||
                    acknowledged.at(Session) == 0);
            QCOMPARE(mode(loginFile()), acknowledged.at(Session) == 0 ? mode(loginFile()) : 0600);
            QCOMPARE(mode(configFile()), 0600);
        }
        // A new file has no name until it is complete, and then briefly another name.
        const int leftOver =
            int(QDir(m_dir.filePath(QStringLiteral("pelk"))).entryList(QDir::Files | QDir::Hidden).size()) -
            2;
        if (hasUnnamedFiles())
            QVERIFY2(leftOver <= mostLeftOver, qPrintable(QString::number(leftOver)));
        else
            printFigures("This file system has no files without a name, so that killing leaves some behind.");
        printFigures("killed %d times while saving (seed %u): %d saves were acknowledged, none was lost; %d "
                     "unfinished files were left",
                     rounds, seed, saves, leftOver);
    }
};

int main(int argc, char** argv)
{
    return OwnProcess::main<KilledWhileSavingTest>(argc, argv, &saveForEver);
}
#include "killed_while_saving_test.moc"
