#include "bench/curlclient.h"

#include <QtGlobal>

namespace {

size_t take(char* data, size_t size, size_t count, void* body)
{
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

} // namespace

CurlClient::CurlClient(const std::string& url, const std::vector<std::string>& headers, int handles)
    : m_multi(curl_multi_init())
    , m_transfers(size_t(handles))
{
    for (const std::string& header : headers)
        m_headers = curl_slist_append(m_headers, header.c_str());
    for (Transfer& transfer : m_transfers) {
        transfer.handle = curl_easy_init();
        const auto set = [&transfer](CURLoption option, auto value) {
            curl_easy_setopt(transfer.handle, option, value);
        };
        set(CURLOPT_URL, url.c_str());
        set(CURLOPT_HTTPHEADER, m_headers);
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_ACCEPT_ENCODING, "");
        set(CURLOPT_BUFFERSIZE, 65536L);
        set(CURLOPT_TIMEOUT_MS, 30000L);
        set(CURLOPT_PRIVATE, &transfer);
        set(CURLOPT_WRITEFUNCTION, &take);
        set(CURLOPT_WRITEDATA, &transfer.body);
    }
}

CurlClient::~CurlClient()
{
    for (const Transfer& transfer : m_transfers)
        curl_easy_cleanup(transfer.handle);
    curl_multi_cleanup(m_multi);
    curl_slist_free_all(m_headers);
}

void CurlClient::check(CURL* handle, CURLcode code)
{
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    if (code != CURLE_OK || status != 200)
        qFatal("libcurl: %s, status %ld", curl_easy_strerror(code), status);
}

const std::string& CurlClient::get()
{
    Transfer& transfer = m_transfers.front();
    transfer.body.clear();
    check(transfer.handle, curl_easy_perform(transfer.handle));
    return transfer.body;
}

size_t CurlClient::getMany(int count)
{
    size_t bytes = 0;
    int toStart = count;
    int toFinish = count;
    const auto start = [&](Transfer& transfer) {
        transfer.body.clear();
        curl_multi_add_handle(m_multi, transfer.handle);
        --toStart;
    };
    for (Transfer& transfer : m_transfers) {
        if (toStart > 0)
            start(transfer);
    }
    while (toFinish > 0) {
        int running = 0;
        curl_multi_perform(m_multi, &running);
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(m_multi, &left)) {
            if (message->msg != CURLMSG_DONE)
                continue;
            CURL* handle = message->easy_handle;
            check(handle, message->data.result);
            char* pointer = nullptr;
            curl_easy_getinfo(handle, CURLINFO_PRIVATE, &pointer);
            auto& transfer = *static_cast<Transfer*>(static_cast<void*>(pointer));
            curl_multi_remove_handle(m_multi, handle);
            bytes += transfer.body.size();
            --toFinish;
            if (toStart > 0)
                start(transfer);
        }
        if (toFinish > 0)
            curl_multi_poll(m_multi, nullptr, 0, 1000, nullptr);
    }
    return bytes;
}
