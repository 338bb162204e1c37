#pragma once

#include "player/play/AudioFormat.h"

#include <QMutex>
#include <QString>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

// GStreamer's own names, so that only the sources need its headers.
using GstElement = struct _GstElement; // NOLINT(bugprone-reserved-identifier)
using GstMessage = struct _GstMessage; // NOLINT(bugprone-reserved-identifier)
using GstPad = struct _GstPad;         // NOLINT(bugprone-reserved-identifier)

/// Fetches and decodes one stream before a `concat`, which passes one stream after the other to the pipeline.
/// Its messages are posted to the pipeline's bus. One thread, unless stated otherwise.
class StreamSource
{
public:
    /// How long a stream may take to begin.
    static constexpr int openLimitMs = 30000;
    /// How long a stream that has begun may stall.
    static constexpr int stallLimitMs = 120000;

    /// Whether the scheme of this address is supported: `http` or `https`.
    static bool isAllowed(const QString& uri);

    /// Queues behind the streams that were created before; start() starts it. The elements are not owned and
    /// must outlive it. The address must be allowed.
    StreamSource(GstElement* pipeline, GstElement* concat, const QString& uri);
    /// Removes it from the concat and abandons its request.
    ~StreamSource();
    StreamSource(const StreamSource&) = delete;
    StreamSource& operator=(const StreamSource&) = delete;

    /// Starts to fetch and decode, independently of the pipeline's state.
    void start();

    /// Whether a message is from this stream.
    bool sent(GstMessage* message) const;
    /// Whether the concat passes this stream on now.
    bool isFeeding() const;
    /// Calls `work` and returns true, unless the end of this stream has already been sent to the concat. A
    /// stream that `work` adds is in time.
    bool beforeItsEnd(const std::function<void()>& work);
    /// Whether any of its sound has been decoded.
    bool hasBegun() const;
    /// Stores the codec and the bit rate of a tag message.
    void readTags(GstMessage* message);

    /// 0 when it is not known.
    qint64 durationMs() const;
    bool canSeek() const;
    AudioFormat format() const;

    /// Whether it broke more often than it may be resumed. GStreamer's text for that error does not say so.
    bool isBrokenForGood() const { return *m_brokenForGood; }
    /// For the streaming thread.
    std::shared_ptr<std::atomic<bool>> breakFlag() const { return m_brokenForGood; }

    int bufferedPercent = 0;

private:
    /// Shared with the streaming thread.
    struct End
    {
        QMutex mutex;
        bool isSent = false;
    };

    int averageBitRate() const;
    void watchEnd();

    GstElement* m_concat;
    GstElement* m_bin;
    GstPad* m_out;      // of the bin
    GstPad* m_entrance; // of the concat
    std::shared_ptr<End> m_end = std::make_shared<End>();
    QString m_codec;
    int m_bitRate = 0;
    std::shared_ptr<std::atomic<bool>> m_brokenForGood = std::make_shared<std::atomic<bool>>(false);
};
