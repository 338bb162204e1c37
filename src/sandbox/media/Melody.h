#pragma once

#include "sandbox/catalogue/Draw.h"

#include <cstdint>
#include <vector>

namespace sandbox {

/// The melody of a track, derived from the seed and the same in every encoding. Produces stereo samples block
/// by block, so only one block is in memory.
class Melody
{
public:
    Melody(std::uint64_t seed, int track, int rateHz, int seconds);

    /// Writes up to `maxFrames` frames, left and right interleaved, from -1 to 1, to `frames`. Returns their
    /// number; 0 at the end.
    int next(std::vector<float>& frames, int maxFrames);

    std::int64_t totalFrames() const { return m_totalFrames; }

private:
    /// A sine that is turned on by one multiplication a sample, much cheaper than calling sin().
    struct Voice
    {
        double re, im, stepRe, stepIm, left, right;
    };
    void strike();

    Draw m_draw;
    int m_rateHz;
    std::int64_t m_totalFrames;
    std::int64_t m_frame = 0;
    int m_framesPerNote;
    int m_noteFrame = 0;
    double m_rootHz;
    std::vector<int> m_tune; ///< steps of the scale
    std::size_t m_note = 0;
    double m_level = 0; ///< of the note that sounds: rises quickly, then decays
    double m_decay;
    Voice m_voices[3] = {};
};

} // namespace sandbox
