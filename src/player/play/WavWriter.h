#pragma once

#include <QMutex>
#include <QSaveFile>
#include <QString>

/// The format of raw sound: interleaved little-endian integers.
struct PcmFormat
{
    int rateHz = 0;
    int channels = 0;
    int bits = 0; ///< 16 or 24, without padding

    int frameBytes() const { return channels * bits / 8; }
    bool isSet() const { return rateHz > 0; }
};

/// Writes sound to a WAV file. The file appears, or replaces an existing one, only when it is finished. Any
/// thread.
class WavWriter
{
public:
    explicit WavWriter(const QString& fileName);

    /// Creates the file; false with a sentence if that fails.
    bool open(QString* error);
    /// Accepts at most this many seconds of sound; 0 means no limit.
    void setLimit(int seconds);
    /// The format of the first sound, which all later sound must have; not set before.
    PcmFormat format() const;
    /// Appends whole frames. False, with a sentence, if they cannot be written. Sound beyond the limit is
    /// silently dropped.
    bool write(const PcmFormat& format, const char* data, qint64 bytes, QString* error);
    /// Completes the file; a file without sound is discarded. False with a sentence if that fails.
    bool finish(QString* error);
    /// The length of the sound written.
    qint64 milliseconds() const;

private:
    QByteArray header() const;
    QString problem() const;

    mutable QMutex m_mutex;
    QSaveFile m_file;
    PcmFormat m_format;
    qint64 m_dataBytes = 0;
    int m_limitSeconds = 0;
};
