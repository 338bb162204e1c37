#pragma once

#include "sandbox/media/Melody.h"

#include <string>

namespace sandbox {

/// The whole melody as a FLAC file with a seek table. Throws std::runtime_error when the encoder refuses.
std::string encodeFlac(Melody& melody, int rateHz, int bitDepth);

/// The whole melody as an MP3 file, 320 kbit/s at 44.1 kHz, with the frame that tells players its exact
/// length. Throws std::runtime_error when the encoder refuses.
std::string encodeMp3(Melody& melody);

} // namespace sandbox
