#include "api/core/json/jsonobject.h"

#include "api/core/json/keytable.h"
#include "api/types/pelkhash.h"

#include <QVariantHash>
#include <QVariantList>

namespace {

using simdjson::dom::element;
using Type = simdjson::dom::element_type;

QString textOf(const element& string)
{
    const std::string_view utf8 = string.get_string().value_unsafe();
    return textOfUtf8(utf8.data(), static_cast<int>(utf8.size()));
}

void fill(QVariant& target, const element& whole, KeyTable& keys);

QVariantHash hashOf(const simdjson::dom::object& object, KeyTable& keys)
{
    QVariantHash hash;
    hash.reserve(static_cast<int>(object.size()));
    for (const simdjson::dom::key_value_pair field : object)
        fill(hash[keys.text(field.key)], field.value, keys);
    return hash;
}

/// Sets the variant in place, inside its container.
void fill(QVariant& target, const element& whole, KeyTable& keys)
{
    switch (whole.type()) {
    case Type::OBJECT:
        target = hashOf(whole.get_object().value_unsafe(), keys);
        break;
    case Type::ARRAY: {
        const simdjson::dom::array array = whole.get_array().value_unsafe();
        target = QVariant(QVariant::List);
        auto& list = *static_cast<QVariantList*>(target.data());
        list.reserve(static_cast<int>(array.size()));
        for (const element item : array) {
            list.append(QVariant());
            fill(list.last(), item, keys);
        }
        break;
    }
    case Type::STRING:
        target = textOf(whole);
        break;
    case Type::INT64:
        target = static_cast<qlonglong>(whole.get_int64().value_unsafe());
        break;
    case Type::UINT64:
        target = static_cast<qulonglong>(whole.get_uint64().value_unsafe());
        break;
    case Type::DOUBLE:
        target = whole.get_double().value_unsafe();
        break;
    case Type::BOOL:
        target = whole.get_bool().value_unsafe();
        break;
    case Type::NULL_VALUE:
        target = QVariant();
        break;
    }
}

KeyTable& threadKeys()
{
    thread_local KeyTable keys;
    return keys;
}

PelkHash recordOf(const JsonDocumentPointer& document, const element& item)
{
    simdjson::dom::object object;
    return item.get(object) == simdjson::SUCCESS ? PelkHash(new JsonObject(document, object)) : PelkHash();
}

} // namespace

QVariant JsonObject::value(const JsonDocumentPointer& document, const simdjson::dom::element& element)
{
    if (element.is_object())
        return QVariant::fromValue(recordOf(document, element));
    QVariant value;
    fill(value, element, threadKeys());
    return value;
}

bool JsonObject::find(const QString& key, element* value) const
{
    // Nearly all keys are short and ASCII, so that a key's characters are its bytes.
    char ascii[64];
    const int size = key.size();
    ushort units = 0;
    if (size <= int(sizeof ascii)) {
        const QChar* letters = key.constData();
        for (int i = 0; i < size; ++i) {
            units |= letters[i].unicode();
            ascii[i] = static_cast<char>(letters[i].unicode());
        }
        if (units < 0x80)
            return find(std::string_view(ascii, static_cast<size_t>(size)), value);
    }
    const QByteArray utf8 = key.toUtf8();
    if (textOfUtf8(utf8) != key)
        return false; // half of a surrogate pair: no such text was read
    return find(std::string_view(utf8.constData(), static_cast<size_t>(utf8.size())), value);
}

bool JsonObject::find(std::string_view key, element* value) const
{
    bool found = false;
    const auto end = m_object.end();
    for (auto it = m_object.begin(); it != end; ++it) {
        if (it.key_equals(key)) {
            *value = it.value(); // of equal keys the last one counts
            found = true;
        }
    }
    return found;
}

bool JsonObject::read(const QString& key, QVariant* value) const
{
    element at;
    if (!find(key, &at))
        return false;
    if (value)
        fill(*value, at, threadKeys());
    return true;
}

QString JsonObject::text(const QString& key) const
{
    element at;
    if (!find(key, &at))
        return QString();
    if (at.is_string())
        return textOf(at);
    QVariant value;
    fill(value, at, threadKeys());
    return value.toString();
}

PelkHash JsonObject::record(const QString& key) const
{
    element at;
    return find(key, &at) ? recordOf(m_document, at) : PelkHash();
}

QList<PelkHash> JsonObject::records(const QString& key) const
{
    QList<PelkHash> records;
    element at;
    simdjson::dom::array array;
    if (!find(key, &at) || at.get(array) != simdjson::SUCCESS)
        return records;
    records.reserve(static_cast<int>(array.size()));
    for (const element item : array)
        records.append(recordOf(m_document, item));
    return records;
}

QVariantHash JsonObject::hash() const
{
    return hashOf(m_object, threadKeys());
}
