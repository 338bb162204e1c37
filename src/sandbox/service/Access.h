#pragma once

#include "sandbox/Options.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace sandbox {

/// Query items in the order in which they were received, decoded.
using QueryItems = std::vector<std::pair<std::string, std::string>>;

/// Lower-case hexadecimal MD5 of the bytes.
std::string md5Hex(const std::string& bytes);
/// Lower-case hexadecimal HMAC-SHA256 of the bytes.
std::string hmacHex(const std::string& key, const std::string& bytes);

/// Authentication: the application id, the account, tokens and request signatures. Any thread.
class Access
{
public:
    /// A request's time stamp may be this far from the sandbox's clock, either way.
    static constexpr std::int64_t requestAgeSeconds = 300;

    explicit Access(const Options& options);

    bool knowsApp(const std::string& appId) const { return appId == m_options.appId; }
    /// `passwordMd5` is the lower-case hexadecimal MD5 of the password.
    bool knowsAccount(const std::string& userName, const std::string& passwordMd5) const;

    /// Issues a token. It stays valid after a restart with the same application secret, so a saved login
    /// still works.
    std::string issueToken();
    bool acceptsToken(const std::string& token) const;
    /// Makes all tokens issued so far expire in `seconds`; 0 or less: at once. Later tokens are not affected.
    void expireTokens(int seconds);

    /// The signature of a call: MD5 of the method's path without slashes, the items sorted (those about the
    /// caller and the signature itself left out), the time stamp and the application secret.
    std::string signature(const std::string& endpoint, QueryItems query, const std::string& requestTs) const;

private:
    Options m_options;
    mutable std::mutex m_mutex;
    std::int64_t m_lastIssueMs = 0;
    std::int64_t m_cutIssueMs = 0; ///< tokens issued up to here …
    std::int64_t m_cutMs = 0;      ///< … end then
};

} // namespace sandbox
