#include "api/http/httpclientheaders.h"

#include <algorithm>

namespace {

bool isTokenCharacter(QChar c)
{
    const ushort code = c.unicode();
    const bool alphanumeric =
        (code >= '0' && code <= '9') || (code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z');
    return alphanumeric || QStringLiteral("!#$%&'*+-.^_`|~").contains(c);
}

} // namespace

void HttpClientHeaders::insert(const QString& name, const QString& value)
{
    if (name.isEmpty() || !std::all_of(name.begin(), name.end(), isTokenCharacter))
        return;
    QString clean = value;
    clean.remove(QLatin1Char('\r')).remove(QLatin1Char('\n')).remove(QChar());
    const int index = indexOf(name);
    if (index < 0)
        m_items.append({name, clean});
    else
        m_items[index] = {name, clean};
}

bool HttpClientHeaders::contains(const QString& name) const
{
    return indexOf(name) >= 0;
}

QString HttpClientHeaders::value(const QString& name, const QString& defaultValue) const
{
    const int index = indexOf(name);
    return index < 0 ? defaultValue : m_items.at(index).second;
}

int HttpClientHeaders::indexOf(const QString& name) const
{
    for (int i = 0; i < m_items.size(); ++i) {
        if (m_items.at(i).first.compare(name, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}
