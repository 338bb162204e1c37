#include "sandbox/media/Melody.h"

#include <algorithm>
#include <cmath>

namespace sandbox {
namespace {

constexpr double pi = 3.14159265358979323846;
/// The scale in semitones above its root.
constexpr int scale[] = {0, 2, 4, 7, 9, 12, 14, 16};

} // namespace

Melody::Melody(std::uint64_t seed, int track, int rateHz, int seconds)
    : m_draw(seed, Purpose::Melody, static_cast<std::uint64_t>(track))
    , m_rateHz(rateHz)
    , m_totalFrames(std::int64_t(rateHz) * seconds)
{
    m_rootHz = 130.8 * std::pow(2.0, m_draw.below(24) / 12.0);
    const int notesPerMinute = 140 + m_draw.below(160);
    m_framesPerNote = rateHz * 60 / notesPerMinute;
    // Down to a fiftieth at the end of the note, whatever the sample rate.
    m_decay = std::pow(0.02, 1.0 / m_framesPerNote);
    for (int i = 0; i < 12; ++i)
        m_tune.push_back(m_draw.of(scale));
}

void Melody::strike()
{
    const double hz = m_rootHz * std::pow(2.0, m_tune[m_note++ % m_tune.size()] / 12.0);
    for (int i = 0; i < 3; ++i) {
        const double turn = 2 * pi * hz * (i + 1) / m_rateHz;
        const double loudness = 0.5 / (i + 1);
        const double side = i == 1 ? 0.8 : i == 2 ? 0.3 : 0.5;
        m_voices[i] = {1, 0, std::cos(turn), std::sin(turn), loudness * side, loudness * (1 - side)};
    }
    m_level = 1;
    m_noteFrame = 0;
}

int Melody::next(std::vector<float>& frames, int maxFrames)
{
    const int count = static_cast<int>(std::min<std::int64_t>(maxFrames, m_totalFrames - m_frame));
    frames.resize(std::size_t(count) * 2);
    const int attackFrames = m_rateHz / 200; // five milliseconds, so that notes do not click
    for (int i = 0; i < count; ++i) {
        if (m_frame + i == 0 || m_noteFrame == m_framesPerNote)
            strike();
        double left = 0;
        double right = 0;
        for (Voice& voice : m_voices) {
            const double re = voice.re * voice.stepRe - voice.im * voice.stepIm;
            voice.im = voice.re * voice.stepIm + voice.im * voice.stepRe;
            voice.re = re;
            left += voice.im * voice.left;
            right += voice.im * voice.right;
        }
        const int toEnd = m_framesPerNote - m_noteFrame;
        const double edge = std::min({1.0, double(m_noteFrame) / attackFrames, double(toEnd) / attackFrames});
        frames[std::size_t(i) * 2] = static_cast<float>(left * m_level * edge);
        frames[std::size_t(i) * 2 + 1] = static_cast<float>(right * m_level * edge);
        m_level *= m_decay;
        ++m_noteFrame;
    }
    m_frame += count;
    return count;
}

} // namespace sandbox
