#include "player/server/access/DeviceName.h"

#include <QStringList>

#include <array>

namespace {

struct Mark
{
    const char* part; // of the header
    const char* name;
};

/// The first one counts: browsers claim to be others, too.
constexpr std::array<Mark, 8> browsers{{{"Edg", "Edge"},
                                        {"OPR/", "Opera"},
                                        {"SamsungBrowser/", "Samsung Internet"},
                                        {"Firefox/", "Firefox"},
                                        {"FxiOS/", "Firefox"},
                                        {"CriOS/", "Chrome"},
                                        {"Chrome/", "Chrome"},
                                        {"Safari/", "Safari"}}};
constexpr std::array<Mark, 7> devices{{{"iPhone", "iPhone"},
                                       {"iPad", "iPad"},
                                       {"Android", "Android"},
                                       {"Macintosh", "Mac"},
                                       {"Windows", "Windows"},
                                       {"CrOS", "Chromebook"},
                                       {"Linux", "Linux"}}};

template <std::size_t Count>
QString named(const std::array<Mark, Count>& marks, const QByteArray& userAgent)
{
    for (const Mark& mark : marks)
        if (userAgent.contains(mark.part))
            return QLatin1String(mark.name);
    return QString();
}

} // namespace

QString deviceName(const QByteArray& userAgent)
{
    QStringList parts{named(browsers, userAgent), named(devices, userAgent)};
    parts.removeAll(QString());
    return parts.join(QLatin1String(", "));
}
