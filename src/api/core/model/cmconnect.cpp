#include "api/core/model/cmconnect.h"

bool verifyConnectionSignalParameters(const QObject* sender, const QMetaMethod& signal,
                                      const QObject* receiver, Qt::ConnectionType /*type*/)
{
    if (sender->thread() == receiver->thread())
        return true;
    const QList<QByteArray> names = signal.parameterTypes();
    for (int i = 0; i < names.size(); ++i)
        if (signal.parameterType(i) == QMetaType::UnknownType && !names.at(i).endsWith('*'))
            return false;
    return true;
}
