#pragma once

#include "api/core/model/cmvaluestore.h"

#include <QFileDevice>

/// Keeps values in one JSON file, an object with one key a path. The file is replaced as a whole, so it is
/// never half written.
class PELK_API_EXPORT CMFileStore : public CMValueStore
{
public:
    /// Reads the file; one that is not there, or is empty, holds no values. `permissions`: what the file is
    /// written with. A file that cannot be used is set aside with ".bad" behind its name, and notice() says
    /// so.
    CMFileStore(const QString& fileName, QFileDevice::Permissions permissions);

    /// A sentence about what went wrong when the file was read; empty if nothing did.
    QString notice() const { return m_notice; }

    PelkValue read(const CMPath& path) const override;
    bool write(const CMPath& path, const PelkValue& value, QString* error) override;

protected:
    /// Forgets all values, and leaves none of them on the disk: needs no free space. False, with a sentence,
    /// when the file still holds what it held.
    bool erase(QString* error);
    QString fileName() const { return m_fileName; }

private:
    void setAside(const QString& reason);

    QString m_fileName;
    QFileDevice::Permissions m_permissions;
    QString m_notice;
    QVariantHash m_values;
};
