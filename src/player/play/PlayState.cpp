#include "player/play/PlayState.h"

namespace PlayState {

namespace {

template <typename... Cases>
struct Overload : Cases...
{
    using Cases::operator()...;
};
template <typename... Cases>
Overload(Cases...) -> Overload<Cases...>;

Track withWish(Track track, bool paused)
{
    track.wantsPause = paused;
    return track;
}

State silent(const State& state, const Silent& event)
{
    if (const auto* reopening = std::get_if<Reopening>(&state)) {
        Reopening same = *reopening;
        same.stalled = event.stalled;
        return same;
    }
    const Track* track = trackOf(state);
    if (!track || std::holds_alternative<AwaitingOutput>(state))
        return state;
    const qint64 since = silentSinceMs(state).value_or(event.nowMs);
    if (event.stalled)
        return Stalled{*track, since};
    return Paused{*track, since};
}

State sounds(const State& state)
{
    const Track* track = trackOf(state);
    if (!track || std::holds_alternative<AwaitingOutput>(state))
        return state;
    Playing playing{*track};
    playing.track.heard = true;
    return playing;
}

State reopen(const State& state, const Reopen& event)
{
    const Track* track = trackOf(state);
    if (!track)
        return state;
    const auto* again = std::get_if<Reopening>(&state);
    const bool outputGone = std::holds_alternative<AwaitingOutput>(state) || (again && again->outputGone);
    return Reopening{*track, event.positionMs, isStalled(state), outputGone};
}

State wish(State state, bool paused)
{
    std::visit(Overload{[](Idle&) {}, [paused](Resolving& resolving) { resolving.wantsPause = paused; },
                        [paused](AwaitingQueue& waiting) { waiting.wantsPause = paused; },
                        [paused](auto& open) { open.track = withWish(open.track, paused); }},
               state);
    return state;
}

} // namespace

State after(const State& state, const Event& event)
{
    const Track* track = trackOf(state);
    return std::visit(
        Overload{[](const Start& start) -> State {
                     return Resolving{start.entry, start.startMs, start.wantsPause};
                 },
                 [&](const Opened& opened) -> State {
                     if (!std::holds_alternative<Resolving>(state))
                         return state;
                     return Opening{Track{opened.track, false, wantsPause(state)}};
                 },
                 [&](const Sounds&) -> State { return sounds(state); },
                 [&](const Silent& silence) -> State { return silent(state, silence); },
                 [&](const Closed&) -> State {
                     return track ? Resolving{0, 0, track->wantsPause} : state;
                 },
                 [&](const Reopen& again) -> State { return reopen(state, again); },
                 [&](const Renewed& renewed) -> State {
                     const auto* reopening = std::get_if<Reopening>(&state);
                     if (!reopening)
                         return state;
                     Reopening same = *reopening;
                     same.track.resolved = renewed.track;
                     return same;
                 },
                 [&](const OutputLost& lost) -> State {
                     return track ? AwaitingOutput{*track, lost.positionMs, lost.retryAtMs} : state;
                 },
                 [&](const WantPause& want) -> State { return wish(state, want.paused); },
                 [&](const Dry&) -> State {
                     return std::holds_alternative<Resolving>(state) ? AwaitingQueue{wantsPause(state)}
                                                                     : state;
                 },
                 [](const Halt&) -> State { return Idle{}; },
                 [](const Park& park) -> State { return Idle{park.place}; }},
        event);
}

const Track* trackOf(const State& state)
{
    return std::visit(Overload{[](const Idle&) -> const Track* { return nullptr; },
                               [](const Resolving&) -> const Track* { return nullptr; },
                               [](const AwaitingQueue&) -> const Track* { return nullptr; },
                               [](const auto& open) { return &open.track; }},
                      state);
}

int entryOf(const State& state)
{
    if (const auto* resolving = std::get_if<Resolving>(&state))
        return resolving->entry;
    const Track* track = trackOf(state);
    return track ? track->resolved.entry : 0;
}

bool wantsPause(const State& state)
{
    if (const auto* resolving = std::get_if<Resolving>(&state))
        return resolving->wantsPause;
    if (const auto* waiting = std::get_if<AwaitingQueue>(&state))
        return waiting->wantsPause;
    const Track* track = trackOf(state);
    return track && track->wantsPause;
}

bool isStalled(const State& state)
{
    const auto* reopening = std::get_if<Reopening>(&state);
    return std::holds_alternative<Stalled>(state) || (reopening && reopening->stalled);
}

std::optional<qint64> heldAtMs(const State& state)
{
    if (const auto* reopening = std::get_if<Reopening>(&state))
        return reopening->positionMs;
    if (const auto* waiting = std::get_if<AwaitingOutput>(&state))
        return waiting->positionMs;
    return {};
}

std::optional<qint64> silentSinceMs(const State& state)
{
    if (const auto* paused = std::get_if<Paused>(&state))
        return paused->sinceMs;
    if (const auto* stalled = std::get_if<Stalled>(&state))
        return stalled->sinceMs;
    return {};
}

} // namespace PlayState
