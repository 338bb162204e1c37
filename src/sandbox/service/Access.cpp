#include "sandbox/service/Access.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

namespace sandbox {
namespace {

std::int64_t nowMs()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

std::string hex(const unsigned char* bytes, unsigned size)
{
    std::string text;
    for (unsigned i = 0; i < size; ++i) {
        text += "0123456789abcdef"[bytes[i] >> 4];
        text += "0123456789abcdef"[bytes[i] & 15];
    }
    return text;
}

} // namespace

std::string md5Hex(const std::string& bytes)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_md5(), nullptr);
    return hex(digest, size);
}

std::string hmacHex(const std::string& key, const std::string& bytes)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
         reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest, &size);
    return hex(digest, size);
}

Access::Access(const Options& options)
    : m_options(options)
{
}

bool Access::knowsAccount(const std::string& userName, const std::string& passwordMd5) const
{
    return userName == demo::userName && passwordMd5 == md5Hex(demo::password);
}

std::string Access::issueToken()
{
    const std::lock_guard lock(m_mutex);
    // Strictly ascending, so that a token is on one side of a cut also within one millisecond.
    m_lastIssueMs = std::max({nowMs(), m_lastIssueMs + 1, m_cutIssueMs + 1});
    const std::string body = std::to_string(m_lastIssueMs) + "-" +
                             std::to_string(m_lastIssueMs + m_options.tokenTtlSeconds * std::int64_t(1000));
    return body + "-" + hmacHex(m_options.appSecret, body);
}

bool Access::acceptsToken(const std::string& token) const
{
    const auto mark = token.rfind('-');
    if (mark == std::string::npos ||
        hmacHex(m_options.appSecret, token.substr(0, mark)) != token.substr(mark + 1))
        return false;
    char* rest = nullptr;
    const std::int64_t issuedMs = std::strtoll(token.c_str(), &rest, 10);
    const std::int64_t endsMs = std::strtoll(rest + 1, nullptr, 10);
    const std::lock_guard lock(m_mutex);
    return nowMs() < (issuedMs <= m_cutIssueMs ? std::min(endsMs, m_cutMs) : endsMs);
}

void Access::expireTokens(int seconds)
{
    const std::lock_guard lock(m_mutex);
    m_cutIssueMs = std::max(nowMs(), m_lastIssueMs);
    m_cutMs = nowMs() + seconds * std::int64_t(1000);
}

std::string Access::signature(const std::string& endpoint, QueryItems query,
                              const std::string& requestTs) const
{
    std::string text = endpoint;
    text.erase(std::remove(text.begin(), text.end(), '/'), text.end());
    std::sort(query.begin(), query.end());
    for (const auto& [key, value] : query) {
        if (key != "app_id" && key != "user_auth_token" && key != "request_ts" && key != "request_sig")
            text += key + value;
    }
    return md5Hex(text + requestTs + m_options.appSecret);
}

} // namespace sandbox
