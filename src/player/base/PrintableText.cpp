#include "player/base/PrintableText.h"

namespace {

bool isDirectionOverride(QChar c)
{
    return (c >= QChar(0x202A) && c <= QChar(0x202E)) || (c >= QChar(0x2066) && c <= QChar(0x2069));
}

} // namespace

QString printableText(const QString& text)
{
    QString clean = text;
    for (QChar& c : clean)
        if (c.category() == QChar::Other_Control || isDirectionOverride(c) || c == QChar::LineSeparator ||
            c == QChar::ParagraphSeparator)
            c = QLatin1Char(' ');
    return clean;
}
