#pragma once

#include "api/http/httpclientheaders.h"

/// How one request is made. A plain value, re-entrant.
class HttpClientOptions
{
public:
    /// Sent with the request, and with redirects of it that stay with the same host: its scheme and port are
    /// the same, or go from http to https at their usual ports.
    void setHeaders(const HttpClientHeaders& headers) { m_headers = headers; }
    const HttpClientHeaders& headers() const { return m_headers; }

    /// For the whole exchange, redirects included; 0 or less: no bound.
    void setTimeoutMs(int timeoutMs) { m_timeoutMs = timeoutMs; }
    int timeoutMs() const { return m_timeoutMs; }

    /// The longest body accepted, in bytes after decompression; a longer one fails the request. 0 or less: no
    /// bound.
    void setReadSizeLimit(int bytes) { m_readSizeLimit = bytes; }
    int readSizeLimit() const { return m_readSizeLimit; }

private:
    HttpClientHeaders m_headers;
    int m_timeoutMs = 60000;
    int m_readSizeLimit = 16 * 1024 * 1024;
};
