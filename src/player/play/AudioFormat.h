#pragma once

#include <QString>

/// What a stream is made of, as the decoder found it.
struct AudioFormat
{
    QString codec; ///< "FLAC", "MP3"
    int bits = 0;
    int rateHz = 0;
    int bitRate = 0; ///< bit/s; 0 when the stream does not tell

    /// Whether the codec's own measure is known: bits and rate without loss, else the bit rate.
    bool isComplete() const { return isLossless() ? bits > 0 && rateHz > 0 : bitRate > 0; }
    bool isLossless() const;
    /// For a person: "FLAC 24 bit / 96 kHz", "MP3 320 kbit/s". Empty when nothing is known.
    QString toString() const;
};
