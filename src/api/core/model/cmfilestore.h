#pragma once

#include "api/core/model/cmvaluestore.h"

#include <QFileDevice>

/// Saves values in one JSON file, an object with one key per path. The file is replaced as a whole, so it is
/// never partly written.
class PELK_API_EXPORT CMFileStore : public CMValueStore
{
public:
    /// Reads the file; a missing or empty file contains no values. `permissions`: of the written file. An
    /// unusable file is renamed with ".bad" appended, and notice() says so.
    CMFileStore(const QString& fileName, QFileDevice::Permissions permissions);

    /// A sentence about a problem while reading the file; empty if there was none.
    QString notice() const { return m_notice; }

    PelkValue read(const CMPath& path) const override;
    bool write(const CMPath& path, const PelkValue& value, QString* error) override;

protected:
    /// Removes all values, also on the disk; needs no free space. False, with a sentence, if the file still
    /// contains them.
    bool erase(QString* error);
    QString fileName() const { return m_fileName; }

private:
    void setAside(const QString& reason);

    QString m_fileName;
    QFileDevice::Permissions m_permissions;
    QString m_notice;
    QVariantHash m_values;
};
