#include "api/http/redirectrules.h"

namespace {

constexpr int mostRedirects = 10;

int portOf(const PelkUrl& url)
{
    if (url.port() >= 0)
        return url.port();
    return url.scheme() == QLatin1String("https") ? 443 : 80;
}

} // namespace

bool RedirectRules::isHttp(const PelkUrl& url)
{
    const QString scheme = url.scheme();
    return (scheme == QLatin1String("http") || scheme == QLatin1String("https")) && !url.host().isEmpty();
}

bool RedirectRules::isSameOrigin(const PelkUrl& a, const PelkUrl& b)
{
    return a.scheme() == b.scheme() && a.host().compare(b.host(), Qt::CaseInsensitive) == 0 &&
           portOf(a) == portOf(b);
}

bool RedirectRules::mayCarryHeaders(const PelkUrl& from, const PelkUrl& to)
{
    PelkUrl secured = from;
    if (from.scheme() == QLatin1String("http") && portOf(from) == 80) {
        secured.setScheme(QStringLiteral("https"));
        secured.setPort(-1);
    }
    return isSameOrigin(from, to) || isSameOrigin(secured, to);
}

QString RedirectRules::refusal(const PelkUrl& from, const PelkUrl& to, int followed, bool repeatsPost)
{
    if (followed >= mostRedirects)
        return QStringLiteral("More than %1 redirects").arg(mostRedirects);
    if (!isHttp(to))
        return QStringLiteral("Redirected to something other than http and https");
    if (from.scheme() == QLatin1String("https") && to.scheme() == QLatin1String("http"))
        return QStringLiteral("Redirected from https to http");
    if (repeatsPost && !isSameOrigin(from, to))
        return QStringLiteral("A POST was redirected to another server");
    return {};
}
