#include "player/content/WhenFinished.h"

#include "player/content/ContentClient.h"

#include <QPointer>
#include <QTimer>

void whenFinished(QObject* context, const CMVoidReply& reply, const CMPath& path,
                  const std::function<void(const CMVoidReply& finished, const CMError& error)>& done)
{
    // The first of reply and time-out deletes the timer, which disables the other.
    const QPointer<QTimer> timer(new QTimer(context));
    timer->setSingleShot(true);
    QObject::connect(timer, &QTimer::timeout, context, [timer, path, done] {
        timer->deleteLater();
        done(CMVoidReply(), CMError(ContentClient::noAnswer(path)));
    });
    timer->start(ContentClient::timeoutMs);
    reply.addWatcher([timer, done](const CMVoidReply& finished) {
        if (!timer || !timer->isActive())
            return;
        timer->stop();
        timer->deleteLater();
        done(finished, finished.error());
    });
}
