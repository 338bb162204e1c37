#pragma once

#include "api/types/utf8.h"

#include <QString>

#include <array>
#include <string_view>

/// Makes equal object keys share one QString, because the same few dozen keys occur thousands of times. Its
/// size is limited: a key replaces another one with the same hash slot, and long keys are not stored. Not
/// thread-safe.
class KeyTable
{
public:
    QString text(std::string_view utf8)
    {
        if (utf8.size() > longest)
            return textOfUtf8(utf8.data(), static_cast<int>(utf8.size()));
        Entry& entry = m_entries[std::hash<std::string_view>()(utf8) % m_entries.size()];
        if (entry.utf8() != utf8 || entry.text.isNull()) {
            utf8.copy(entry.bytes.data(), utf8.size());
            entry.size = static_cast<unsigned char>(utf8.size());
            entry.text = textOfUtf8(entry.bytes.data(), entry.size);
        }
        return entry.text;
    }

private:
    static constexpr size_t longest = 39;

    struct Entry
    {
        std::string_view utf8() const { return {bytes.data(), size}; }

        QString text;
        std::array<char, longest> bytes = {};
        unsigned char size = 0;
    };

    std::array<Entry, 512> m_entries;
};
