#pragma once

#include "api/core/export.h"

#include <QMetaMethod>
#include <QObject>

/// Whether every parameter of a signal can cross threads in a queued call, as it must where sender and
/// receiver live on different ones: each type has to be a registered meta-type, pointers excepted. The
/// connection's type does not matter: the receiver may be connected in another way later.
PELK_API_EXPORT bool verifyConnectionSignalParameters(const QObject* sender, const QMetaMethod& signal,
                                                      const QObject* receiver, Qt::ConnectionType type);

/// A connection that must succeed: a failure is a programming error and triggers an assertion.
template <typename Sender, typename Signal, typename Receiver, typename Slot>
void cmConnect(const Sender* sender, Signal signalFunction, const Receiver* receiver, Slot slot,
               Qt::ConnectionType type = Qt::AutoConnection)
{
    const QMetaMethod signal = QMetaMethod::fromSignal(signalFunction);
    Q_ASSERT(verifyConnectionSignalParameters(sender, signal, receiver, type));
    const QMetaObject::Connection connection = QObject::connect(sender, signalFunction, receiver, slot, type);
    Q_ASSERT(connection);
}
