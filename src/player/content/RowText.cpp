#include "player/content/RowText.h"

#include "api/core/json/pelkjson.h"
#include "api/types/pelkmediadata.h"

namespace {

// The parts of a title in several languages.
const QString contextKey = QStringLiteral("context");
const QString sourceKey = QStringLiteral("source");
const QString commentKey = QStringLiteral("comment");
const QString countKey = QStringLiteral("count");
const QString argumentsKey = QStringLiteral("arguments");

QVariant partsOf(const TrString& text)
{
    QVariantHash parts{{contextKey, QString::fromUtf8(text.context())},
                       {sourceKey, QString::fromUtf8(text.source())},
                       {countKey, text.count()}};
    if (!text.comment().isNull())
        parts.insert(commentKey, QString::fromUtf8(text.comment()));
    QVariantList arguments;
    for (const TrArg& argument : text.arguments())
        arguments.append(argument.text);
    parts.insert(argumentsKey, arguments);
    return parts;
}

TrString textOf(const PelkHash& parts)
{
    QList<TrArg> arguments;
    const QVariantList list = parts.value(argumentsKey).toList();
    for (const QVariant& argument : list)
        arguments.append(argument.toString());
    const QVariant comment = parts.value(commentKey);
    return TrString(TrCharData{parts.text(contextKey).toUtf8(), parts.text(sourceKey).toUtf8(),
                               comment.isValid() ? comment.toString().toUtf8() : QByteArray(),
                               parts.value(countKey).toInt()},
                    arguments);
}

void append(QByteArray* text, const QVariant& value);

/// Not with PelkJson, which sorts the keys of each object: that would take half of the time for a long queue.
void append(QByteArray* text, const QVariantHash& hash)
{
    char separator = '{';
    for (auto it = hash.constBegin(); it != hash.constEnd(); ++it) {
        // Streams, wherever a row carries them.
        if (it.key() == PelkMediaData::Resources())
            continue;
        *text += separator;
        separator = ',';
        RowText::append(text, it.key());
        *text += ':';
        append(text, it.value());
    }
    if (separator == '{')
        *text += '{';
    *text += '}';
}

void append(QByteArray* text, const QVariant& value)
{
    const int type = value.userType();
    if (type == QMetaType::QString)
        RowText::append(text, value.toString());
    else if (type == QMetaType::QVariantHash)
        append(text, value.toHash());
    else if (type == qMetaTypeId<PelkHash>())
        append(text, PelkHash::fromVariant(value).hash());
    else if (type == qMetaTypeId<TrString>())
        append(text, partsOf(value.value<TrString>()).toHash());
    else
        *text += PelkJson::serialize(value);
}

bool isPlain(ushort unit)
{
    return unit >= 0x20 && unit < 0x80 && unit != '"' && unit != '\\';
}

} // namespace

void RowText::append(QByteArray* text, const QString& string)
{
    const int start = text->size();
    text->resize(start + string.size() + 2);
    char* out = text->data() + start;
    *out++ = '"';
    for (const QChar c : string) {
        if (!isPlain(c.unicode())) {
            text->truncate(start);
            *text += PelkJson::serialize(string);
            return;
        }
        *out++ = char(c.unicode());
    }
    *out = '"';
}

void RowText::append(QByteArray* text, const PelkRoles& row)
{
    ::append(text, row.hash());
}

PelkRoles RowText::row(const PelkHash& parsed)
{
    PelkRoles row(parsed);
    const PelkHash title = parsed.record(PelkRoles::Title());
    if (!title.isEmpty())
        row.setTitle(textOf(title));
    return row;
}
