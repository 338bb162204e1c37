#pragma once

#include "api/core/export.h"
#include "api/core/model/cmreply.h"
#include "api/types/cmpath.h"
#include "api/types/pelkrowsroles.h"

#include <QStringList>

/// The typed state of a CMReply<T>. T must be registered as a meta-type under its own name.
template <typename T>
class CMReplyData : public CMReplyAbstractData
{
public:
    QVariant value() const override { return QVariant::fromValue(typedValue()); }

    void setValue(const QVariant& value) override
    {
        if (value.userType() == qMetaTypeId<T>()) {
            setValue(*static_cast<const T*>(value.constData()));
            return;
        }
        QVariant converted(value);
        converted.convert(qMetaTypeId<T>()); // a record is converted from a hash
        setValue(converted.value<T>());
    }

    void setValue(const T& value)
    {
        complete([this, &value] { m_value = value; });
    }

    /// Like value(), without a variant around it.
    T typedValue() const
    {
        waitForFinished(ULONG_MAX);
        const QMutexLocker locker(&m_mutex);
        return m_value;
    }

private:
    T m_value{};
};

/// A variant is stored directly, not inside another one.
template <>
class CMReplyData<QVariant> : public CMReplyAbstractData
{
public:
    QVariant value() const override { return typedValue(); }
    void setValue(const QVariant& value) override
    {
        complete([this, &value] { m_value = value; });
    }
    QVariant typedValue() const
    {
        waitForFinished(ULONG_MAX);
        const QMutexLocker locker(&m_mutex);
        return m_value;
    }

private:
    QVariant m_value;
};

/// A shared handle to a reply of type T.
template <typename T>
class CMReply : public CMVoidReply
{
public:
    CMReply() = default;
    explicit CMReply(CMReplyData<T>* data)
        : CMVoidReply(data)
    {
    }

    /// Creates an unfinished reply.
    static CMReply create() { return CMReply(new CMReplyData<T>); }
    /// Casts the handle that a watcher receives. Use it in watchers: a watcher that stored its own handle
    /// would keep the reply alive for ever.
    static CMReply from(const CMVoidReply& reply) { return CMReply(static_cast<CMReplyData<T>*>(reply.d())); }

    CMReplyData<T>* data() const { return static_cast<CMReplyData<T>*>(d()); }
    /// Waits without limit for the reply to finish; the value, or a default one after an error.
    T value() const
    {
        Q_ASSERT(d());
        return data()->typedValue();
    }
    void setValue(const T& value) const
    {
        Q_ASSERT(d());
        data()->setValue(value);
    }
};

/// Base of the requests: a handle to shared data, which includes the reply. Reading a request without data
/// triggers the assertion "d()".
class PELK_API_EXPORT CMRequest
{
public:
    enum Kind
    {
        GetRows,
        GetData,
        SetData
    };

    Kind kind() const { return data()->kind; }
    const CMPath& path() const { return data()->path; }
    /// The reply, whatever its type.
    CMVoidReply reply() const { return data()->reply; }

protected:
    struct Data : QSharedData
    {
        Kind kind = GetRows;
        CMPath path;
        QStringList roles;   // rows and get-data
        int from = 0;        // rows
        int to = 0;          // rows
        int rowsVersion = 0; // rows
        QString role;        // set-data
        QVariant value;      // set-data
        CMVoidReply reply;   // of the type that the kind names
    };

    CMRequest() = default;
    explicit CMRequest(Data* data)
        : m_d(data)
    {
    }
    const Data* d() const { return m_d.data(); }
    const Data* data() const
    {
        Q_ASSERT(d());
        return d();
    }
    template <typename T>
    CMReply<T> typedReply() const
    {
        return CMReply<T>::from(data()->reply);
    }

private:
    QExplicitlySharedDataPointer<Data> m_d;
};

/// Requests the rows `from` to `to`, both inclusive and counted from 0, of the container at a path.
class PELK_API_EXPORT CMGetRowsRequest : public CMRequest
{
public:
    CMGetRowsRequest() = default;
    /// `roles`: the keys of the values in each row, in this order. `rowsVersion`: the version of the list
    /// that the caller has seen last; returned with the rows.
    CMGetRowsRequest(const CMPath& path, int from, int to, const QStringList& roles, int rowsVersion = 0);

    int from() const { return data()->from; }
    int to() const { return data()->to; }
    const QStringList& roles() const { return data()->roles; }
    int rowsVersion() const { return data()->rowsVersion; }
    CMReply<PelkRowsRoles> reply() const { return typedReply<PelkRowsRoles>(); }
};

/// Gets values of the node at a path. The reply is a list with one entry per role, invalid if the node has no
/// such value.
class PELK_API_EXPORT CMGetDataRequest : public CMRequest
{
public:
    CMGetDataRequest() = default;
    CMGetDataRequest(const CMPath& path, const QStringList& roles);

    const QStringList& roles() const { return data()->roles; }
    CMReply<QVariant> reply() const { return typedReply<QVariant>(); }
};

/// Sets one value of the node at a path. Unless the node defines another reply, it is a list of two: the new
/// value, and whether it takes effect only after a restart of the player.
class PELK_API_EXPORT CMSetDataRequest : public CMRequest
{
public:
    CMSetDataRequest() = default;
    CMSetDataRequest(const CMPath& path, const QString& role, const QVariant& value);

    const QString& role() const { return data()->role; }
    const QVariant& value() const { return data()->value; }
    CMReply<QVariant> reply() const { return typedReply<QVariant>(); }
};

Q_DECLARE_METATYPE(CMGetRowsRequest)
Q_DECLARE_METATYPE(CMGetDataRequest)
Q_DECLARE_METATYPE(CMSetDataRequest)
