#pragma once

#include "api/types/trstring.h"
#include "player/play/StreamSource.h"

#include <memory>
#include <optional>
#include <variant>

/// The next stream before the concat, and the progress of the change to it. Times are the pipeline's running
/// time. One thread.
///
///     state    | event and what it leads to
///     ---------+---------------------------------------------------------------------
///     Nothing  | set: Prepared
///     Prepared | drop, failed: Nothing · turn: Turned · came: Coming
///     Turned   | came: Coming · failed: Broken
///     Coming   | failed: Broken
///     any      | take, clear: Nothing
class StreamSeam
{
public:
    /// Adds a stream after the current one and starts to fetch it. False if it is too late.
    bool set(StreamSource* current, GstElement* pipeline, GstElement* concat, const QString& uri);
    /// Removes the next stream. False if the concat has already switched to it.
    bool drop();
    void clear() { m_state = Nothing{}; }

    /// Null if there is none.
    StreamSource* next() const;
    /// Whether the concat has switched to the next stream, while the output still plays the end of the
    /// current one.
    bool isChanging() const { return changeAtNs().has_value(); }
    /// Whether data of the next stream has passed the concat.
    bool isComing() const { return std::holds_alternative<Coming>(m_state); }
    /// The position in the current stream during the change; its whole length afterwards.
    qint64 positionMs(qint64 nowNs) const;

    /// The concat has switched to the next stream. The current one ends at this time.
    void turn(const StreamSource& current, qint64 changeAtNs);
    /// The first data of the next stream has passed the concat. It is heard at this time.
    void came(const StreamSource& current, qint64 changeAtNs);
    /// The next stream cannot be played. False if the concat has already switched to it: the failure is then
    /// reported when it is due.
    bool failed(const TrString& sentence);

    enum class Due
    {
        Later, ///< in waitMs()
        Next,  ///< the current stream was heard, and take() is the next one
        End    ///< the current stream was heard, and the next one is late: waiting would lose its start
    };
    /// The step that is due. Call only while isChanging().
    Due due(qint64 nowNs) const;
    int waitMs(qint64 nowNs) const;

    struct Taken
    {
        std::unique_ptr<StreamSource> stream;
        TrString failure; ///< why it cannot be played; empty when it can
    };
    Taken take();

private:
    struct Nothing
    {
    };
    struct Prepared
    {
        std::unique_ptr<StreamSource> stream;
    };
    struct Change
    {
        std::unique_ptr<StreamSource> stream;
        qint64 atNs;
        qint64 endMs; // of the current stream
    };
    struct Turned : Change
    {
    };
    struct Coming : Change
    {
    };
    struct Broken : Change
    {
        TrString sentence;
    };

    const Change* change() const;
    Change takeChange();
    std::optional<qint64> changeAtNs() const;

    std::variant<Nothing, Prepared, Turned, Coming, Broken> m_state;
};
