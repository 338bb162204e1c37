#include "api/core/model/cmvalueitem.h"

#include "api/core/model/cmabstractworker.h"
#include "api/core/model/cmsubscribe.h"

CMValueItem::CMValueItem(QObject* parent, const CMPath& path)
    : QObject(parent)
    , m_path(path)
{
    // Subscribed before reading, so that a change in between is not missed.
    CMRoot()->subscribe(path)->add(CMSubscribe::Value, path, this, [this](const PelkValue& value) {
        m_value = value;
        Q_EMIT changed(m_value);
    });
    m_value = CMRoot()->getValue(path);
}
