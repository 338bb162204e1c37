#pragma once

#include "sandbox/catalogue/Draw.h"

#include <string>

namespace sandbox {

/// The script of a name. Albums and tracks use their artist's script.
enum class Script
{
    Latin,
    Accented,
    Cyrillic,
    Greek,
    Japanese,
    Arabic,
    Emoji,
};

/// Invented names in UTF-8, made of syllables and plain words, so that they name no real person.
namespace names {

/// A script; most draws give Latin.
Script script(Draw& draw);
/// The name of an artist or a person.
std::string artist(Draw& draw, Script script);
/// The title of an album, a track or a playlist. Rarely empty, very long, or full of quotes and markup.
std::string title(Draw& draw, Script script);
/// A record label.
std::string label(Draw& draw);
/// Plain English-looking prose of that many sentences.
std::string prose(Draw& draw, int sentences);
/// The name in the form for web addresses: ASCII letters, digits and hyphens, possibly empty.
std::string slug(const std::string& name);
/// Letters in lower case, for comparing without case; other bytes stay. Malformed UTF-8 is kept as it is.
std::string folded(const std::string& text);

} // namespace names

} // namespace sandbox
