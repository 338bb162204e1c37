#include "bench/pages.h"

#include "sandbox/catalogue/Catalogue.h"
#include "sandbox/service/Records.h"

#include <string>

namespace {

using sandbox::Json;

constexpr const char* siteUrl = "https://img.service.example";

/// An album of a list: some 45 keys, nested ones included, half of its bytes in the description.
Json albumItem(const sandbox::Records& records, const sandbox::Catalogue& catalogue, int album)
{
    Json item = records.album(album, sandbox::Form::Compact);
    const Json full = records.album(album, sandbox::Form::Full);
    for (const char* key : {"composer", "label", "copyright", "upc", "url"})
        item[key] = full[key];
    sandbox::Draw draw = catalogue.draw(sandbox::Purpose::Article, album);
    item["description"] = sandbox::names::prose(draw, 24);
    return item;
}

/// A track of a list with its album: some 45 keys. The service says more about the album than the sandbox.
Json trackItem(const sandbox::Records& records, const sandbox::Catalogue& catalogue, int track)
{
    Json item = records.track(track);
    const Json album = records.album(catalogue.trackAlbum(track), sandbox::Form::Compact);
    item["album"]["genre"] = {{"id", album["genre"]["id"]}, {"name", album["genre"]["name"]}};
    item["album"]["released_at"] = album["released_at"];
    return item;
}

} // namespace

Page Page::make(Kind kind, int count, int total, int first)
{
    static const sandbox::Catalogue catalogue(1);
    static const sandbox::Records records(catalogue, siteUrl);
    Page page;
    page.kind = kind;
    page.count = count;
    Json items = Json::array();
    for (int place = 0; place < count; ++place) {
        // Far enough apart to be of other albums and artists, as favourites are.
        const int index =
            (first + place) * 97 % (kind == Albums ? catalogue.albumCount : catalogue.trackCount());
        Json item =
            kind == Albums ? albumItem(records, catalogue, index) : trackItem(records, catalogue, index);
        item["favorited_at"] = 1700000000 - place * 3600;
        page.titles.append(QString::fromStdString(item["title"].get<std::string>()));
        items.push_back(std::move(item));
    }
    const Json answer = {{"user", {{"id", 1204577}, {"login", "demo@example.com"}}},
                         {kind == Albums ? "albums" : "tracks",
                          {{"offset", 0}, {"limit", count}, {"total", total}, {"items", std::move(items)}}}};
    page.body = QByteArray::fromStdString(answer.dump());
    return page;
}

const Page& Page::albums50()
{
    static const Page page = make(Albums, 50);
    return page;
}

const Page& Page::tracks500()
{
    static const Page page = make(Tracks, 500);
    return page;
}
