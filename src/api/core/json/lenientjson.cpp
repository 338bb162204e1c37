#include "api/core/json/lenientjson.h"

#include "api/core/json/pelkjson.h"

#include <QTextCodec>
#include <QVariantHash>
#include <QVariantList>

#include <cctype>
#include <cstring>

QVariant LenientJson::read()
{
    QVariant value;
    if (!skipBlanks()) {
        fail("no JSON value");
        return {};
    }
    if (!readValue(&value))
        return {};
    if (skipBlanks()) {
        fail("garbage at the end of the document");
        return {};
    }
    return value;
}

bool LenientJson::fail(const char* reason)
{
    m_reason = QLatin1String(reason);
    return false;
}

bool LenientJson::take(char c)
{
    if (atEnd() || next() != c)
        return false;
    ++m_at;
    return true;
}

/// False at the end of the text.
bool LenientJson::skipBlanks()
{
    while (!atEnd() && std::strchr(" \t\r\n", next()) && next() != '\0')
        ++m_at;
    return !atEnd();
}

bool LenientJson::readValue(QVariant* value)
{
    switch (next()) {
    case '{':
    case '[': {
        if (m_depth == PelkJson::maxDepth) {
            m_reason = QStringLiteral("nested deeper than %1").arg(PelkJson::maxDepth);
            return false;
        }
        ++m_depth;
        const bool read = next() == '{' ? readObject(value) : readArray(value);
        --m_depth;
        return read;
    }
    case '"': {
        QString text;
        if (!readString(&text))
            return false;
        *value = text;
        return true;
    }
    case 't':
        return readWord("true", true, value);
    case 'f':
        return readWord("false", false, value);
    case 'n':
        return readWord("null", QVariant(), value);
    default:
        return readNumber(value);
    }
}

bool LenientJson::readObject(QVariant* value)
{
    QVariantHash hash;
    ++m_at;
    skipBlanks();
    for (bool first = true; !take('}'); first = false) {
        if (!first && !take(','))
            return fail(atEnd() ? "unterminated object" : "missing comma");
        skipBlanks();
        QString key;
        if (next() != '"')
            return fail(atEnd() ? "unterminated object" : "object is missing a name");
        if (!readString(&key))
            return false;
        skipBlanks();
        if (!take(':'))
            return fail("missing name separator");
        skipBlanks();
        QVariant item;
        if (!readValue(&item))
            return false;
        hash.insert(key, item);
        skipBlanks();
    }
    *value = hash;
    return true;
}

bool LenientJson::readArray(QVariant* value)
{
    QVariantList list;
    ++m_at;
    skipBlanks();
    for (bool first = true; !take(']'); first = false) {
        if (!first && !take(','))
            return fail(atEnd() ? "unterminated array" : "missing comma");
        skipBlanks();
        QVariant item;
        if (!readValue(&item))
            return false;
        list.append(item);
        skipBlanks();
    }
    *value = list;
    return true;
}

bool LenientJson::readString(QString* text)
{
    static QTextCodec* const utf8 = QTextCodec::codecForName("UTF-8");
    ++m_at;
    while (!take('"')) {
        const int from = m_at;
        while (!atEnd() && next() != '"' && next() != '\\')
            ++m_at;
        QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
        *text += utf8->toUnicode(m_text.constData() + from, m_at - from, &state);
        if (state.invalidChars > 0 || state.remainingChars > 0) {
            m_at = from;
            while (static_cast<unsigned char>(next()) < 0x80)
                ++m_at;
            return fail("invalid UTF-8 string");
        }
        if (atEnd())
            return fail("unterminated string");
        if (next() == '\\' && !readEscape(text))
            return false;
    }
    return true;
}

bool LenientJson::readEscape(QString* text)
{
    ++m_at;
    static const char letters[] = "bfnrt";
    static const char meanings[] = "\b\f\n\r\t";
    const char letter = next();
    if (letter == 'u') {
        bool isNumber = false;
        const QByteArray digits = m_text.mid(m_at + 1, 4);
        const ushort unit = digits.toUShort(&isNumber, 16);
        // The conversion would take blanks and signs.
        for (const char c : digits)
            isNumber = isNumber && std::isxdigit(static_cast<unsigned char>(c)) != 0;
        if (!isNumber || digits.size() < 4)
            return fail("illegal escape sequence");
        *text += QChar(unit); // whether the other half of a pair follows or not
        m_at += 5;
        return true;
    }
    if (atEnd())
        return fail("illegal escape sequence");
    if (static_cast<unsigned char>(letter) >= 0x80)
        return true; // read with what follows
    const char* const known = letter == '\0' ? nullptr : std::strchr(letters, letter);
    *text += QLatin1Char(known ? meanings[known - letters] : letter);
    ++m_at;
    return true;
}

bool LenientJson::readNumber(QVariant* value)
{
    const int from = m_at;
    const auto digits = [this] {
        const int first = m_at;
        while (next() >= '0' && next() <= '9')
            ++m_at;
        return m_at > first;
    };
    take('-');
    if (!take('0') && !digits()) {
        const bool likeANumber = m_at > from || next() == '.' || next() == '+';
        return fail(likeANumber ? "illegal number" : "illegal value");
    }
    bool isInteger = true;
    if (take('.')) {
        isInteger = false;
        if (!digits())
            return fail("illegal number");
    }
    if (take('e') || take('E')) {
        isInteger = false;
        if (!take('+'))
            take('-');
        if (!digits())
            return fail("illegal number");
    }
    const QByteArray text = m_text.mid(from, m_at - from);
    bool fits = false;
    if (isInteger) {
        *value = text.toLongLong(&fits);
        if (!fits)
            *value = text.toULongLong(&fits);
    }
    if (!fits) {
        // Numbers too small to be represented become 0.
        const double number = text.toDouble(&fits);
        fits = fits || number == 0.0;
        *value = number;
    }
    return fits || fail("illegal number");
}

bool LenientJson::readWord(const char* word, const QVariant& meaning, QVariant* value)
{
    const int length = static_cast<int>(std::strlen(word));
    if (m_text.mid(m_at, length) != word)
        return fail("illegal value");
    m_at += length;
    *value = meaning;
    return true;
}
