// Produces the rows of PAGES pages, one after the other, and prints the resident memory after the first
// thousand and at the end. Usage: page_memory PAGES

#include "bench/conversion.h"
#include "bench/resident.h"

#include <QCoreApplication>

#include <cstdio>
#include <memory>
#include <vector>

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const int pages = QCoreApplication::arguments().value(1).toInt();
    const int first = qMin(pages, 1000);
    // Albums and tracks of different parts of the catalogue.
    std::vector<std::unique_ptr<Page>> bodies;
    for (int i = 0; i < 10; ++i)
        bodies.push_back(
            std::make_unique<Page>(Page::make(i % 2 ? Page::Tracks : Page::Albums, 50, 1300, i * 1000)));
    long afterFirst = 0;
    for (int page = 1; page <= pages; ++page) {
        Conversion conversion(*bodies[size_t(page) % bodies.size()]);
        conversion.ask();
        conversion.answer();
        if (page <= 10)
            conversion.check();
        if (page == first)
            afterFirst = residentKib();
    }
    std::printf("%ld %ld\n", afterFirst, residentKib());
    return 0;
}
