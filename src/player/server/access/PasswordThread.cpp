#include "player/server/access/PasswordThread.h"

#include "player/server/access/Secrets.h"

PasswordThread::PasswordThread()
{
    m_place.moveToThread(&m_thread);
    m_thread.setObjectName(QStringLiteral("passwords"));
}

PasswordThread::~PasswordThread()
{
    m_ending = true;
    m_thread.quit();
    m_thread.wait();
}

void PasswordThread::check(const QString& password, const QByteArray& hash,
                           const std::function<void(bool)>& done)
{
    run([=] {
        const bool isRight = Secrets::isPassword(password, hash);
        return [=] { done(isRight); };
    });
}

void PasswordThread::hash(const QString& password, const std::function<void(const QByteArray&)>& done)
{
    run([=] {
        const QByteArray hash = Secrets::passwordHash(password);
        return [=] { done(hash); };
    });
}

void PasswordThread::run(const std::function<std::function<void()>()>& work)
{
    if (!m_thread.isRunning()) // nobody logs in on most days
        m_thread.start();
    QMetaObject::invokeMethod(
        &m_place,
        [this, work] {
            if (!m_ending)
                QMetaObject::invokeMethod(this, work(), Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
}
