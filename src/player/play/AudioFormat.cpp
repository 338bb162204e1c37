#include "player/play/AudioFormat.h"

#include <QStringList>

bool AudioFormat::isLossless() const
{
    return codec == QLatin1String("FLAC") || codec == QLatin1String("ALAC") ||
           codec.contains(QLatin1String("PCM"));
}

QString AudioFormat::toString() const
{
    const bool lossless = isLossless();
    QStringList parts;
    if (lossless && bits > 0)
        parts << QStringLiteral("%1 bit").arg(bits);
    if (lossless && rateHz > 0)
        parts << QStringLiteral("%1 kHz").arg(rateHz / 1000.0);
    if (!lossless && bitRate > 0)
        parts << QStringLiteral("%1 kbit/s").arg(qRound(bitRate / 1000.0));
    return QStringLiteral("%1 %2").arg(codec, parts.join(QLatin1String(" / "))).trimmed();
}
