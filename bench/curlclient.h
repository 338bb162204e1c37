#pragma once

#include <curl/curl.h>

#include <string>
#include <vector>

/// Plain libcurl as the baseline: reused handles and connections, with the options and headers of the
/// module's requests.
class CurlClient
{
public:
    /// `handles`: transfers at once.
    CurlClient(const std::string& url, const std::vector<std::string>& headers, int handles = 1);
    ~CurlClient();
    CurlClient(const CurlClient&) = delete;
    CurlClient& operator=(const CurlClient&) = delete;

    /// GET with the easy interface; returns the body. Ends the program if there is no response.
    const std::string& get();
    /// GETs with the multi interface, with all handles busy; returns the size of all bodies in bytes.
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
