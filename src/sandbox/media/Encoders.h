#pragma once

#include "sandbox/media/Melody.h"

#include <string>

namespace sandbox {

/// The whole melody as a FLAC file with a seek table. Throws std::runtime_error when the encoder refuses.
std::string encodeFlac(Melody& melody, int rateHz, int bitDepth);

/// The whole melody as an MP3 file, 320 kbit/s at 44.1 kHz, with the header frame that gives its exact
/// length. Throws std::runtime_error if the encoder fails.
std::string encodeMp3(Melody& melody);

} // namespace sandbox
