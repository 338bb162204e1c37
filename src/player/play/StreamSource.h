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

/// One stream's way into a pipeline: it is fetched, taken apart and decoded, and waits for its turn at a
/// `concat`, which lets one stream through after the other. Its messages come from the pipeline's bus. One
/// thread, unless it says otherwise.
class StreamSource
{
public:
    /// How long a stream may take to begin.
    static constexpr int openLimitMs = 30000;
    /// How long a stream that has begun may stand still.
    static constexpr int stallLimitMs = 120000;

    /// Whether this is the address of a stream that is opened: `http` or `https`.
    static bool isAllowed(const QString& uri);

    /// Stands before the pipeline, behind the streams that were made before; begins with start(). Both
    /// elements are not owned and have to outlive it. The address has to be allowed.
    StreamSource(GstElement* pipeline, GstElement* concat, const QString& uri);
    /// Takes it out of the pipeline, with what is under way.
    ~StreamSource();
    StreamSource(const StreamSource&) = delete;
    StreamSource& operator=(const StreamSource&) = delete;

    /// Begins to fetch and decode. From then on it goes by itself, whether the pipeline plays or is paused.
    void start();

    /// Whether a message is from this stream.
    bool sent(GstMessage* message) const;
    /// Whether the concat lets this stream through now.
    bool isFeeding() const;
    /// Does this, unless the end of the stream is on its way to the concat already: then false. What this
    /// puts before the concat comes in time.
    bool beforeItsEnd(const std::function<void()>& work);
    /// Whether any of its sound has been decoded.
    bool hasBegun() const;
    /// Takes what a tag message says about the stream.
    void readTags(GstMessage* message);

    /// 0 when it is not known.
    qint64 durationMs() const;
    bool canSeek() const;
    AudioFormat format() const;

    /// Whether it broke more often than it is resumed: its next error says nothing that a person would want
    /// to know.
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
