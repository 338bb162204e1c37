#pragma once

#include "player/play/WavWriter.h"

#include <QString>

using GstElement = struct _GstElement; // NOLINT(bugprone-reserved-identifier): GStreamer's own name

/// The destination of the sound. Must outlive the streams that use it.
class AudioOutput
{
public:
    AudioOutput() = default;
    virtual ~AudioOutput();
    AudioOutput(const AudioOutput&) = delete;
    AudioOutput& operator=(const AudioOutput&) = delete;

    /// A new sink for one stream, at the pace of the clock. Owned by the pipeline that takes it. Null when a
    /// GStreamer element is missing; `error` then names it.
    virtual GstElement* makeSink(QString* error) = 0;
    /// A notice for the listener about the output; usually empty.
    virtual QString notice() const { return QString(); }
    /// Why sound was lost; empty if none was lost.
    virtual QString failure() const { return QString(); }
};

/// The sound device, or silence if there is none.
class DeviceOutput : public AudioOutput
{
public:
    DeviceOutput();
    GstElement* makeSink(QString* error) override;
    QString notice() const override;

private:
    bool m_hasDevice;
};

/// A WAV file that contains one stream after the other, in the format of the first.
class WavOutput : public AudioOutput
{
public:
    /// The writer is not owned.
    explicit WavOutput(WavWriter* writer)
        : m_writer(writer)
    {
    }
    GstElement* makeSink(QString* error) override;
    QString failure() const override;

    /// For the sink: takes a buffer of raw sound. The streaming thread.
    void take(const PcmFormat& format, const char* data, qint64 bytes);
    /// The format of the file; not set before the first sound. Any thread.
    PcmFormat format() const { return m_writer->format(); }

private:
    WavWriter* m_writer;
    mutable QMutex m_mutex;
    QString m_failure;
};
