#include "sandbox/catalogue/Names.h"

#include <clocale>
#include <cwctype>
#include <initializer_list>

namespace sandbox::names {
namespace {

constexpr const char* latinSyllables[] = {"ka",  "lo",  "mi",  "ren",  "tos", "vel", "dra",
                                          "sun", "bri", "qua", "nor",  "ze",  "fi",  "hal",
                                          "um",  "pe",  "ya",  "wick", "gor", "ith"};
constexpr const char* accentedSyllables[] = {"é",  "lø",  "mü", "ñan", "çar", "šel", "živ", "årn",
                                             "ýr", "öst", "ka", "ren", "tí",  "vä",  "dra", "ő"};
constexpr const char* cyrillicSyllables[] = {"ка",  "ло",  "ми",  "рен", "то", "вел", "дра",
                                             "сун", "бри", "нор", "зе",  "ще", "жу",  "яр"};
constexpr const char* greekSyllables[] = {"κα",  "λο",  "μι",  "ρεν", "τος", "βελ",
                                          "δρα", "σου", "νορ", "ζε",  "φι",  "θα"};
constexpr const char* japaneseSyllables[] = {"カ", "ロ", "ミ", "森", "空", "の",
                                             "ト", "ユ", "リ", "月", "川", "ソ"};
constexpr const char* arabicSyllables[] = {"كا", "لو", "مي", "رن", "تو", "فل", "در", "سو", "نو", "زا"};
constexpr const char* emoji[] = {"🎷", "🌙", "🔥", "🐙", "👩‍🎤", "🇳🇺", "🎻", "🦜"};

constexpr const char* adjectives[] = {"Silent",  "Amber",  "Hollow",   "Second", "Paper", "Electric",
                                      "Early",   "Broken", "Northern", "Velvet", "Slow",  "Blue",
                                      "Distant", "Golden", "Wild",     "Empty"};
constexpr const char* nouns[] = {"Night",   "Light",  "River",  "Harbour",  "Garden", "Window",
                                 "Machine", "Winter", "Letter", "Mountain", "Mirror", "Summer",
                                 "Engine",  "Road",   "Island", "Morning"};
constexpr const char* verbs[] = {"carries", "answers", "follows", "remembers",
                                 "opens",   "leaves",  "colours", "holds"};
constexpr const char* roles[] = {"Ensemble", "Quartet",    "Orchestra", "Trio",
                                 "Choir",    "Collective", "Brothers",  "Sound"};

template <std::size_t N>
std::string join(Draw& draw, const char* const (&syllables)[N], int count)
{
    std::string word;
    for (int i = 0; i < count; ++i)
        word += draw.of(syllables);
    return word;
}

/// The parts in one text. They are drawn in the order in which they are written down, as the elements of an
/// initialiser list are; the operands of a plus sign have no order, and every compiler takes its own.
std::string text(std::initializer_list<std::string> parts)
{
    std::string all;
    for (const std::string& part : parts)
        all += part;
    return all;
}

/// An invented word in the script. Latin words start with a capital.
std::string word(Draw& draw, Script script)
{
    switch (script) {
    case Script::Accented:
        return "V" + join(draw, accentedSyllables, 2 + draw.below(2));
    case Script::Cyrillic:
        return "Д" + join(draw, cyrillicSyllables, 2 + draw.below(2));
    case Script::Greek:
        return "Ε" + join(draw, greekSyllables, 2 + draw.below(2));
    case Script::Japanese:
        return join(draw, japaneseSyllables, 3 + draw.below(3));
    case Script::Arabic:
        return join(draw, arabicSyllables, 3 + draw.below(2));
    case Script::Latin:
    case Script::Emoji:
        break;
    }
    std::string made = join(draw, latinSyllables, 2 + draw.below(2));
    made[0] = static_cast<char>(made[0] - 'a' + 'A');
    return made;
}

std::string plainTitle(Draw& draw, Script script)
{
    if (script != Script::Latin && script != Script::Emoji)
        return text({word(draw, script), draw.once(2) ? " " + word(draw, script) : std::string()});
    std::string title;
    switch (draw.below(6)) {
    case 0:
        title = text({draw.of(adjectives), " ", draw.of(nouns)});
        break;
    case 1:
        title = text({draw.of(nouns), " of ", word(draw, script)});
        break;
    case 2:
        title = text({"The ", draw.of(adjectives), " ", word(draw, script)});
        break;
    case 3:
        title = text({word(draw, script), " ", draw.of(verbs)});
        break;
    case 4:
        title = text({word(draw, script), ", ", draw.of(nouns)});
        break;
    default:
        title = word(draw, script);
        break;
    }
    return script == Script::Emoji ? title + " " + draw.of(emoji) : title;
}

/// One UTF-8 sequence starting at `at`, or 0 when there is none; sets its length in bytes.
char32_t decode(const std::string& text, std::size_t at, std::size_t& bytes)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(at);
    bytes = lead < 0x80                   ? 1
            : lead >= 0xc2 && lead < 0xe0 ? 2
            : lead >= 0xe0 && lead < 0xf0 ? 3
            : lead >= 0xf0 && lead < 0xf5 ? 4
                                          : 0;
    if (bytes == 0 || at + bytes > text.size()) {
        bytes = 1;
        return 0;
    }
    char32_t point = bytes == 1 ? lead : lead & (0x7fu >> bytes);
    for (std::size_t i = 1; i < bytes; ++i) {
        if ((byte(at + i) & 0xc0u) != 0x80u) {
            bytes = 1;
            return 0;
        }
        point = (point << 6) | (byte(at + i) & 0x3fu);
    }
    return point;
}

void encode(std::string& out, char32_t point)
{
    const auto put = [&](char32_t value) { out += static_cast<char>(value); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xc0 | (point >> 6));
        put(0x80 | (point & 0x3f));
    } else if (point < 0x10000) {
        put(0xe0 | (point >> 12));
        put(0x80 | ((point >> 6) & 0x3f));
        put(0x80 | (point & 0x3f));
    } else {
        put(0xf0 | (point >> 18));
        put(0x80 | ((point >> 12) & 0x3f));
        put(0x80 | ((point >> 6) & 0x3f));
        put(0x80 | (point & 0x3f));
    }
}

} // namespace

