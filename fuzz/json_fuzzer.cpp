// A JSON text. Every text that an independent parser accepts must be read to the same values; a value that
// was read can be written and read again; a failure reports its position; texts beyond the depth limit are
// refused.

#include "api/core/json/pelkjson.h"
#include "api/types/pelkhash.h"
#include "fuzz/input.h"

#include <nlohmann/json.hpp>

namespace {

using Other = nlohmann::json;

bool isRecord(const QVariant& value)
{
    return value.userType() == QMetaType::QVariantHash || value.userType() == qMetaTypeId<PelkHash>();
}

/// Whether what a record reads one by one is what another parser made of the same text.
bool isSameRecord(const PelkHash& record, const Other& other)
{
    bool same = record.isEmpty() == other.empty();
    for (auto field = other.begin(); same && field != other.end(); ++field) {
        const QString key = textOfUtf8(QByteArray::fromStdString(field.key()));
        same = record.contains(key) &&
               record.records(key).size() == (field->is_array() ? int(field->size()) : 0);
        if (same && field->is_object())
            same = isSameRecord(record.record(key), *field);
    }
    return same;
}

/// Whether a value is what another parser made of the same text.
bool isSame(const QVariant& value, const Other& other)
{
    switch (other.type()) {
    case Other::value_t::null:
        return !value.isValid();
    case Other::value_t::boolean:
        return value.userType() == QMetaType::Bool && value.toBool() == other.get<bool>();
    case Other::value_t::string:
        return value.userType() == QMetaType::QString &&
               value.toString().toStdString() == other.get<std::string>();
    case Other::value_t::number_integer:
        return value.userType() == QMetaType::LongLong && value.toLongLong() == other.get<qlonglong>();
    case Other::value_t::number_unsigned:
        return value.toULongLong() == other.get<qulonglong>();
    case Other::value_t::number_float:
        return value.userType() == QMetaType::Double && value.toDouble() == other.get<double>();
    case Other::value_t::array: {
        const QVariantList list = value.toList();
        bool same = value.userType() == QMetaType::QVariantList && size_t(list.size()) == other.size();
        for (int i = 0; same && i < list.size(); ++i)
            same = isSame(list.at(i), other.at(size_t(i)));
        return same;
    }
    default: {
        const PelkHash record = PelkHash::fromVariant(value);
        const QVariantHash whole = record.hash();
        bool same =
            isRecord(value) && size_t(whole.size()) == other.size() && record.isEmpty() == other.empty();
        for (auto field = other.begin(); same && field != other.end(); ++field) {
            const QString key = textOfUtf8(QByteArray::fromStdString(field.key()));
            same = record.contains(key) && isSame(whole.value(key), field.value()) &&
                   (!field->is_object() || isSameRecord(record.record(key), *field));
        }
        return same;
    }
    }
}

int depthOf(const QVariant& value)
{
    int depth = 0;
    for (const QVariant& item : value.toList())
        depth = qMax(depth, depthOf(item));
    for (const QVariant& item : value.toHash())
        depth = qMax(depth, depthOf(item));
    const bool nests = value.userType() == QMetaType::QVariantList || isRecord(value);
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

    // It has no limit of depth, and takes a null character for the end.
    const Other other = Other::parse(text.begin(), text.end(), nullptr, false);
    const bool wholeText = !text.contains('\0');
    if (wholeText && !other.is_discarded() && !error.message().startsWith(QLatin1String("nested deeper"))) {
        require(error.isEmpty(), "What one parser takes the other takes.", error.message());
        require(isSame(value, other), "Two parsers read the same values.");
    }
    // Both of the SDK's parsers give the same values; a lone surrogate forces the second one.
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
