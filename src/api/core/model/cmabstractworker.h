#pragma once

#include "api/core/export.h"
#include "api/core/model/cmrequest.h"
#include "api/types/pelkvalue.h"

#include <QObject>

class CMSubscribe;

/// Answers requests of the content model. The request operations and getValue() may be called on any thread
/// and return at once; the reply contains the outcome.
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

    /// Reads a value; empty if there is none. Does not block.
    virtual PelkValue getValue(const CMPath& path) = 0;
    /// Writes a value, which can be read when this returns. Saving, subscribers and the reply are queued,
    /// because the caller may hold a lock; the reply finishes when the value is saved.
    virtual void setValue(const CMPath& path, const PelkValue& value, const CMReply<QVariant>& reply) = 0;
    /// Calls the operation at a path.
    virtual void invoke(const CMPath& path, const PelkHash& arguments, const CMReply<QVariant>& reply) = 0;
    /// The publisher of changes at a path. Not owned.
    virtual CMSubscribe* subscribe(const CMPath& path) = 0;
};

/// The root worker, the entry point to the content model. Not null while the player runs.
PELK_API_EXPORT CMAbstractWorker* CMRoot();
