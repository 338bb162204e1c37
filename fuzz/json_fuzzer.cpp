// A JSON text. What QJsonDocument reads, the parser reads too, and to the same values; what was read can be
// written and read again; a failure says where; nothing deeper than allowed is taken.

#include "api/core/json/pelkjson.h"
#include "fuzz/input.h"
#include "tests/support/heap.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#ifdef PELK_SANITIZER_ALLOCATOR
#include <sanitizer/lsan_interface.h>
#endif

namespace {

/// Whether a value is what another parser made of the same text.
bool isSame(const QVariant& value, const QJsonValue& other)
{
    switch (other.type()) {
    case QJsonValue::Null:
        return !value.isValid();
    case QJsonValue::Bool:
        return value.userType() == QMetaType::Bool && value.toBool() == other.toBool();
    case QJsonValue::String:
        return value.userType() == QMetaType::QString && value.toString() == other.toString();
    case QJsonValue::Double:
        return value.toDouble() == other.toDouble();
    case QJsonValue::Array: {
        const QVariantList list = value.toList();
        const QJsonArray array = other.toArray();
        bool same = value.userType() == QMetaType::QVariantList && list.size() == array.size();
        for (int i = 0; same && i < list.size(); ++i)
            same = isSame(list.at(i), array.at(i));
        return same;
    }
    default: {
        const QVariantHash hash = value.toHash();
        const QJsonObject object = other.toObject();
        // Beside a key that is not ASCII it overlooks equal keys, and takes different ones for equal.
        bool mixed = false;
        bool known = true;
        for (auto field = object.begin(); field != object.end(); ++field) {
            const QString key = field.key();
            mixed = mixed || key.toUtf8().size() != key.size();
            known = known && hash.contains(key);
        }
        if (mixed)
            return known;
        bool same = value.userType() == QMetaType::QVariantHash && hash.size() == object.size();
        for (auto field = object.begin(); same && field != object.end(); ++field)
            same = hash.contains(field.key()) && isSame(hash.value(field.key()), field.value());
        return same;
    }
    }
}

/// What QJsonDocument makes of a text. It loses what an equal key replaces, which is not to be reported here.
QJsonDocument otherReading(const QByteArray& text, QJsonParseError* error)
{
#ifdef PELK_SANITIZER_ALLOCATOR
    const __lsan::ScopedDisabler disabler;
#endif
    return QJsonDocument::fromJson(text, error);
}

int depthOf(const QVariant& value)
{
    int depth = 0;
    for (const QVariant& item : value.toList())
        depth = qMax(depth, depthOf(item));
    for (const QVariant& item : value.toHash())
        depth = qMax(depth, depthOf(item));
    const bool nests =
        value.userType() == QMetaType::QVariantList || value.userType() == QMetaType::QVariantHash;
    return depth + (nests ? 1 : 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const Input input(data, size);
    const QByteArray& text = input.rest();
    PelkError error;
    unsigned int offset = 0;
    const QVariant value = PelkJson::parse(text, error, &offset);
    const int depth = depthOf(value);
    require(depth <= PelkJson::maxDepth, "Nothing nests deeper than allowed.");
    if (!error.isEmpty()) {
        require(!value.isValid(), "A failure has no value.");
        require(offset <= size, "A failure is within the text.");
        require(error.message().endsWith(QStringLiteral(" at offset %1").arg(offset)),
                "A failure names its place.");
    }

    QJsonParseError otherError{};
    const QJsonDocument other = otherReading(text, &otherError);
    // It has more patience with numbers such as "1.", and with depth.
    const bool stricter = error.message().startsWith(QLatin1String("nested deeper")) ||
                          error.message().startsWith(QLatin1String("illegal number"));
    // It takes any byte behind a backslash.
    bool escapesBytes = false;
    for (int i = text.indexOf('\\'); i >= 0 && i + 1 < text.size(); i = text.indexOf('\\', i + 1))
        escapesBytes = escapesBytes || static_cast<unsigned char>(text.at(i + 1)) >= 0x80;
    // It leaves byte order marks out of texts.
    const bool marked = text.indexOf("\xEF\xBB\xBF", 1) > 0;
    if (otherError.error == QJsonParseError::NoError && !stricter && !marked && !escapesBytes) {
        require(error.isEmpty(), "What one parser takes the other takes.", error.message());
        require(isSame(value, other.isArray() ? QJsonValue(other.array()) : QJsonValue(other.object())),
                "Two parsers read the same values.");
    }
    // And back: what both readings of one parser take, with the second forced by a lone surrogate, is the
    // same.
    if (error.isEmpty()) {
        PelkError none;
        const QVariant second = PelkJson::parse("[" + text + ",\"\\ud800\"]", none);
        const bool mark = text.startsWith("\xEF\xBB\xBF");
        const bool deepest = depth == PelkJson::maxDepth;
        require(mark || deepest || (none.isEmpty() && second.toList().value(0) == value),
                "Both readings give the same values.", none.message());
    }
    if (error.isEmpty()) {
        const QByteArray written = PelkJson::serialize(value);
        const QVariant again = PelkJson::parse(written, error);
        require(error.isEmpty(), "What was written can be read.", error.message());
        require(again == value, "What was written reads as it was.", QString::fromUtf8(written));
        require(PelkJson::serialize(again) == written, "Equal values are written as equal bytes.");
    }
    return 0;
}