Script script(Draw& draw)
{
    const int percent = draw.below(100);
    return percent < 66   ? Script::Latin
           : percent < 78 ? Script::Accented
           : percent < 84 ? Script::Cyrillic
           : percent < 89 ? Script::Greek
           : percent < 94 ? Script::Japanese
           : percent < 97 ? Script::Arabic
                          : Script::Emoji;
}

std::string artist(Draw& draw, Script script)
{
    if (draw.once(400))
        return {};
    if (draw.once(300)) {
        std::string name = "The " + word(draw, script);
        for (int i = 0; i < 24; ++i)
            name += " & " + word(draw, script);
        return name;
    }
    const std::string first = word(draw, script);
    const std::string second = word(draw, script);
    if (script == Script::Emoji)
        return text({draw.of(emoji), " ", first, " ", draw.of(emoji)});
    if (script == Script::Japanese)
        return first + "・" + second;
    if (script == Script::Latin && draw.once(5))
        return first + " " + draw.of(roles);
    return first + " " + second;
}

std::string title(Draw& draw, Script script)
{
    const int rare = draw.below(600);
    if (rare == 0)
        return {};
    if (rare == 1) {
        std::string title = plainTitle(draw, script);
        for (int i = 0; i < 30; ++i)
            title += ", or " + plainTitle(draw, script);
        return title;
    }
    if (rare < 6)
        return text({"\"", plainTitle(draw, script), "\" <b>&amp; 100% + \\", word(draw, script), "/#?="});
    return plainTitle(draw, script);
}

std::string label(Draw& draw)
{
    return text({word(draw, Script::Latin), draw.once(2) ? " Records" : " Editions"});
}

std::string prose(Draw& draw, int sentences)
{
    std::string all;
    for (int i = 0; i < sentences; ++i)
        all +=
            text({i == 0 ? "The " : " The ", folded(draw.of(adjectives)), " ", folded(draw.of(nouns)), " ",
                  draw.of(verbs), " the ", folded(draw.of(nouns)), " of ", word(draw, Script::Latin), "."});
    return all;
}

std::string slug(const std::string& name)
{
    std::string out;
    for (const char c : name) {
        const bool upper = c >= 'A' && c <= 'Z';
        if (upper || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
            out += upper ? static_cast<char>(c - 'A' + 'a') : c;
        else if (!out.empty() && out.back() != '-')
            out += '-';
    }
    if (!out.empty() && out.back() == '-')
        out.pop_back();
    return out;
}

std::string folded(const std::string& text)
{
    // The C.UTF-8 locale is part of the C library's own package, so it is there whatever the user's locale
    // is.
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0, bytes = 1; at < text.size(); at += bytes) {
        const char32_t point = decode(text, at, bytes);
        if (point == 0)
            out.append(text, at, bytes);
        else if (point < 0x80)
            out += point >= 'A' && point <= 'Z' ? static_cast<char>(point - 'A' + 'a')
                                                : static_cast<char>(point);
        else
            encode(out, static_cast<char32_t>(towlower_l(static_cast<wint_t>(point), locale)));
    }
    return out;
}

} // namespace sandbox::names
