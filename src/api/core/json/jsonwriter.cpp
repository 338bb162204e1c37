#include "api/core/json/pelkjson.h"
#include "api/types/pelkhash.h"

#include <QLocale>
#include <QStringList>
#include <QVariantHash>
#include <QVariantList>
#include <QVariantMap>

#include <cmath>

// QJsonDocument is not used here: it writes integers by way of a double, which has 53 bits.

namespace {

void writeEscape(QByteArray& out, ushort unit)
{
    out += "\\u" + QByteArray::number(unit, 16).rightJustified(4, '0');
}

void writeText(QByteArray& out, const QString& text)
{
    out += '"';
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const ushort unit = c.unicode();
        const bool pair = c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        if (unit == '"' || unit == '\\') {
            out += '\\';
            out += static_cast<char>(unit);
        } else if (unit == '\n') {
            out += "\\n";
        } else if (unit < 0x20 || (c.isSurrogate() && !pair)) {
            writeEscape(out, unit); // a lone half of a pair has no UTF-8
        } else if (unit < 0x80) {
            out += static_cast<char>(unit);
        } else {
            out += text.mid(i, pair ? 2 : 1).toUtf8();
            i += pair ? 1 : 0;
        }
    }
    out += '"';
}

void write(QByteArray& out, const QVariant& value);

void writeObject(QByteArray& out, const QVariantMap& map)
{
    char separator = '{';
    for (auto field = map.begin(); field != map.end(); ++field) {
        out += separator;
        separator = ',';
        writeText(out, field.key());
        out += ':';
        write(out, field.value());
    }
    if (map.isEmpty())
        out += '{';
    out += '}';
}

void writeArray(QByteArray& out, const QVariantList& list)
{
    out += '[';
    for (int i = 0; i < list.size(); ++i) {
        if (i > 0)
            out += ',';
        write(out, list.at(i));
    }
    out += ']';
}

void write(QByteArray& out, const QVariant& value)
{
    if (value.userType() == qMetaTypeId<PelkHash>())
        return write(out, value.toHash());
    switch (static_cast<QMetaType::Type>(value.userType())) {
    case QMetaType::QVariantHash: {
        QVariantMap sorted;
        const QVariantHash hash = value.toHash();
        for (auto field = hash.begin(); field != hash.end(); ++field)
            sorted.insert(field.key(), field.value());
        writeObject(out, sorted);
        break;
    }
    case QMetaType::QVariantMap:
        writeObject(out, value.toMap());
        break;
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        writeArray(out, value.toList());
        break;
    case QMetaType::Bool:
        out += value.toBool() ? "true" : "false";
        break;
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::Long:
    case QMetaType::LongLong:
        out += QByteArray::number(value.toLongLong());
        break;
    case QMetaType::UInt:
    case QMetaType::UShort:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        out += QByteArray::number(value.toULongLong());
        break;
    case QMetaType::Double:
    case QMetaType::Float: {
        const double number = value.toDouble();
        out +=
            std::isfinite(number) ? QByteArray::number(number, 'g', QLocale::FloatingPointShortest) : "null";
        break;
    }
    default:
        if (value.canConvert<QString>() && !value.isNull())
            writeText(out, value.toString());
        else if (value.userType() == QMetaType::QString)
            out += "\"\"";
        else
            out += "null";
    }
}

} // namespace

QByteArray PelkJson::serialize(const QVariant& value)
{
    QByteArray out;
    write(out, value);
    return out;
}
