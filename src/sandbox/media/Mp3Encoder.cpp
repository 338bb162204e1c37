#include "sandbox/media/Encoders.h"

#include <lame/lame.h>

#include <memory>
#include <stdexcept>

namespace sandbox {

std::string encodeMp3(Melody& melody)
{
    const std::unique_ptr<lame_global_flags, int (*)(lame_t)> lame(lame_init(), lame_close);
    if (!lame)
        throw std::runtime_error("out of memory for the MP3 encoder");
    lame_set_in_samplerate(lame.get(), 44100);
    lame_set_num_channels(lame.get(), 2);
    lame_set_brate(lame.get(), 320);
    lame_set_quality(lame.get(), 9); // the quickest: at 320 kbit/s a tune of three sines has bits to spare
    lame_set_bWriteVbrTag(lame.get(), 1);
    if (lame_init_params(lame.get()) < 0)
        throw std::runtime_error("the MP3 encoder refuses the format");

    constexpr int blockFrames = 8 * 1152;
    std::string file;
    std::vector<float> frames;
    std::vector<unsigned char> out(blockFrames * 5 / 4 + 7200); // the size that the encoder asks for
    const auto append = [&](int bytes) {
        if (bytes < 0)
            throw std::runtime_error("the MP3 encoder failed");
        file.append(reinterpret_cast<const char*>(out.data()), std::size_t(bytes));
    };
    while (const int count = melody.next(frames, blockFrames))
        append(lame_encode_buffer_interleaved_ieee_float(lame.get(), frames.data(), count, out.data(),
                                                         static_cast<int>(out.size())));
    append(lame_encode_flush(lame.get(), out.data(), static_cast<int>(out.size())));
    // The first frame was left empty for the length, which is known only now.
    const std::size_t tagBytes = lame_get_lametag_frame(lame.get(), out.data(), out.size());
    if (tagBytes <= out.size())
        file.replace(0, tagBytes, reinterpret_cast<const char*>(out.data()), tagBytes);
    return file;
}

} // namespace sandbox
