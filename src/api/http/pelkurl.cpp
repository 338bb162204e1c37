#include "api/http/pelkurl.h"

#include "api/types/utf8.h"

#include <arpa/inet.h>

#include <algorithm>
#include <ostream>
#include <string_view>

namespace {

bool isHex(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isAlpha(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isUnreserved(char c)
{
    return isAlpha(c) || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_' || c == '~';
}

/// The characters that each part may have beside the unreserved ones (RFC 3986, appendix A).
constexpr std::string_view subDelims = "!$&'()*+,;=";
constexpr std::string_view pathExtra = "!$&'()*+,;=:@/";
constexpr std::string_view fragmentExtra = "!$&'()*+,;=:@/?";
constexpr std::string_view userInfoExtra = "!$&'()*+,;=:";

bool isOneOf(char c, std::string_view set)
{
    return set.find(c) != std::string_view::npos;
}

void appendEscaped(QByteArray& out, char c)
{
    constexpr char digits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    out += '%';
    out += digits[byte >> 4];
    out += digits[byte & 15];
}

/// Appends the text, escaping each byte that allowed(index) is false for.
template <typename Allowed>
void appendEscapedBut(QByteArray& out, const QByteArray& bytes, Allowed allowed)
{
    int from = 0;
    for (int i = 0; i < bytes.size(); ++i) {
        if (allowed(i))
            continue;
        out.append(bytes.constData() + from, i - from);
        appendEscaped(out, bytes.at(i));
        from = i + 1;
    }
    out.append(bytes.constData() + from, bytes.size() - from);
}

/// Encodes text whose percent signs are literal.
void appendEncoded(QByteArray& out, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    appendEscapedBut(out, bytes, [&bytes](int i) { return isUnreserved(bytes.at(i)); });
}

int hexValue(char c)
{
    return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
}

bool isSequence(const QByteArray& text, int at)
{
    return text.at(at) == '%' && at + 2 < text.size() && isHex(text.at(at + 1)) && isHex(text.at(at + 2));
}

/// Decodes the percent sequences; a percent sign that begins none stays (Qt's decoder makes bytes of any
/// two).
QString decoded(const QByteArray& text)
{
    QByteArray bytes;
    bytes.reserve(text.size());
    for (int i = 0; i < text.size(); ++i) {
        if (isSequence(text, i)) {
            bytes += static_cast<char>(hexValue(text.at(i + 1)) * 16 + hexValue(text.at(i + 2)));
            i += 2;
        } else {
            bytes += text.at(i);
        }
    }
    return textOfUtf8(bytes);
}

/// Encodes characters that are invalid in this part, and keeps existing percent sequences.
void appendMended(QByteArray& out, const QString& text, std::string_view extra)
{
    const QByteArray bytes = text.toUtf8();
    appendEscapedBut(out, bytes, [&bytes, extra](int i) {
        const char c = bytes.at(i);
        return isUnreserved(c) || isOneOf(c, extra) || isSequence(bytes, i);
    });
}

/// The length of the scheme that the text begins with, 0 without one.
int schemeLength(const QByteArray& text)
{
    if (text.isEmpty() || !isAlpha(text.at(0)))
        return 0;
    for (int i = 1; i < text.size(); ++i) {
        const char c = text.at(i);
        if (c == ':')
            return i;
        if (!isUnreserved(c) && c != '+')
            return 0;
        if (c == '_' || c == '~')
            return 0;
    }
    return 0;
}

bool isHostText(const QByteArray& host)
{
    return std::all_of(host.begin(), host.end(), [](char c) {
        const bool foreign = static_cast<unsigned char>(c) >= 0x80;
        return isUnreserved(c) || foreign || c == '%' || isOneOf(c, subDelims);
    });
}

} // namespace

PelkUrl::PelkUrl(const QString& url)
    : PelkUrl(fromEncoded(url.toUtf8()))
{
}

PelkUrl PelkUrl::fromEncoded(const QByteArray& url)
{
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7f; };
    if (std::any_of(url.begin(), url.end(), isControl))
        return {};

    PelkUrl result;
    QByteArray rest = url;
    const int hash = rest.indexOf('#');
    if (hash >= 0) {
        result.m_fragment = textOfUtf8(rest.mid(hash + 1));
        rest.truncate(hash);
    }
    const int mark = rest.indexOf('?');
    if (mark >= 0) {
        const QList<QByteArray> parts = rest.mid(mark + 1).split('&');
        for (const QByteArray& part : parts) {
            if (part.isEmpty())
                continue;
            const int equals = part.indexOf('=');
            const QByteArray key = equals < 0 ? part : part.left(equals);
            const QByteArray value = equals < 0 ? QByteArray() : part.mid(equals + 1);
            result.m_queryItems.append({decoded(key), decoded(value)});
        }
        rest.truncate(mark);
    }
    const int scheme = schemeLength(rest);
    if (scheme > 0) {
        result.m_scheme = QString::fromLatin1(rest.left(scheme)).toLower();
        rest.remove(0, scheme + 1);
    }
    if (rest.startsWith("//")) {
        const int slash = rest.indexOf('/', 2);
        const int end = slash < 0 ? rest.size() : slash;
        if (!result.parseAuthority(rest.mid(2, end - 2)))
            return {};
        rest.remove(0, end);
    }
    result.m_path = textOfUtf8(rest);
    return result;
}

bool PelkUrl::parseAuthority(const QByteArray& authority)
{
    const int at = authority.lastIndexOf('@');
    if (at >= 0)
        m_userInfo = textOfUtf8(authority.left(at));
    QByteArray host = authority.mid(at + 1);
    QByteArray port;
    const bool bracketed = host.startsWith('[');
    if (bracketed) {
        const int close = host.indexOf(']');
        if (close < 0 || (close + 1 < host.size() && host.at(close + 1) != ':'))
            return false;
        port = host.mid(close + 2);
        host = host.mid(1, close - 1);
        in6_addr address;
        if (inet_pton(AF_INET6, host.constData(), &address) != 1)
            return false;
    } else {
        const int colon = host.indexOf(':');
        if (colon >= 0) {
            port = host.mid(colon + 1);
            host.truncate(colon);
        }
    }
    const bool digits = std::all_of(port.begin(), port.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (!digits || (!bracketed && !isHostText(host)))
        return false;
    if (!port.isEmpty()) {
        bool fits = false;
        m_port = port.toUShort(&fits);
        if (!fits)
            return false;
    }
    m_host = textOfUtf8(host);
    return true;
}

bool PelkUrl::isEmpty() const
{
    return *this == PelkUrl();
}

QByteArray PelkUrl::toEncoded() const
{
    QByteArray out;
    out.reserve(256); // most are shorter
    if (!m_scheme.isEmpty()) {
        out += m_scheme.toUtf8();
        out += ':';
    }
    const bool hasAuthority = !m_host.isEmpty() || !m_userInfo.isEmpty() || m_port >= 0;
    if (hasAuthority) {
        out += "//";
        if (!m_userInfo.isEmpty()) {
            appendMended(out, m_userInfo, userInfoExtra);
            out += '@';
        }
        const bool brackets = m_host.contains(QLatin1Char(':'));
        if (brackets)
            out += '[';
        appendMended(out, m_host, brackets ? userInfoExtra : subDelims);
        if (brackets)
            out += ']';
        if (m_port >= 0)
            out += ':' + QByteArray::number(m_port);
        if (!m_path.isEmpty() && !m_path.startsWith(QLatin1Char('/')))
            out += '/';
    } else if (m_path.startsWith(QLatin1String("//"))) {
        // Else the path would be read as a host.
        out += "/.";
    } else if (m_scheme.isEmpty() && m_path.section(QLatin1Char('/'), 0, 0).contains(QLatin1Char(':'))) {
        // Else the first segment would be read as a scheme (RFC 3986, section 4.2).
        out += "./";
    }
    appendMended(out, m_path, pathExtra);
    char separator = '?';
    for (const auto& item : m_queryItems) {
        out += separator;
        appendEncoded(out, item.first);
        out += '=';
        appendEncoded(out, item.second);
        separator = '&';
    }
    if (!m_fragment.isEmpty()) {
        out += '#';
        appendMended(out, m_fragment, fragmentExtra);
    }
    return out;
}

QString PelkUrl::toString() const
{
    return QString::fromLatin1(toEncoded());
}

bool PelkUrl::operator==(const PelkUrl& other) const
{
    return m_scheme == other.m_scheme && m_userInfo == other.m_userInfo && m_host == other.m_host &&
           m_port == other.m_port && m_path == other.m_path && m_queryItems == other.m_queryItems &&
           m_fragment == other.m_fragment;
}

std::ostream& operator<<(std::ostream& stream, const PelkUrl& url)
{
    return stream << url.toEncoded().constData();
}
