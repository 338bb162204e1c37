#include "api/types/trstring.h"

#include <QCoreApplication>

namespace {

const bool converterRegistered = QMetaType::registerConverter<TrString, QString>(&TrString::toString);

/// Fills %1 ... %99 in one pass.
QString filled(const QString& pattern, const QList<TrArg>& arguments)
{
    QString text;
    text.reserve(pattern.size());
    for (int i = 0; i < pattern.size(); ++i) {
        int digits = 0;
        int number = 0;
        if (pattern.at(i) == QLatin1Char('%')) {
            while (digits < 2 && i + 1 + digits < pattern.size() && pattern.at(i + 1 + digits).isDigit()) {
                number = number * 10 + pattern.at(i + 1 + digits).digitValue();
                ++digits;
            }
        }
        if (digits > 0 && number >= 1 && number <= arguments.size()) {
            text += arguments.at(number - 1).text;
            i += digits;
        } else {
            text += pattern.at(i);
        }
    }
    return text;
}

} // namespace

TrString::TrString(const TrCharData& data, const QList<TrArg>& arguments)
    : m_context(data.context)
    , m_source(data.source.isNull() ? QByteArray("") : data.source)
    , m_comment(data.comment)
    , m_count(data.count)
    , m_arguments(arguments)
{
}

QString TrString::toString() const
{
    if (!isTranslatable())
        return m_plain;
    const char* comment = m_comment.isNull() ? nullptr : m_comment.constData();
    const QString text =
        QCoreApplication::translate(m_context.constData(), m_source.constData(), comment, m_count);
    return m_arguments.isEmpty() ? text : filled(text, m_arguments);
}

TrString::operator QVariant() const
{
    if (!isTranslatable())
        return m_plain;
    return QVariant::fromValue(*this);
}

TrString TrString::fromVariant(const QVariant& value)
{
    if (value.userType() == qMetaTypeId<TrString>())
        return value.value<TrString>();
    return TrString(value.toString());
}

bool TrString::operator==(const TrString& other) const
{
    if (m_plain != other.m_plain || m_context != other.m_context || m_source != other.m_source ||
        m_comment != other.m_comment || m_count != other.m_count ||
        m_arguments.size() != other.m_arguments.size())
        return false;
    for (int i = 0; i < m_arguments.size(); ++i)
        if (m_arguments.at(i).text != other.m_arguments.at(i).text)
            return false;
    return true;
}

QByteArray trExtractContext(const char* signature)
{
    QByteArray text(signature);
    // What follows is Clang's spelling turned into GCC's; a text that GCC made passes through unchanged.
    text.replace(" &", "&");
    for (int i = text.indexOf(" *"); i >= 0; i = text.indexOf(" *", i)) {
        const char next = i + 2 < text.size() ? text.at(i + 2) : '\0';
        const bool nameFollows = next == '_' || (next >= 'a' && next <= 'z') || (next >= 'A' && next <= 'Z');
        text.replace(i, 2, nameFollows ? "* " : "*");
    }
    text.replace(" (", "(");
    const int parameters = text.lastIndexOf(" [");
    if (parameters >= 0 && text.endsWith(']') && !text.mid(parameters + 2).startsWith("with "))
        text.insert(parameters + 2, "with ");
    static const QByteArray lambda("::(anonymous class)::operator()");
    const int at = text.indexOf(lambda);
    if (at >= 0) {
        const bool immutable = text.endsWith(" const");
        if (immutable)
            text.chop(6);
        text.replace(at, lambda.size(), "::<lambda");
        text += immutable ? ">" : "> mutable";
        if (text.startsWith("auto "))
            text.remove(0, 5);
    }
    return text;
}
