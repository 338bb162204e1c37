#include "api/types/cmpath.h"

#include "api/types/utf8.h"

#include <QByteArray>
#include <QHash>

#include <algorithm>

namespace {

bool isPrefixChar(QChar c, bool first)
{
    const ushort u = c.unicode();
    const bool letter = (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z');
    return letter || (!first && ((u >= '0' && u <= '9') || u == '+' || u == '-' || u == '.'));
}

/// Length of the prefix at the start of a text, without its colon; -1 if there is none.
int prefixLength(const QString& text)
{
    for (int i = 0; i < text.size(); ++i) {
        if (text.at(i) == QLatin1Char(':'))
            return i > 0 ? i : -1;
        if (!isPrefixChar(text.at(i), i == 0))
            return -1;
    }
    return -1;
}

/// The unreserved characters of RFC 3986.
bool isUnreserved(QChar c)
{
    const ushort u = c.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '-' ||
           u == '.' || u == '_' || u == '~';
}

int hexDigit(QChar c)
{
    const ushort u = c.unicode();
    if (u >= '0' && u <= '9')
        return u - '0';
    if (u >= 'A' && u <= 'F')
        return u - 'A' + 10;
    return u >= 'a' && u <= 'f' ? u - 'a' + 10 : -1;
}

bool isPercentSequence(const QString& text, int at)
{
    return text.at(at) == QLatin1Char('%') && at + 2 < text.size() && hexDigit(text.at(at + 1)) >= 0 &&
           hexDigit(text.at(at + 2)) >= 0;
}

QString decoded(const QString& text)
{
    if (!text.contains(QLatin1Char('%')))
        return text;
    // A percent sign that begins no sequence is one, where Qt's function makes up a byte.
    QByteArray bytes;
    for (int i = 0; i < text.size();) {
        if (isPercentSequence(text, i)) {
            bytes += char(hexDigit(text.at(i + 1)) * 16 + hexDigit(text.at(i + 2)));
            i += 3;
            continue;
        }
        const int next = text.indexOf(QLatin1Char('%'), i + 1);
        const int end = next < 0 ? text.size() : next;
        bytes += text.midRef(i, end - i).toUtf8();
        i = end;
    }
    return textOfUtf8(bytes);
}

/// A parameter's name or value: all but the unreserved characters of RFC 3986 is encoded. Qt's query class
/// leaves plus signs and decodes what must stay, so this is not left to it.
QString encodedParam(const QString& text)
{
    if (std::all_of(text.begin(), text.end(), isUnreserved))
        return text; // as nearly all are
    return QString::fromLatin1(text.toUtf8().toPercentEncoding());
}

/// Only ambiguous characters are encoded, each by itself. So if the base of a path begins with that of
/// another path, the same is true of their text forms.
QString encodedBase(const QString& base, bool withPrefix)
{
    const auto readsAsSomethingElse = [withPrefix](QChar c) {
        return c == QLatin1Char('%') || c == QLatin1Char('?') || c == QLatin1Char('#') ||
               c <= QLatin1Char(' ') || c == QChar(0x7f) || (!withPrefix && c == QLatin1Char(':'));
    };
    if (std::none_of(base.begin(), base.end(), readsAsSomethingElse))
        return base;
    QString text;
    text.reserve(base.size());
    for (const QChar c : base) {
        if (readsAsSomethingElse(c))
            text += QString::fromLatin1(QByteArray(1, c.toLatin1()).toPercentEncoding());
        else
            text += c;
    }
    return text;
}

/// A sentence about the first malformed percent sequence or control character, or an empty text.
QString fault(const QString& text)
{
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            return QStringLiteral("it has a control character at position %1; write it as a percent sequence "
                                  "such as %0A")
                .replace(QLatin1String("%1"), QString::number(i));
        if (c != QLatin1Char('%'))
            continue;
        if (!isPercentSequence(text, i))
            return QStringLiteral(
                       "the percent sign at position %1 is not followed by two hexadecimal digits; a percent "
                       "sign itself is written as %25")
                .replace(QLatin1String("%1"), QString::number(i));
    }
    return QString();
}

} // namespace

CMPath::CMPath(const QString& text)
{
    const int question = text.indexOf(QLatin1Char('?'));
    QString address = question < 0 ? text : text.left(question);
    const int length = prefixLength(address);
    if (length > 0) {
        m_prefix = address.left(length);
        address.remove(0, length + 1);
    }
    m_base = decoded(address);
    if (question < 0)
        return;
    const auto pairs = text.mid(question + 1).split(QLatin1Char('&'), Qt::SkipEmptyParts);
    for (const QString& pair : pairs) {
        const int equals = pair.indexOf(QLatin1Char('='));
        const QString name = equals < 0 ? pair : pair.left(equals);
        const QString value = equals < 0 ? QString() : pair.mid(equals + 1);
        m_params.append(qMakePair(decoded(name), decoded(value)));
    }
}

bool CMPath::parse(const QString& text, CMPath* path, QString* error)
{
    QString reason = fault(text);
    if (reason.isEmpty() && text.startsWith(QLatin1Char(':')))
        reason = QStringLiteral("the name of a service is missing before its first colon");
    if (!reason.isEmpty()) {
        *error =
            QStringLiteral("\"") + text + QStringLiteral("\" is not a path: ") + reason + QLatin1Char('.');
        return false;
    }
    *path = CMPath(text);
    return true;
}

CMPath CMPath::operator+(const QString& component) const
{
    CMPath result(*this);
    if (m_base.isEmpty())
        result.m_base = component;
    else
        result.m_base += m_base.endsWith(QLatin1Char('/')) ? component : QLatin1Char('/') + component;
    return result;
}

void CMPath::addParam(const QString& name, const QString& value)
{
    m_params.append(qMakePair(name, value));
}

bool CMPath::hasParam(const QString& name) const
{
    for (const auto& pair : m_params)
        if (pair.first == name)
            return true;
    return false;
}

QString CMPath::param(const QString& name) const
{
    for (const auto& pair : m_params)
        if (pair.first == name)
            return pair.second;
    return QString();
}

CMPath CMPath::withoutParams() const
{
    CMPath result(*this);
    result.m_params.clear();
    return result;
}

bool CMPath::contains(const QString& text) const
{
    return toString().contains(text);
}

bool CMPath::startsWith(const CMPath& start, QString* rest) const
{
    const QString text = toString();
    const QString head = start.toString();
    if (!text.startsWith(head))
        return false;
    if (rest)
        *rest = text.mid(head.size());
    return true;
}

QString CMPath::toString() const
{
    int size = m_prefix.size() + 1 + m_base.size();
    for (const auto& pair : m_params)
        size += pair.first.size() + pair.second.size() + 2;
    QString text;
    text.reserve(size);
    if (!m_prefix.isEmpty())
        (text += m_prefix) += QLatin1Char(':');
    text += encodedBase(m_base, !m_prefix.isEmpty());
    QChar separator = QLatin1Char('?');
    for (const auto& pair : m_params) {
        (text += separator) += encodedParam(pair.first);
        (text += QLatin1Char('=')) += encodedParam(pair.second);
        separator = QLatin1Char('&');
    }
    return text;
}

bool CMPath::operator==(const CMPath& other) const
{
    return m_prefix == other.m_prefix && m_base == other.m_base && m_params == other.m_params;
}

uint qHash(const CMPath& path, uint seed)
{
    return qHash(path.prefix(), seed) ^ (qHash(path.base(), seed) * 31U) ^ uint(path.params().size());
}
