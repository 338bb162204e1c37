#pragma once

#include "api/types/trstring.h"
#include "player/play/StreamSource.h"

#include <memory>
#include <optional>
#include <variant>

/// The next stream before the concat, and how far the change to it has come. Times are the pipeline's
/// running time. One thread.
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
    /// Puts a stream behind the current one, and begins to fetch it. False when it is too late for that.
    bool set(StreamSource* current, GstElement* pipeline, GstElement* concat, const QString& uri);
    /// Takes the next stream out. False when its turn has come.
    bool drop();
    void clear() { m_state = Nothing{}; }

    /// Null when there is none.
    StreamSource* next() const;
    /// Whether it is the next stream's turn, so that the last of the current one is on its way to the output.
    bool isChanging() const { return changeAtNs().has_value(); }
    /// Whether the next stream is what goes to the output now.
    bool isComing() const { return std::holds_alternative<Coming>(m_state); }
    /// What the current stream lacks to its end when the change is under way, and then its whole length.
    qint64 positionMs(qint64 nowNs) const;

    /// The concat has turned to the next stream; what it let through of the current one ends at this time.
    void turn(const StreamSource& current, qint64 changeAtNs);
    /// The first of the next stream came through, to be heard at this time.
    void came(const StreamSource& current, qint64 changeAtNs);
    /// The next stream cannot be played. False when its turn has come: that fails when it is due.
    bool failed(const TrString& sentence);

    enum class Due
    {
        Later, ///< in waitMs()
        Next,  ///< the current stream was heard, and take() is the next one
        End    ///< the current stream was heard, and the next one has not come: to wait would lose its start
    };
    /// What is due. Only while it isChanging().
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
