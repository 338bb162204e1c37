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

/// Subscriptions to changes at paths. Any thread.
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

    /// Calls `callback`, queued to the thread of `context`, for every change of this kind at the path, in
    /// order. Ends when `context` is deleted.
    void add(Kind kind, const CMPath& path, QObject* context, const Callback& callback);
    /// Ends the subscriptions of `context`.
    void remove(QObject* context);

    /// Notifies the subscribers. `value`: the new value for the kind Value, otherwise empty.
    void publish(Kind kind, const CMPath& path, const PelkValue& value = PelkValue());

Q_SIGNALS:
    /// A path has its first subscriber or has lost its last one.
    void subscribed(CMSubscribe::Kind kind, const CMPath& path);
    void unsubscribed(CMSubscribe::Kind kind, const CMPath& path);

private:
    struct Subscriber
    {
        Kind kind;
        CMPath path;
        QObject* context;
        // Lives on the context's thread and is deleted with the context, together with the calls queued to
        // it.
        std::shared_ptr<QObject> receiver;
        Callback callback;
    };

    bool isWatched(Kind kind, const CMPath& path) const;

    mutable QMutex m_mutex;
    QList<Subscriber> m_subscribers;
};
