#pragma once

#include "api/core/export.h"
#include "api/core/model/cmrequest.h"
#include "api/types/pelkvalue.h"

#include <QObject>

class CMSubscribe;

/// Something that answers requests of the content model. The request operations and getValue() may be called
/// from any thread and return at once; the outcome comes through the reply.
class PELK_API_EXPORT CMAbstractWorker : public QObject
{
    Q_OBJECT

public:
    explicit CMAbstractWorker(QObject* parent = nullptr)
        : QObject(parent)
    {
    }

    virtual void getRowsRequest(const CMGetRowsRequest& request) = 0;
    virtual void getDataRequest(const CMGetDataRequest& request) = 0;
    virtual void setDataRequest(const CMSetDataRequest& request) = 0;

    /// Reads a value; an empty one where there is none. Does not block.
    virtual PelkValue getValue(const CMPath& path) = 0;
    /// Writes a value: it can be read when this returns. Everything that follows (saving, subscribers, the
    /// reply) is queued, since the caller may hold a lock; the reply finishes once the value is kept.
    virtual void setValue(const CMPath& path, const PelkValue& value, const CMReply<QVariant>& reply) = 0;
    /// Calls the operation at a path.
    virtual void invoke(const CMPath& path, const PelkHash& arguments, const CMReply<QVariant>& reply) = 0;
    /// Where changes at a path are published. Not owned.
    virtual CMSubscribe* subscribe(const CMPath& path) = 0;
};

/// The root worker, through which everything in the content model is reached. Not null while the player runs.
PELK_API_EXPORT CMAbstractWorker* CMRoot();
