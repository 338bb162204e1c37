#include "player/play/WavWriter.h"

#include <QDataStream>

namespace {

constexpr int headerBytes = 44;
// The sizes in the header are 32-bit numbers.
constexpr qint64 maximumDataBytes = 0xffffffffLL - headerBytes - 1;

} // namespace

WavWriter::WavWriter(const QString& fileName)
    : m_file(fileName)
{
}

bool WavWriter::open(QString* error)
{
    const QMutexLocker locker(&m_mutex);
    if (m_file.open(QIODevice::WriteOnly) && m_file.write(header()) == headerBytes)
        return true;
    *error = problem();
    return false;
}

void WavWriter::setLimit(int seconds)
{
    const QMutexLocker locker(&m_mutex);
    m_limitSeconds = seconds;
}

PcmFormat WavWriter::format() const
{
    const QMutexLocker locker(&m_mutex);
    return m_format;
}

bool WavWriter::write(const PcmFormat& format, const char* data, qint64 bytes, QString* error)
{
    const QMutexLocker locker(&m_mutex);
    if (!m_format.isSet())
        m_format = format;
    const qint64 limit = m_limitSeconds > 0 ? qint64(m_limitSeconds) * m_format.rateHz * m_format.frameBytes()
                                            : maximumDataBytes;
    const qint64 taken = qMin(bytes, limit - m_dataBytes);
    if (taken < bytes && m_limitSeconds == 0) {
        *error = QStringLiteral("%1 is full: a WAV file cannot be larger than 4 GiB.").arg(m_file.fileName());
        return false;
    }
    if (m_file.write(data, taken) != taken) {
        *error = problem();
        return false;
    }
    m_dataBytes += taken;
    return true;
}

bool WavWriter::finish(QString* error)
{
    const QMutexLocker locker(&m_mutex);
    if (m_dataBytes == 0) {
        m_file.cancelWriting();
        m_file.commit();
        return true;
    }
    // Chunks have an even length.
    if ((m_dataBytes % 2 == 0 || m_file.putChar('\0')) && m_file.seek(0) &&
        m_file.write(header()) == headerBytes && m_file.flush() && m_file.commit())
        return true;
    *error = problem();
    return false;
}

qint64 WavWriter::milliseconds() const
{
    const QMutexLocker locker(&m_mutex);
    return m_format.isSet() ? m_dataBytes / m_format.frameBytes() * 1000 / m_format.rateHz : 0;
}

QByteArray WavWriter::header() const
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream.writeRawData("RIFF", 4);
    stream << quint32(headerBytes - 8 + m_dataBytes + m_dataBytes % 2);
    stream.writeRawData("WAVEfmt ", 8);
    stream << quint32(16) << quint16(1) << quint16(m_format.channels) << quint32(m_format.rateHz)
           << quint32(m_format.rateHz * m_format.frameBytes()) << quint16(m_format.frameBytes())
           << quint16(m_format.bits);
    stream.writeRawData("data", 4);
    stream << quint32(m_dataBytes);
    return bytes;
}

QString WavWriter::problem() const
{
    return QStringLiteral("%1 cannot be written: %2.").arg(m_file.fileName(), m_file.errorString());
}
