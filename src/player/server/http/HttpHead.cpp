#include "player/server/http/HttpHead.h"

#include <QByteArray>

#include <algorithm>
#include <cstring>

namespace {

/// The bytes between two parts of a head: the library overwrites CRLF with two zeros, and leaves everything
/// where it was received unless it joins lines.
constexpr std::ptrdiff_t lineEndBytes = 2;

struct Head
{
    const char* lastEnd; // of what was looked at so far
    int lengths = 0;
    bool isStrict = true;
};

bool isNameCharacter(char letter)
{
    return letter > ' ' && letter < '\x7f' && !std::strchr("\"(),/:;<=>?@[\\]{}", letter);
}

MHD_Result look(void* closure, MHD_ValueKind /*kind*/, const char* name, size_t nameBytes, const char* value,
                size_t valueBytes)
{
    auto* const head = static_cast<Head*>(closure);
    const auto isControl = [](char letter) { return (letter >= 0 && letter < ' ' && letter != '\t'); };
    head->lengths +=
        QByteArray::fromRawData(name, int(nameBytes)).compare("content-length", Qt::CaseInsensitive) == 0;
    head->isStrict = head->isStrict && value && name - head->lastEnd == lineEndBytes && nameBytes > 0 &&
                     std::all_of(name, name + nameBytes, isNameCharacter) &&
                     std::none_of(value, value + valueBytes, isControl);
    head->lastEnd = value + valueBytes;
    return MHD_YES;
}

} // namespace

bool isStrictHead(MHD_Connection* connection, const char* url, const char* method, const char* version)
{
    Head head{version + std::strlen(version)};
    MHD_get_connection_values_n(connection, MHD_HEADER_KIND, look, &head);
    const auto* const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE);
    const std::ptrdiff_t rest = method + info->header_size - head.lastEnd;
    return head.isStrict && head.lengths <= 1 && rest == 2 * lineEndBytes && (*url == '/' || *url == '*');
}
