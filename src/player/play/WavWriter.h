#pragma once

#include <QMutex>
#include <QSaveFile>
#include <QString>

/// The form of raw sound: interleaved whole numbers, least significant byte first.
struct PcmFormat
{
    int rateHz = 0;
    int channels = 0;
    int bits = 0; ///< 16 or 24, without padding

    int frameBytes() const { return channels * bits / 8; }
    bool isSet() const { return rateHz > 0; }
};

/// Writes sound into a WAV file. The file appears, or replaces one of the same name, when it is finished;
/// until then what was there stays. Every operation may be called from any thread.
class WavWriter
{
public:
    explicit WavWriter(const QString& fileName);

    /// Makes the file; false with a sentence when that is not possible.
    bool open(QString* error);
    /// Takes no more than this many seconds of sound; 0 is no limit.
    void setLimit(int seconds);
    /// The form of the first sound, which all that follows has to have; not set before that.
    PcmFormat format() const;
    /// Appends whole frames. False, with a sentence, when they cannot be written. What is over the limit is
    /// left out without a word.
    bool write(const PcmFormat& format, const char* data, qint64 bytes, QString* error);
    /// Completes the file; one without any sound is dropped. False with a sentence when that fails.
    bool finish(QString* error);
    /// How much sound was taken.
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
