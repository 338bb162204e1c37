#pragma once

#include <QtTest>

#include <tuple>
#include <utility>

/// Tables of input and expected output for data-driven tests: the table and the test name the types of the
/// columns, and only the test names the columns.
///
///     void aNumberIsRead_data()
///     {
///         Rows<QString, int> row;
///         row("leading zeros", "007", 7);
///     }
///     void aNumberIsRead()
///     {
///         const auto [text, number] = fetched<QString, int>();

inline QString operator""_s(const char* utf8, std::size_t size)
{
    return QString::fromUtf8(utf8, int(size));
}

inline QLatin1String operator""_l(const char* latin1, std::size_t size)
{
    return QLatin1String(latin1, int(size));
}

/// Columns need names that live as long as the table.
inline constexpr const char* columnNames[] = {"0", "1", "2", "3", "4", "5", "6", "7", "8"};

/// The type that a column accepts: a text may be UTF-8.
struct Text : QString
{
    Text(const char* utf8)
        : QString(QString::fromUtf8(utf8))
    {
    }
    Text(const QString& text)
        : QString(text)
    {
    }
};

template <typename T>
struct Cell
{
    using Type = T;
};

template <>
struct Cell<QString>
{
    using Type = Text;
};

template <typename First, typename... Others>
class Rows
{
public:
    Rows() { addColumns(std::index_sequence_for<Others...>()); }

    void operator()(const QByteArray& tag, const typename Cell<First>::Type& first,
                    const typename Cell<Others>::Type&... others)
    {
        QTestData& row = QTest::newRow(tag.constData()) << static_cast<const First&>(first);
        ((row << static_cast<const Others&>(others)), ...);
    }
    /// A row whose first cell is its tag.
    void named(const QByteArray& tag, const typename Cell<Others>::Type&... others)
    {
        (*this)(tag, tag.constData(), others...);
    }

private:
    template <std::size_t... Index>
    void addColumns(std::index_sequence<Index...> /*others*/)
    {
        QTest::addColumn<First>(columnNames[0]);
        (QTest::addColumn<Others>(columnNames[Index + 1]), ...);
    }
};

template <typename... Columns, std::size_t... Index>
std::tuple<Columns...> fetchedColumns(std::index_sequence<Index...> /*all*/)
{
    return {*static_cast<const Columns*>(QTest::qData(columnNames[Index], qMetaTypeId<Columns>()))...};
}

/// The cells of the current row of a test.
template <typename... Columns>
std::tuple<Columns...> fetched()
{
    return fetchedColumns<Columns...>(std::index_sequence_for<Columns...>());
}

/// A column of texts, each its own tag.
inline void addTexts(std::initializer_list<const char*> texts)
{
    Rows<QString> row;
    for (const char* text : texts)
        row.named(text);
}
