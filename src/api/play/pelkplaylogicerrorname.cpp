#include "api/play/pelkplaylogicerrorname.h"

QString PelkPlaylogicErrorName::PelkPlaylogicUserSkip()
{
    return QStringLiteral("userSkip");
}

QString PelkPlaylogicErrorName::PelkPlaylogicUserStop()
{
    return QStringLiteral("userStop");
}

QString PelkPlaylogicErrorName::PelkPlaylogicResolveFailed()
{
    return QStringLiteral("resolveFailed");
}

QString PelkPlaylogicErrorName::PelkPlaylogicStreamFailed()
{
    return QStringLiteral("streamFailed");
}
