// A base URL, then one response per line, each with its serving-host header: "n" sends a new request before
// it, "o" answers a request to the first base. The base moves only as the rule allows; this file contains a
// second implementation of the rule.

#include "fuzz/input.h"
#include "fuzz/service.h"

namespace {

/// The host in a URL, found as in RFC 3986, appendix B; empty if the authority contains invalid characters.
QByteArray hostIn(const QByteArray& url)
{
    QByteArray authority = url.split('#').first().split('?').first();
    const int colon = authority.indexOf(':');
    if (colon >= 0 && authority.left(colon).indexOf('/') < 0)
        authority.remove(0, colon + 1);
    if (!authority.startsWith("//"))
        return {};
    authority = authority.mid(2).split('/').first();
    authority = authority.mid(authority.lastIndexOf('@') + 1);
    if (authority.startsWith('['))
        return authority.mid(1, authority.indexOf(']') - 1);
    return authority.split(':').first();
}

bool mayBecomeBase(const PelkUrl& requested, const PelkUrl& base, const QByteArray& header)
{
    const QByteArray host = hostIn(header);
    return requested.host() == base.host() && host != base.host().toUtf8() && host.endsWith(".qobuz.com");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    const QString apiUrl = textOfUtf8(input.line());
    if (PelkUrl(apiUrl).isEmpty())
        return 0;
    Service service(apiUrl);
    int answers = 0;
    const auto ask = [&service, &answers] {
        const PelkUrl relative(QStringLiteral("album/get?album_id=1"));
        service.http.get(relative, HttpClientOptions(),
                         [&answers](int, int, const QByteArray&, const HttpClientHeaders&) { ++answers; });
    };
    ask();
    for (int lines = 1; lines < 20 && !input.atEnd(); ++lines) {
        const QByteArray line = input.line();
        if (!line.startsWith('o') || Service::open() == 0)
            ask();
        // As a header field carries it.
        HttpClientHeaders header;
        header.insert(QStringLiteral("x"), QString::fromUtf8(line.mid(1)));
        const QString effective = header.value(QStringLiteral("x"));

        const PelkUrl base = service.http.getBaseUrl();
        const PelkUrl requested =
            Service::answer(200, "{}", effective, line.startsWith('o') ? 0 : Service::open() - 1);
        require(answers == lines, "Whatever the header, the answer arrives.");
        const PelkUrl now = service.http.getBaseUrl();
        if (now == base)
            continue;
        require(mayBecomeBase(requested, base, effective.toUtf8()),
                "The base moves only within the service's domain.", now.toString());
        require(now.host().toUtf8() == hostIn(effective.toUtf8()), "The new base is the header's host.",
                now.host());
        PelkUrl plain;
        plain.setScheme(now.scheme());
        plain.setHost(now.host());
        plain.setPath(QStringLiteral("/"));
        require(now == plain, "The new base is a scheme, a host and a slash.", now.toString());
    }
    Service::reset();
    return 0;
}
