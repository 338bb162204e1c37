#pragma once

#include "api/types/utf8.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// A harness defines this function, which tests one input; libFuzzer prescribes the name. Declared here, so
/// that each harness defines what the driver calls.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

/// Ends the program with a sentence if a condition is violated, which the fuzzer records as a failure.
inline void require(bool kept, const char* promise, const QString& detail = QString())
{
    if (kept)
        return;
    std::fprintf(stderr, "PROMISE BROKEN: %s %s\n", promise, qPrintable(detail));
    std::abort();
}

/// Splits an input from its front. Inputs are text, so that people can read and write seeds.
class Input
{
public:
    Input(const uint8_t* data, size_t size)
        : m_left(reinterpret_cast<const char*>(data), static_cast<int>(size))
    {
        // Translations and events of the root worker need an application object.
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
    /// The text up to the next line feed, which is dropped.
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

/// Replaces lone surrogates, which UTF-8 cannot represent.
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
