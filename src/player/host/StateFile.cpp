#include "player/host/StateFile.h"

#include "api/core/json/pelkjson.h"
#include "api/core/model/cmreadfile.h"
#include "api/core/model/cmsavefile.h"

#include <QCoreApplication>
#include <QFile>
#include <QThread>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

const QString concernKey = QStringLiteral("concern");
const QString versionKey = QStringLiteral("version");
const QString dataKey = QStringLiteral("data");

constexpr QFileDevice::Permissions ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

/// One thread for all files: writes are rare, and are done in their order.
class WritingThread
{
public:
    WritingThread()
    {
        m_place.moveToThread(&m_thread);
        m_thread.start();
    }
    ~WritingThread()
    {
        m_thread.quit();
        m_thread.wait();
    }

    template <typename Function>
    void start(Function function)
    {
        QMetaObject::invokeMethod(&m_place, function, Qt::QueuedConnection);
    }
    void waitForDone()
    {
        QMetaObject::invokeMethod(
            &m_place, [] {}, Qt::BlockingQueuedConnection);
    }

private:
    QThread m_thread;
    QObject m_place;
};

WritingThread* writingThread()
{
    static WritingThread thread;
    return &thread;
}

bool isAnotherUsers(const QString& fileName)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(fileName).constData(), &status) == 0 && status.st_uid != ::geteuid();
}

} // namespace

StateFile::StateFile(const QString& fileName, const QString& concern, int version, QObject* parent)
    : QObject(parent)
    , m_fileName(fileName)
    , m_concern(concern)
    , m_version(version)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &StateFile::write);
}

StateFile::~StateFile()
{
    finish();
}

PelkHash StateFile::read()
{
    QByteArray text;
    QString reason;
    const CMReadFile outcome = cmReadFile(m_fileName, maximumSizeBytes, &text, &reason);
    if (outcome == CMReadFile::Missing)
        return PelkHash();
    if (outcome == CMReadFile::Failed) {
        setAside(reason);
        return PelkHash();
    }
    if (isAnotherUsers(m_fileName)) {
        setAside(QStringLiteral("it belongs to another user"));
        return PelkHash();
    }
    PelkError error;
    const PelkHash file = PelkHash::fromVariant(PelkJson::parse(text, error));
    const int version = file.value(versionKey).toInt();
    if (!error.isEmpty() || file.text(concernKey) != m_concern || version < 1 || !file.contains(dataKey)) {
        setAside(QStringLiteral("it is incomplete or damaged"));
        return PelkHash();
    }
    if (version > m_version) {
        setAside(QStringLiteral("it was written by a later version of the player"));
        return PelkHash();
    }
    return file.record(dataKey);
}

/// Uses a free name, so that files renamed by earlier starts are kept.
void StateFile::setAside(const QString& reason)
{
    QString aside = m_fileName + QStringLiteral(".bad");
    for (int i = 2; i < 100 && QFile::exists(aside); ++i)
        aside = QStringLiteral("%1.bad-%2").arg(m_fileName).arg(i);
    const bool isAside =
        ::rename(QFile::encodeName(m_fileName).constData(), QFile::encodeName(aside).constData()) == 0;
    m_notice =
        (isAside
             ? QStringLiteral("%1 cannot be used: %2. It was renamed to %3; the player starts without it.")
                   .arg(m_fileName, reason, aside)
             : QStringLiteral("%1 cannot be used: %2. The player starts without it.")
                   .arg(m_fileName, reason));
}

void StateFile::save(const Copier& copier)
{
    m_waiting = copier;
    if (m_timer.isActive() || m_isWriting)
        return;
    const qint64 since = m_sinceWrite.isValid() ? m_sinceWrite.elapsed() : intervalMs;
    m_timer.start(int(qMax<qint64>(0, intervalMs - since)));
}

QByteArray StateFile::whole(const Writer& writer) const
{
    QByteArray text = "{\"concern\":" + PelkJson::serialize(m_concern) +
                      ",\"version\":" + QByteArray::number(m_version) + ",\"data\":";
    writer(&text);
    text += "}\n";
    return text;
}

void StateFile::write()
{
    m_isWriting = true;
    m_sinceWrite.start();
    const Writer writer = m_waiting();
    m_waiting = Copier();
    writingThread()->start([this, writer] {
        QString reason;
        const bool isDone = cmSaveFile(m_fileName, whole(writer), ownerOnly, &reason);
        // The destructor waits for the thread, so this object still exists.
        QMetaObject::invokeMethod(
            this,
            [this, isDone, reason] {
                m_isWriting = false;
                if (!isDone && !m_hasFailed)
                    Q_EMIT failed(QStringLiteral("%1 cannot be written: %2.").arg(m_fileName, reason));
                m_hasFailed = !isDone;
                if (m_waiting)
                    save(m_waiting);
                else
                    Q_EMIT settled();
            },
            Qt::QueuedConnection);
    });
}

void StateFile::flush()
{
    finish();
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
}

void StateFile::drop()
{
    m_timer.stop();
    m_waiting = Copier();
}

void StateFile::finish()
{
    m_timer.stop();
    writingThread()->waitForDone();
    if (m_waiting)
        write();
    writingThread()->waitForDone();
}

bool StateFile::saveNow(const Writer& writer, QString* error)
{
    QString reason;
    if (cmSaveFile(m_fileName, whole(writer), ownerOnly, &reason))
        return true;
    *error = QStringLiteral("%1 cannot be written: %2.").arg(m_fileName, reason);
    return false;
}

bool StateFile::remove(QString* error)
{
    drop();
    writingThread()->waitForDone();
    if (::unlink(QFile::encodeName(m_fileName).constData()) == 0 || errno == ENOENT)
        return true;
    *error = QStringLiteral("%1 cannot be removed: %2.")
                 .arg(m_fileName, QString::fromLocal8Bit(std::strerror(errno)));
    return false;
}
