// Texts that a service sends and a person reads: as arguments of a translated text, in a terminal, and as
// JSON.

#include "api/core/json/pelkjson.h"
#include "api/types/trstring.h"
#include "fuzz/input.h"
#include "player/base/PrintableText.h"
#include "player/cli/RowList.h"
#include "player/cli/RowTable.h"
#include "player/cli/TextWidth.h"

namespace {

void argumentsStandAsTheyAre(const QByteArray& source, const QString& first, const QString& second)
{
    const TrString text(TrCharData{"Fuzz", source}, {first, second});
    if (!source.contains('%'))
        require(text.toString() == QString::fromUtf8(source), "A text without place markers stays as it is.");
    const TrString both(TrCharData{"Fuzz", "<%1|%2|%1>"}, {first, second});
    require(both.toString() == QLatin1Char('<') + first + QLatin1Char('|') + second + QLatin1Char('|') +
                                   first + QLatin1Char('>'),
            "Arguments stand as they are.", both.toString());
    require(TrString::fromVariant(QVariant(text)) == text, "A text stays itself in a record.");
    trExtractContext(source.constData());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    const int width = input.choice(120);
    const QByteArray source = input.line();
    const QString first = textOfUtf8(input.line());
    const QString title = textOfUtf8(input.rest());
    argumentsStandAsTheyAre(source, first, title);

    const QString shown = printableText(title);
    for (const QChar c : shown)
        require(c.category() != QChar::Other_Control, "Nothing shown moves the cursor.");
    require(TextWidth::columns(TextWidth::cut(shown, width)) <= width,
            "A text is cut to the columns it may take.");
    require(TextWidth::columns(TextWidth::padded(shown, width)) >= width, "A text is padded to its columns.");

    const QJsonObject row{{QStringLiteral("title"), title},
                          {QStringLiteral("path"), first},
                          {QStringLiteral("type"), QStringLiteral("container")}};
    const QString table = rowTable(QJsonArray{row, row}, width);
    require(table.count(QLatin1Char('\n')) == 2 || table.count(QLatin1Char('\n')) == 4,
            "A row takes a line or two.");
    for (const QChar c : table)
        require(c == QLatin1Char('\n') || c.category() != QChar::Other_Control, "No row moves the cursor.");

    RowList list;
    list.rows = {row, row};
    PelkError error;
    const QVariantList rows =
        PelkJson::parse(list.toJson(first), error).toHash().value(QStringLiteral("rows")).toList();
    require(rows.size() == 2, "Rows are JSON, whatever they hold.");
    require(!isWellFormed(title) || rows.at(0).toHash().value(QStringLiteral("title")).toString() == title,
            "A title comes back from JSON.");
    return 0;
}
