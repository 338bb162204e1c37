// Counts what a page of 50 albums allocates from the body to the reply, and what its rows carry.

#include "api/types/pelkhash.h"
#include "api/types/trstring.h"
#include "bench/conversion.h"

#include <QCoreApplication>

#include <cstddef>
#include <cstdio>

namespace {

bool counting = false;
long allocations = 0;

} // namespace

// The C library's own, under the names that it gives to programs with a malloc of theirs.
extern "C" {
void* __libc_malloc(std::size_t size);                    // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(std::size_t count, std::size_t size); // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* block, std::size_t size);      // NOLINT(bugprone-reserved-identifier)

__attribute__((visibility("default"))) void* malloc(std::size_t size)
{
    allocations += counting ? 1 : 0;
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size)
{
    allocations += counting ? 1 : 0;
    return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size)
{
    allocations += counting ? 1 : 0;
    return __libc_realloc(block, size);
}
}

namespace {

int text(const QString& value)
{
    return value.isEmpty() ? 0 : 1;
}

int text(const QByteArray& value)
{
    return value.isEmpty() ? 0 : 1;
}

/// How many strings and containers a value contains: every non-empty text, every list, hash and TrString,
/// empty or not; a path is stored in a row as its text. Keys and numbers do not count.
int carried(const QVariant& value)
{
    if (value.userType() == qMetaTypeId<PelkHash>())
        return carried(value.toHash());
    int count = 0;
    switch (value.userType()) {
    case QMetaType::QVariantHash: {
        const QVariantHash hash = value.toHash();
        for (const QVariant& item : hash)
            count += carried(item);
        return 1 + count;
    }
    case QMetaType::QVariantList: {
        const QVariantList list = value.toList();
        for (const QVariant& item : list)
            count += carried(item);
        return 1 + count;
    }
    case QMetaType::QString:
        return text(value.toString());
    case QMetaType::QByteArray:
        return text(value.toByteArray());
    default:
        break;
    }
    if (value.userType() != qMetaTypeId<TrString>())
        return 0;
    const TrString translated = value.value<TrString>();
    for (const TrArg& argument : translated.arguments())
        count += text(argument.text);
    return 1 + count + text(translated.context()) + text(translated.source()) + text(translated.comment());
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    Conversion conversion(Page::albums50());
    // The first page also fills caches.
    for (int page = 0; page < 2; ++page) {
        conversion.ask();
        allocations = 0;
        counting = true;
        conversion.answer();
        counting = false;
        conversion.check();
    }
    const int carriedByRows = carried(conversion.rows());
    if (allocations == 0)
        qFatal("nothing was counted");
    std::printf("%ld %d\n", allocations, carriedByRows);
    return 0;
}
