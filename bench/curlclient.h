#pragma once

#include <curl/curl.h>

#include <string>
#include <vector>

/// libcurl as a program uses it that wants the bytes and nothing else: handles that are used again, over
/// connections that are kept, with the options and headers that the module's requests have.
class CurlClient
{
public:
    /// `handles`: transfers at once.
    CurlClient(const std::string& url, const std::vector<std::string>& headers, int handles = 1);
    ~CurlClient();
    CurlClient(const CurlClient&) = delete;
    CurlClient& operator=(const CurlClient&) = delete;

    /// GET by the easy interface; the body. Ends the program when the answer is none.
    const std::string& get();
    /// So many GETs by the multi interface, all handles busy; the bytes of all bodies.
    size_t getMany(int count);

private:
    struct Transfer
    {
        CURL* handle = nullptr;
        std::string body;
    };
    static void check(CURL* handle, CURLcode code);

    curl_slist* m_headers = nullptr;
    CURLM* m_multi;
    std::vector<Transfer> m_transfers;
};
