#pragma once

#include "sandbox/catalogue/Catalogue.h"

#include <nlohmann/json.hpp>

#include <string>

namespace sandbox {

using Json = nlohmann::json;

/// How much of an album or a playlist a response contains.
enum class Form
{
    Full,    ///< about 2 KB for an album, 1.3 KB for a playlist
    Compact, ///< for pages so long that full records would outgrow the half mebibyte that clients read
};

/// The catalogue's records as JSON of the web API. As in real records, some values are null or empty; the
/// seed decides which. Pictures are addresses below `siteUrl`, which does not end in a slash.
class Records
{
public:
    Records(const Catalogue& catalogue, std::string siteUrl);

    Json artist(int artist) const;
    Json album(int album, Form form) const;
    /// A track as an item of its album: without `album`.
    Json albumTrack(int track) const;
    /// A track as an item of another list: with a few fields of its album.
    Json track(int track) const;
    Json playlist(int playlist, Form form) const;
    Json genre(int genre) const;
    Json article(int article) const;
    /// The account's user record.
    Json user() const;

private:
    Json commonTrack(int track) const;
    Json label(int label) const;
    Json person(int artist) const;
    Json albumImage(int album) const;
    std::string picture(const char* kind, const std::string& id, int pixels) const;

    const Catalogue& m_catalogue;
    std::string m_siteUrl;
};

} // namespace sandbox
