#include "api/core/json/pelkjson.h"

#include "api/core/json/keytable.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QVariantHash>
#include <QVariantList>

#include <cstring>
#include <memory>
#include <simdjson.h>
#include <string_view>

namespace {

constexpr char byteOrderMark[] = "\xEF\xBB\xBF";

QString textOf(std::string_view utf8)
{
    return QString::fromUtf8(utf8.data(), static_cast<int>(utf8.size()));
}

/// What a thread keeps between calls: the parser's memory, a padded copy of the text, and the keys it met.
struct Workspace
{
    /// Memory that a large text needed is given back after it.
    static constexpr size_t keptBytes = 1024 * 1024;

    simdjson::dom::parser parser{PelkJson::maxBytes};
    std::unique_ptr<char[]> text;
    size_t capacity = 0;
    KeyTable keys;

    const char* padded(const char* data, size_t size)
    {
        // simdjson reads some bytes past the end, which a QByteArray does not have.
        const size_t needed = size + simdjson::SIMDJSON_PADDING;
        if (capacity < needed) {
            text = std::make_unique<char[]>(needed);
            capacity = needed;
        }
        std::memcpy(text.get(), data, size);
        std::memset(text.get() + size, 0, simdjson::SIMDJSON_PADDING);
        return text.get();
    }

    void trim()
    {
        if (capacity <= keptBytes)
            return;
        text.reset();
        capacity = 0;
        parser = simdjson::dom::parser(PelkJson::maxBytes);
    }
};

/// Fills the variant where it stands, in the container that holds it.
void fill(QVariant& target, const simdjson::dom::element& element, KeyTable& keys)
{
    using Type = simdjson::dom::element_type;
    switch (element.type()) {
    case Type::OBJECT: {
        const simdjson::dom::object object = element.get_object().value_unsafe();
        target = QVariant(QVariant::Hash);
        auto& hash = *static_cast<QVariantHash*>(target.data());
        hash.reserve(static_cast<int>(object.size()));
        for (const simdjson::dom::key_value_pair field : object)
            fill(hash[keys.text(field.key)], field.value, keys);
        break;
    }
    case Type::ARRAY: {
        const simdjson::dom::array array = element.get_array().value_unsafe();
        target = QVariant(QVariant::List);
        auto& list = *static_cast<QVariantList*>(target.data());
        list.reserve(static_cast<int>(array.size()));
        for (const simdjson::dom::element item : array) {
            list.append(QVariant());
            fill(list.last(), item, keys);
        }
        break;
    }
    case Type::STRING:
        target = textOf(element.get_string().value_unsafe());
        break;
    case Type::INT64:
        target = static_cast<qlonglong>(element.get_int64().value_unsafe());
        break;
    case Type::UINT64:
        target = static_cast<qulonglong>(element.get_uint64().value_unsafe());
        break;
    case Type::DOUBLE:
        target = element.get_double().value_unsafe();
        break;
    case Type::BOOL:
        target = element.get_bool().value_unsafe();
        break;
    case Type::NULL_VALUE:
        target = QVariant();
        break;
    }
}

/// As fill, for what QJsonDocument has read.
QVariant converted(const QJsonValue& value)
{
    if (value.isObject()) {
        const QJsonObject object = value.toObject();
        QVariantHash hash;
        hash.reserve(object.size());
        for (auto field = object.begin(); field != object.end(); ++field)
            hash.insert(field.key(), converted(field.value()));
        return hash;
    }
    if (value.isArray()) {
        const QJsonArray array = value.toArray();
        QVariantList list;
        list.reserve(array.size());
        for (const QJsonValue& item : array)
            list.append(converted(item));
        return list;
    }
    return value.isNull() ? QVariant() : value.toVariant();
}

/// Where the text first nests deeper than allowed; -1 when it does not.
int tooDeepAt(const QByteArray& text)
{
    int depth = 0;
    bool inString = false;
    for (int i = 0; i < text.size(); ++i) {
        const char c = text.at(i);
        if (inString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > PelkJson::maxDepth)
                return i;
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return -1;
}

struct Failure
{
    int offset = 0;
    QString reason;
};

/// The second reading, by QJsonDocument: more lenient, and it knows where a text is wrong.
QVariant readLeniently(const QByteArray& text, Failure& failure)
{
    const int deep = tooDeepAt(text);
    if (deep >= 0) {
        failure = {deep, QStringLiteral("nested deeper than %1").arg(PelkJson::maxDepth)};
        return {};
    }
    const QByteArray trimmed = text.trimmed();
    if (trimmed.isEmpty()) {
        failure = {text.size(), QStringLiteral("no JSON value")};
        return {};
    }
    // QJsonDocument takes no bare text or number: it gets them inside an array.
    const bool bare = !trimmed.startsWith('{') && !trimmed.startsWith('[');
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bare ? '[' + text + ']' : text, &error);
    const bool several = bare && document.array().size() > 1;
    if (error.error != QJsonParseError::NoError || several) {
        const int offset = several ? text.indexOf(',') : error.offset - (bare ? 1 : 0);
        failure = {qBound(0, offset, text.size()),
                   several ? QStringLiteral("garbage at the end of the document") : error.errorString()};
        return {};
    }
    return bare
               ? converted(document.array().at(0))
               : converted(document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object()));
}

QVariant read(const QByteArray& body, Failure& failure)
{
    if (body.size() > PelkJson::maxBytes) {
        failure = {PelkJson::maxBytes, QStringLiteral("longer than %1 bytes").arg(PelkJson::maxBytes)};
        return {};
    }
    const int start = body.startsWith(byteOrderMark) ? 3 : 0;
    const auto size = static_cast<size_t>(body.size() - start);

    thread_local Workspace workspace;
    QVariant result;
    bool done = false;
    if (size > 0) {
        // Makes room for the text, and bounds the depth.
        auto error =
            workspace.parser.allocate(std::max(size, workspace.parser.capacity()), PelkJson::maxDepth);
        simdjson::dom::element root;
        if (!error)
            error = workspace.parser.parse(workspace.padded(body.constData() + start, size), size, false)
                        .get(root);
        if (!error) {
            fill(result, root, workspace.keys);
            done = true;
        }
        workspace.trim();
    }
    if (!done) {
        result = readLeniently(start > 0 ? body.mid(start) : body, failure);
        failure.offset += start;
    }
    return result;
}

} // namespace

QVariant PelkJson::parse(const QByteArray& body, PelkError& error, unsigned int* offset)
{
    Failure failure;
    QVariant result = read(body, failure);
    const bool failed = !failure.reason.isEmpty();
    if (failed)
        error = PelkError(QStringLiteral("%1 at offset %2").arg(failure.reason).arg(failure.offset));
    if (offset)
        *offset = failed ? static_cast<unsigned int>(failure.offset) : 0;
    return result;
}
