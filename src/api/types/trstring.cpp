#include "api/types/trstring.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include <cstring>

namespace {

// Without a comparator, two variants with equal texts differ unless they share one.
const bool typeRegistered = QMetaType::registerConverter<TrString, QString>(&TrString::toString) &&
                            QMetaType::registerEqualsComparator<TrString>();

/// The place of the parenthesis that closes the one at `open`, or -1.
int closingOf(const QString& text, int open)
{
    int depth = 0;
    for (int i = open; i < text.size(); ++i) {
        if (text.at(i) == QLatin1Char('('))
            ++depth;
        else if (text.at(i) == QLatin1Char(')') && --depth == 0)
            return i;
    }
    return -1;
}

/// "void (int)" becomes "void(int)"; "void (*)(int)", which both compilers write so, stays.
void closeFunctionTypes(QString* text)
{
    for (int i = text->indexOf(QLatin1String(" (")); i >= 0; i = text->indexOf(QLatin1String(" ("), i + 1)) {
        const int end = closingOf(*text, i + 1);
        const QChar next = end >= 0 && end + 1 < text->size() ? text->at(end + 1) : QChar();
        if (next != QLatin1Char('(') && next != QLatin1Char('['))
            text->remove(i, 1);
    }
}

/// "auto f()::(anonymous class)::operator()(int) const" becomes "f()::<lambda(int)>".
void nameLambdas(QString* text)
{
    const QString lambda = QStringLiteral("::(anonymous class)::operator()");
    int at = text->indexOf(lambda);
    if (at < 0)
        return;
    if (text->startsWith(QLatin1String("auto ")))
        text->remove(0, 5);
    while ((at = text->indexOf(lambda)) >= 0) {
        text->replace(at, lambda.size(), QStringLiteral("::<lambda"));
        const int end = closingOf(*text, at + 9);
        if (end < 0)
            return;
        text->insert(end + 1, QLatin1Char('>'));
        const QStringRef behind = text->midRef(end + 2);
        if (behind.startsWith(QLatin1String(" const")))
            text->remove(end + 2, 6);
        else if (!behind.startsWith(QLatin1String("::")))
            text->insert(end + 2, QStringLiteral(" mutable"));
    }
}

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

/// Whether a signature has anything that the compilers spell in their own ways.
bool mayBeSpelledAnotherWay(const char* signature)
{
    for (const char* mark : {" *", " &", " (", " [", "(anonymous", "(lambda", "long", "short"})
        if (std::strstr(signature, mark))
            return true;
    return false;
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

QString TrString::resolved(const Resolver& resolver) const
{
    if (!isTranslatable())
        return m_plain;
    QString text = resolver(*this);
    if (text.isNull())
        text = QString::fromUtf8(m_source);
    if (m_count >= 0)
        text.replace(QLatin1String("%n"), QString::number(m_count));
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
    // Most signatures are spelled alike, and the first regular expression of a process takes half a megabyte.
    if (!mayBeSpelledAnotherWay(signature))
        return signature;
    QString text = QString::fromUtf8(signature);
    // The following converts Clang's spelling to GCC's; GCC's own text is not changed.
    text.replace(QLatin1String("(anonymous namespace)"), QLatin1String("{anonymous}"));
    static const QRegularExpression beforeName(QStringLiteral(" ([*&]+)(?=[A-Za-z_{])"));
    text.replace(beforeName, QStringLiteral("\\1 "));
    // Both write the qualifier behind a member function as " &".
    static const QRegularExpression reference(QStringLiteral("(?<!\\))(?<!\\) const) &"));
    text.replace(reference, QStringLiteral("&"));
    text.replace(QLatin1String(" *"), QLatin1String("*"));
    static const QRegularExpression integer(QStringLiteral(
        "(?<!long )(?<!short )\\b(unsigned )?(long long|long|short)\\b(?! (?:unsigned|int|double|long))"));
    text.replace(integer, QStringLiteral("\\2 \\1int"));
    closeFunctionTypes(&text);
    const int parameters = text.lastIndexOf(QLatin1String(" ["));
    if (parameters >= 0 && text.endsWith(QLatin1Char(']')) &&
        !text.midRef(parameters + 2).startsWith(QLatin1String("with "))) {
        static const QRegularExpression separator(QStringLiteral(", (?=\\w+ = )"));
        const QString list = text.mid(parameters + 2).replace(separator, QStringLiteral("; "));
        text = text.left(parameters) + QStringLiteral(" [with ") + list;
    }
    nameLambdas(&text);
    return text.toUtf8();
}
