#pragma once

#include <QString>

/// The format of a stream, as reported by the decoder.
struct AudioFormat
{
    QString codec; ///< "FLAC", "MP3"
    int bits = 0;
    int rateHz = 0;
    int bitRate = 0; ///< bit/s; 0 when the stream does not tell

    /// Whether the important figures are known: bits and sampling rate of a lossless codec, the bit rate of
    /// any other.
    bool isComplete() const { return isLossless() ? bits > 0 && rateHz > 0 : bitRate > 0; }
    bool isLossless() const;
    /// For a person: "FLAC 24 bit / 96 kHz", "MP3 320 kbit/s". Empty when nothing is known.
    QString toString() const;
};
