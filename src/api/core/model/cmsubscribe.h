#pragma once

#include "api/core/export.h"
#include "api/types/cmpath.h"
#include "api/types/pelkvalue.h"

#include <QList>
#include <QMutex>
#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>

/// Who wants to hear when something at a path changes. Every operation may be called from any thread.
class PELK_API_EXPORT CMSubscribe : public QObject
{
    Q_OBJECT

public:
    enum Kind
    {
        Value,
        Data,
        Rows
    };
    Q_ENUM(Kind)
    using Callback = std::function<void(const PelkValue&)>;

    CMSubscribe() = default;
    ~CMSubscribe() override;

    /// From now on `callback` is called, queued on the thread that `context` lives on, for every change of
    /// this kind at the path. Ends when the context goes. Of several changes each is told, in order.
    void add(Kind kind, const CMPath& path, QObject* context, const Callback& callback);
    /// Ends what `context` subscribed to.
    void remove(QObject* context);

    /// Tells the subscribers. `value` is the new value where the kind is Value, and else empty.
    void publish(Kind kind, const CMPath& path, const PelkValue& value = PelkValue());

Q_SIGNALS:
    /// A path has its first subscriber, or its last one has gone.
    void subscribed(CMSubscribe::Kind kind, const CMPath& path);
    void unsubscribed(CMSubscribe::Kind kind, const CMPath& path);

private:
    struct Subscriber
    {
        Kind kind;
        CMPath path;
        QObject* context;
        // Lives on the context's thread and goes with it; what is queued to it goes too.
        std::shared_ptr<QObject> receiver;
        Callback callback;
    };

    bool isWatched(Kind kind, const CMPath& path) const;

    mutable QMutex m_mutex;
    QList<Subscriber> m_subscribers;
};
