#pragma once

#include "api/types/utf8.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// What a harness tries one input on; the name is the fuzzer's. Declared here, so that each harness defines
/// what the driver calls.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

/// Ends the program with a sentence when a promise is not kept, which the fuzzer takes down as a finding.
inline void require(bool kept, const char* promise, const QString& detail = QString())
{
    if (kept)
        return;
    std::fprintf(stderr, "PROMISE BROKEN: %s %s\n", promise, qPrintable(detail));
    std::abort();
}

/// Takes an input apart from its front. Text, so that a seed is read and written like any other file.
class Input
{
public:
    Input(const uint8_t* data, size_t size)
        : m_left(reinterpret_cast<const char*>(data), static_cast<int>(size))
    {
        // Names in a translation, and events of the root worker, need one.
        static int argc = 1;
        static char name[] = "fuzz";
        static char* argv[] = {name, nullptr};
        static QCoreApplication application(argc, argv);
    }

    /// One of `count`, by one character: 'a' is 0.
    int choice(int count)
    {
        const auto byte = static_cast<unsigned char>(m_left.isEmpty() ? 'a' : m_left.at(0));
        m_left.remove(0, 1);
        return (byte + 256 * count - 'a') % count;
    }
    /// Up to the next line feed, which is dropped.
    QByteArray line()
    {
        const int end = m_left.indexOf('\n');
        const QByteArray taken = end < 0 ? m_left : m_left.left(end);
        m_left = end < 0 ? QByteArray() : m_left.mid(end + 1);
        return taken;
    }
    bool atEnd() const { return m_left.isEmpty(); }
    const QByteArray& rest() const { return m_left; }

private:
    QByteArray m_left;
};

/// Without halves of surrogate pairs standing alone, which no UTF-8 can carry.
inline bool isWellFormed(const QString& text)
{
    for (int i = 0; i < text.size(); ++i) {
        if (text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate())
            ++i;
        else if (text.at(i).isSurrogate())
            return false;
    }
    return true;
}
