#pragma once

#include "api/core/export.h"
#include "api/types/cmpath.h"
#include "api/types/pelkvalue.h"

#include <QObject>

/// Mirrors one value of the content model for an object that uses it. Lives on one thread and is used there.
class PELK_API_EXPORT CMValueItem : public QObject
{
    Q_OBJECT

public:
    /// Reads the value through the root worker at once and follows it from then on.
    CMValueItem(QObject* parent, const CMPath& path);

    CMPath path() const { return m_path; }
    PelkValue value() const { return m_value; }

Q_SIGNALS:
    /// The value has changed; emitted through the event loop of the item's thread.
    void changed(const PelkValue& value);

private:
    CMPath m_path;
    PelkValue m_value;
};
