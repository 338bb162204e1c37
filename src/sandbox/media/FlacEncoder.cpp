#include "sandbox/media/Encoders.h"

#include <FLAC/metadata.h>
#include <FLAC/stream_encoder.h>

#include <cmath>
#include <memory>
#include <stdexcept>

namespace sandbox {
namespace {

/// A file in memory, in which the encoder can seek back to complete its header.
struct MemoryFile
{
    std::string bytes;
    std::size_t at = 0;
};

FLAC__StreamEncoderWriteStatus writeBytes(const FLAC__StreamEncoder*, const FLAC__byte bytes[],
                                          std::size_t size, std::uint32_t, std::uint32_t, void* client)
{
    auto& file = *static_cast<MemoryFile*>(client);
    if (file.bytes.size() < file.at + size)
        file.bytes.resize(file.at + size);
    file.bytes.replace(file.at, size, reinterpret_cast<const char*>(bytes), size);
    file.at += size;
    return FLAC__STREAM_ENCODER_WRITE_STATUS_OK;
}

FLAC__StreamEncoderSeekStatus seekTo(const FLAC__StreamEncoder*, FLAC__uint64 offset, void* client)
{
    static_cast<MemoryFile*>(client)->at = std::size_t(offset);
    return FLAC__STREAM_ENCODER_SEEK_STATUS_OK;
}

FLAC__StreamEncoderTellStatus tellPlace(const FLAC__StreamEncoder*, FLAC__uint64* offset, void* client)
{
    *offset = static_cast<MemoryFile*>(client)->at;
    return FLAC__STREAM_ENCODER_TELL_STATUS_OK;
}

} // namespace

std::string encodeFlac(Melody& melody, int rateHz, int bitDepth)
{
    const std::unique_ptr<FLAC__StreamEncoder, void (*)(FLAC__StreamEncoder*)> encoder(
        FLAC__stream_encoder_new(), FLAC__stream_encoder_delete);
    const std::unique_ptr<FLAC__StreamMetadata, void (*)(FLAC__StreamMetadata*)> seekTable(
        FLAC__metadata_object_new(FLAC__METADATA_TYPE_SEEKTABLE), FLAC__metadata_object_delete);
    if (!encoder || !seekTable)
        throw std::runtime_error("out of memory for the FLAC encoder");
    const auto totalFrames = static_cast<FLAC__uint64>(melody.totalFrames());
    FLAC__metadata_object_seektable_template_append_spaced_points_by_samples(
        seekTable.get(), static_cast<std::uint32_t>(rateHz) * 2, totalFrames);
    FLAC__metadata_object_seektable_template_sort(seekTable.get(), true);
    FLAC__StreamMetadata* metadata[] = {seekTable.get()};

    FLAC__stream_encoder_set_channels(encoder.get(), 2);
    FLAC__stream_encoder_set_bits_per_sample(encoder.get(), static_cast<std::uint32_t>(bitDepth));
    FLAC__stream_encoder_set_sample_rate(encoder.get(), static_cast<std::uint32_t>(rateHz));
    FLAC__stream_encoder_set_compression_level(encoder.get(), 1);
    FLAC__stream_encoder_set_total_samples_estimate(encoder.get(), totalFrames);
    FLAC__stream_encoder_set_metadata(encoder.get(), metadata, 1);

    MemoryFile file;
    if (FLAC__stream_encoder_init_stream(encoder.get(), writeBytes, seekTo, tellPlace, nullptr, &file) !=
        FLAC__STREAM_ENCODER_INIT_STATUS_OK)
        throw std::runtime_error("the FLAC encoder refuses the format");

    const float peak = static_cast<float>((1 << (bitDepth - 1)) - 1);
    std::vector<float> frames;
    std::vector<FLAC__int32> samples;
    while (const int count = melody.next(frames, 4096)) {
        samples.resize(frames.size());
        for (std::size_t i = 0; i < frames.size(); ++i)
            samples[i] = static_cast<FLAC__int32>(std::lrint(frames[i] * peak));
        if (!FLAC__stream_encoder_process_interleaved(encoder.get(), samples.data(),
                                                      static_cast<std::uint32_t>(count)))
            throw std::runtime_error("the FLAC encoder failed");
    }
    if (!FLAC__stream_encoder_finish(encoder.get()))
        throw std::runtime_error("the FLAC encoder could not finish");
    return std::move(file.bytes);
}

} // namespace sandbox
