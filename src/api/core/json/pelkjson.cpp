#include "api/core/json/pelkjson.h"

#include "api/core/json/keytable.h"
#include "api/core/json/lenientjson.h"
#include "api/types/utf8.h"

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
    return textOfUtf8(utf8.data(), static_cast<int>(utf8.size()));
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

struct Failure
{
    int offset = 0;
    QString reason;
};

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
        LenientJson again(start > 0 ? body.mid(start) : body);
        result = again.read();
        failure = {again.offset() + start, again.reason()};
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
