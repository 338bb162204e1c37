#include "player/play/StreamSeam.h"

namespace {

constexpr qint64 nsPerMs = 1000000;
// The change is reported with this delay, because the start was reported late too: otherwise the listening
// time would be too short.
constexpr int marginMs = 60;
// How often a late next stream is checked.
constexpr int checkMs = 5;

} // namespace

bool StreamSeam::set(StreamSource* current, GstElement* pipeline, GstElement* concat, const QString& uri)
{
    const bool inTime = current->isFeeding() && current->beforeItsEnd([&] {
        m_state = Prepared{std::make_unique<StreamSource>(pipeline, concat, uri)};
    });
    if (inTime)
        next()->start();
    return inTime;
}

bool StreamSeam::drop()
{
    if (isChanging() || (next() && next()->isFeeding()))
        return false;
    clear();
    return true;
}

const StreamSeam::Change* StreamSeam::change() const
{
    if (const auto* turned = std::get_if<Turned>(&m_state))
        return turned;
    if (const auto* coming = std::get_if<Coming>(&m_state))
        return coming;
    return std::get_if<Broken>(&m_state);
}

StreamSource* StreamSeam::next() const
{
    if (const auto* prepared = std::get_if<Prepared>(&m_state))
        return prepared->stream.get();
    return change() ? change()->stream.get() : nullptr;
}

std::optional<qint64> StreamSeam::changeAtNs() const
{
    return change() ? std::optional<qint64>(change()->atNs) : std::nullopt;
}

qint64 StreamSeam::positionMs(qint64 nowNs) const
{
    return change()->endMs - qMax<qint64>(0, change()->atNs - nowNs) / nsPerMs;
}

void StreamSeam::turn(const StreamSource& current, qint64 changeAtNs)
{
    auto* prepared = std::get_if<Prepared>(&m_state);
    if (prepared && prepared->stream->isFeeding())
        m_state = Turned{{std::move(prepared->stream), changeAtNs, current.durationMs()}};
}

void StreamSeam::came(const StreamSource& current, qint64 changeAtNs)
{
    turn(current, changeAtNs);
    if (auto* turned = std::get_if<Turned>(&m_state))
        m_state = Coming{{std::move(turned->stream), changeAtNs, turned->endMs}};
}

bool StreamSeam::failed(const TrString& sentence)
{
    if (!isChanging()) {
        clear();
        return true;
    }
    // Removing it now would end the pipeline's stream from this thread, which would then wait for the output.
    Change change = takeChange();
    m_state = Broken{{std::move(change.stream), change.atNs, change.endMs}, sentence};
    return false;
}

StreamSeam::Change StreamSeam::takeChange()
{
    if (auto* turned = std::get_if<Turned>(&m_state))
        return std::move(*turned);
    if (auto* coming = std::get_if<Coming>(&m_state))
        return std::move(*coming);
    return std::move(std::get<Broken>(m_state));
}

StreamSeam::Due StreamSeam::due(qint64 nowNs) const
{
    if (change()->atNs + marginMs * nsPerMs > nowNs)
        return Due::Later;
    if (!std::holds_alternative<Turned>(m_state))
        return Due::Next;
    return change()->stream->hasBegun() ? Due::Later : Due::End;
}

int StreamSeam::waitMs(qint64 nowNs) const
{
    return int(qMax<qint64>(checkMs, (change()->atNs - nowNs) / nsPerMs + marginMs));
}

StreamSeam::Taken StreamSeam::take()
{
    Taken taken;
    if (const auto* broken = std::get_if<Broken>(&m_state))
        taken.failure = broken->sentence;
    taken.stream = takeChange().stream;
    clear();
    return taken;
}
