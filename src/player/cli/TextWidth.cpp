#include "player/cli/TextWidth.h"

#include <QTextBoundaryFinder>
#include <QVector>

#include <clocale>
#include <cwchar>
#include <locale.h>

namespace {

/// Widths are taken from the C library's tables, in every language of the environment.
locale_t widthLocale()
{
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
}

} // namespace

int TextWidth::columns(const QString& text)
{
    const locale_t before = widthLocale() ? uselocale(widthLocale()) : nullptr;
    int sum = 0;
    const QVector<uint> codes = text.toUcs4();
    for (const uint code : codes) {
        const int width = wcwidth(static_cast<wchar_t>(code));
        sum += width < 0 ? 1 : width;
    }
    if (before)
        uselocale(before);
    return sum;
}

QString TextWidth::cut(const QString& text, int limit)
{
    if (columns(text) <= limit)
        return text;
    if (limit < 1)
        return QString();
    int end = 0;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    for (int next = finder.toNextBoundary(); next > 0; next = finder.toNextBoundary()) {
        if (columns(text.left(next)) > limit - 1)
            break;
        end = next;
    }
    return text.left(end).trimmed() + QChar(0x2026);
}

QString TextWidth::padded(const QString& text, int width)
{
    return text + QString(qMax(0, width - columns(text)), QLatin1Char(' '));
}
