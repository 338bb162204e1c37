#include "api/core/model/cmconnect.h"

bool verifyConnectionSignalParameters(const QObject* sender, const QMetaMethod& signal,
                                      const QObject* receiver, Qt::ConnectionType type)
{
    const bool crosses = sender->thread() != receiver->thread() || type == Qt::QueuedConnection;
    if (!crosses || type == Qt::DirectConnection)
        return true;
    const QList<QByteArray> names = signal.parameterTypes();
    for (int i = 0; i < names.size(); ++i)
        if (signal.parameterType(i) == QMetaType::UnknownType && !names.at(i).endsWith('*'))
            return false;
    return true;
}
