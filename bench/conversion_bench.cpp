// A page in memory, from its JSON text to its rows, with the module and with the alternatives. Nothing waits
// here, so CPU time is measured, which other programs do not lengthen.

#include "api/core/json/pelkjson.h"
#include "bench/conversion.h"
#include "bench/pythonrows.h"

#include <QCoreApplication>
#include <benchmark/benchmark.h>

#include <ctime>
#include <memory>
#include <simdjson.h>

namespace {

/// The CPU time of this thread, in seconds.
double processorSeconds()
{
    timespec used{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return double(used.tv_sec) + double(used.tv_nsec) / 1e9;
}

/// Measures what `work` takes; `before` and `after` it is not measured.
template <typename Before, typename Work, typename After>
void measure(benchmark::State& state, Before before, Work work, After after)
{
    for ([[maybe_unused]] const auto& round : state) {
        before();
        const double start = processorSeconds();
        work();
        state.SetIterationTime(processorSeconds() - start);
        after();
    }
}

void byModule(benchmark::State& state, const Page& page)
{
    Conversion conversion(page);
    measure(
        state, [&] { conversion.ask(); }, [&] { conversion.answer(); }, [] {});
    conversion.check();
}

void byQJsonDocument(benchmark::State& state, const Page& page)
{
    Conversion conversion(page);
    measure(
        state, [&] { conversion.ask(); }, [&] { conversion.answerByQJsonDocument(); }, [] {});
    conversion.check();
}

/// The DOM of the parser that the module uses, and nothing else.
void bySimdjson(benchmark::State& state, const Page& page)
{
    simdjson::dom::parser parser;
    const simdjson::padded_string text(page.body.constData(), size_t(page.body.size()));
    simdjson::dom::element root;
    measure(
        state, [] {}, [&] { benchmark::DoNotOptimize(parser.parse(text).get(root)); }, [] {});
    if (root[page.kind == Page::Albums ? "albums" : "tracks"]["items"].get_array().size() !=
        size_t(page.count))
        qFatal("simdjson reads another number of items");
}

void byPython(benchmark::State& state, const Page& page, PythonRows& python, const char* parser)
{
    while (state.KeepRunningBatch(8))
        state.SetIterationTime(double(python.run(page.kind, parser, 8)) / 1e9);
}

/// All methods must produce the same rows.
void compareRows(const Page& page, PythonRows& python)
{
    Conversion conversion(page);
    conversion.ask();
    conversion.answer();
    conversion.check();
    const QByteArray rows = conversion.rowsAsJson();
    conversion.ask();
    conversion.answerByQJsonDocument();
    if (conversion.rowsAsJson() != rows)
        qFatal("QJsonDocument leads to other rows");
    PelkError error;
    for (const char* parser : {"json", "ujson"}) {
        const QByteArray others =
            PelkJson::serialize(PelkJson::parse(python.rowsAsJson(page.kind, parser), error));
        if (others != rows)
            qFatal("rows.py makes other rows:\n%.600s\n%.600s", others.constData(), rows.constData());
    }
}

template <typename Function, typename... Arguments>
void add(const std::string& name, Function function, Arguments&&... arguments)
{
    benchmark::RegisterBenchmark(name.c_str(), function, std::forward<Arguments>(arguments)...)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    PythonRows python;
    for (const Page* page : {&Page::albums50(), &Page::tracks500()}) {
        compareRows(*page, python);
        const std::string name = page->kind == Page::Albums ? "albums" : "tracks";
        benchmark::AddCustomContext(name + "_bytes", std::to_string(page->body.size()));
        add(name + "/module", byModule, std::cref(*page));
        add(name + "/simdjson", bySimdjson, std::cref(*page));
        add(name + "/qjsondocument", byQJsonDocument, std::cref(*page));
        for (const char* parser : {"json", "ujson"})
            add(name + "/" + parser, byPython, std::cref(*page), std::ref(python), parser);
    }
    // Pages of different length, and one page of lists of different length.
    std::vector<std::unique_ptr<Page>> pages;
    for (const int count : {10, 50, 100, 200, 500}) {
        pages.push_back(std::make_unique<Page>(Page::make(Page::Tracks, count)));
        add("rows/" + std::to_string(count), byModule, std::cref(*pages.back()));
    }
    for (const int total : {100, 10000, 1000000}) {
        pages.push_back(std::make_unique<Page>(Page::make(Page::Albums, 50, total)));
        add("total/" + std::to_string(total), byModule, std::cref(*pages.back()));
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
