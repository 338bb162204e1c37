// Reports to ThreadSanitizer how Qt reads and writes the program's values. Most operations are in Qt's
// headers and compiled with the program, so they are seen; these are not.

#include "next.h"

#include <QByteArray>
#include <QString>
#include <QVariant>
#include <sanitizer/tsan_interface.h>

extern "C" {
// The calls that the compiler makes for an access.
void __tsan_read_range(const void* address, unsigned long size);  // NOLINT(bugprone-reserved-identifier)
void __tsan_write_range(const void* address, unsigned long size); // NOLINT(bugprone-reserved-identifier)
}

namespace {

template <typename Value>
void reads(const Value& value)
{
    __tsan_read_range(&value, sizeof value);
}

template <typename Value>
void writes(const Value& value)
{
    __tsan_write_range(&value, sizeof value);
}

} // namespace

QString& QString::operator=(const QString& other) noexcept
{
    static const auto real = next<QString& (*)(QString*, const QString&)>("_ZN7QStringaSERKS_");
    reads(other);
    writes(*this);
    return real(this, other);
}

QString& QString::append(const QString& other)
{
    static const auto real = next<QString& (*)(QString*, const QString&)>("_ZN7QString6appendERKS_");
    reads(other);
    writes(*this);
    return real(this, other);
}

QByteArray& QByteArray::operator=(const QByteArray& other) noexcept
{
    static const auto real = next<QByteArray& (*)(QByteArray*, const QByteArray&)>("_ZN10QByteArrayaSERKS_");
    reads(other);
    writes(*this);
    return real(this, other);
}

QByteArray& QByteArray::append(const QByteArray& other)
{
    static const auto real =
        next<QByteArray& (*)(QByteArray*, const QByteArray&)>("_ZN10QByteArray6appendERKS_");
    reads(other);
    writes(*this);
    return real(this, other);
}

QVariant::QVariant(const QVariant& other)
{
    static const auto real = next<void (*)(QVariant*, const QVariant&)>("_ZN8QVariantC1ERKS_");
    reads(other);
    real(this, other);
}

QVariant& QVariant::operator=(const QVariant& other)
{
    static const auto real = next<QVariant& (*)(QVariant*, const QVariant&)>("_ZN8QVariantaSERKS_");
    reads(other);
    writes(*this);
    return real(this, other);
}
