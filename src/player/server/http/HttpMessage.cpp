#include "player/server/http/HttpMessage.h"

#include <algorithm>

QByteArray HttpRequest::header(const char* name) const
{
    for (const auto& header : headers)
        if (header.first == name)
            return header.second;
    return QByteArray();
}

int HttpRequest::headerCount(const char* name) const
{
    return int(std::count_if(headers.cbegin(), headers.cend(),
                             [name](const auto& header) { return header.first == name; }));
}

bool HttpRequest::hasBody() const
{
    return headerCount("transfer-encoding") > 0 || header("content-length").toLongLong() > 0;
}
