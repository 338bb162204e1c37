#pragma once

#include "api/core/export.h"
#include "api/core/model/cmreply.h"
#include "api/types/cmpath.h"
#include "api/types/pelkrowsroles.h"

#include <QStringList>

/// The typed answer behind a CMReply<T>. T is a registered meta-type, by its own name.
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

    /// As value(), without a variant around it.
    T typedValue() const
    {
        waitForFinished(ULONG_MAX);
        const QMutexLocker locker(&m_mutex);
        return m_value;
    }

private:
    T m_value{};
};

/// A variant is stored as it is, not inside another one.
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

/// A shared handle to an asynchronous answer of type T.
template <typename T>
class CMReply : public CMVoidReply
{
public:
    CMReply() = default;
    explicit CMReply(CMReplyData<T>* data)
        : CMVoidReply(data)
    {
    }

    /// A reply that nobody has finished yet.
    static CMReply create() { return CMReply(new CMReplyData<T>); }
    /// The handle that a watcher was given, as what it is known to be. A watcher uses this one, since one
    /// that held a handle of its own would keep the answer alive for ever.
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

/// What the requests share: a handle to shared data, which copies of the request have in common with its
/// reply. Reading a request without data is the assertion "d()".
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

/// Asks for the rows `from` to `to`, both inclusive and counted from 0, of the container at a path.
class PELK_API_EXPORT CMGetRowsRequest : public CMRequest
{
public:
    CMGetRowsRequest() = default;
    /// `roles`: the keys of the values that each row shall carry, in this order. `rowsVersion`: the version
    /// of the list that the asker has seen last; it comes back with the rows.
    CMGetRowsRequest(const CMPath& path, int from, int to, const QStringList& roles, int rowsVersion = 0);

    int from() const { return data()->from; }
    int to() const { return data()->to; }
    const QStringList& roles() const { return data()->roles; }
    int rowsVersion() const { return data()->rowsVersion; }
    CMReply<PelkRowsRoles> reply() const { return typedReply<PelkRowsRoles>(); }
};

/// Asks for values of the node at a path. The reply is a list with one entry a role, invalid where the node
/// has no such value.
class PELK_API_EXPORT CMGetDataRequest : public CMRequest
{
public:
    CMGetDataRequest() = default;
    CMGetDataRequest(const CMPath& path, const QStringList& roles);

    const QStringList& roles() const { return data()->roles; }
    CMReply<QVariant> reply() const { return typedReply<QVariant>(); }
};

/// Sets one value of the node at a path. Unless its node says otherwise the reply is a list of two: the value
/// that is in force now, and whether it takes effect only after a restart of the player.
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
