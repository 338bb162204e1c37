// A base URL in the first line, a relative one in the second. A written URL reads as the same URL, only the
// base decides where a request goes, and libcurl finds the same host and port in the text.

#include "api/http/redirectrules.h"
#include "fuzz/input.h"
#include "fuzz/service.h"

#include <curl/curl.h>

namespace {

void staysItself(const PelkUrl& url)
{
    const QByteArray text = url.toEncoded();
    const PelkUrl again = PelkUrl::fromEncoded(text);
    require(again.toEncoded() == text, "A written URL is written so again.", url.toString());
    require(again.scheme() == url.scheme() && again.port() == url.port() &&
                again.queryItems() == url.queryItems(),
            "Its parts stay.", url.toString());
    require(again.host() == url.host() || url.toEncoded().contains('%'), "A host stays as it was written.");
    for (const char c : text)
        require(c > 0x20 && c < 0x7f, "A written URL is visible ASCII.", url.toString());
}

QByteArray part(CURLU* url, CURLUPart which)
{
    char* text = nullptr;
    curl_url_get(url, which, &text, 0);
    const QByteArray copy(text);
    curl_free(text);
    return copy;
}

/// Addresses of numbers have more than one spelling, which libcurl makes one of.
bool isName(const QByteArray& host)
{
    const char first = host.isEmpty() ? '0' : host.at(0);
    return !host.contains(':') && (first < '0' || first > '9');
}

void goesWhereItSays(const PelkUrl& url)
{
    CURLU* reading = curl_url();
    if (curl_url_set(reading, CURLUPART_URL, url.toEncoded().constData(), CURLU_PATH_AS_IS) == CURLUE_OK) {
        const QByteArray host = part(reading, CURLUPART_HOST);
        const QByteArray written = PelkUrl::fromEncoded(url.toEncoded()).host().toUtf8();
        const QByteArray meant = QByteArray::fromPercentEncoding(written);
        require(!isName(host) || meant == host || meant == QByteArray::fromPercentEncoding(host),
                "The host that is connected to is the URL's.", QString::fromUtf8(host));
        const QByteArray port = part(reading, CURLUPART_PORT);
        require(port.isEmpty() ? url.port() <= 0 : port.toInt() == url.port(), "So is the port.",
                QString::fromUtf8(port));
    }
    curl_url_cleanup(reading);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    const QByteArray baseText = input.line();
    const PelkUrl base = PelkUrl::fromEncoded(QString::fromUtf8(baseText).toUtf8());
    const PelkUrl relative = PelkUrl::fromEncoded(input.line());
    staysItself(base);
    staysItself(relative);
    if (RedirectRules::isHttp(base))
        goesWhereItSays(base);
    if (base.isEmpty())
        return 0;

    Service service(QString::fromUtf8(baseText));
    const PelkUrl composed = service.http.composeUrl(relative);
    require(composed.scheme() == base.scheme() && composed.host() == base.host() &&
                composed.port() == base.port() && composed.userInfo() == base.userInfo(),
            "The base alone says where a request goes.", composed.toString());
    require(composed.path() == base.path() + relative.path(), "Paths are joined as they are.");
    require(composed.queryItems() == relative.queryItems() && composed.fragment() == relative.fragment(),
            "Query and fragment are the relative URL's.");
    if (RedirectRules::isHttp(base)) {
        const PelkUrl sent = PelkUrl::fromEncoded(composed.toEncoded());
        const PelkUrl alone = PelkUrl::fromEncoded(base.toEncoded());
        require(sent.host() == alone.host() && sent.port() == alone.port() && sent.scheme() == alone.scheme(),
                "No relative URL changes where it goes.", sent.toString());
        goesWhereItSays(composed);
    }
    require(!(RedirectRules::refusal(base, relative, 0, false).isEmpty() &&
              base.scheme() == QLatin1String("https") && relative.scheme() != QLatin1String("https")),
            "No redirect leads away from https.");
    Service::reset();
    return 0;
}
