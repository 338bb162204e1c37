#pragma once

#include "sandbox/catalogue/Catalogue.h"
#include "sandbox/catalogue/Library.h"
#include "sandbox/catalogue/Search.h"
#include "sandbox/service/Access.h"
#include "sandbox/service/Records.h"

#include <map>
#include <string>

namespace sandbox {

class StreamUrls;

/// A call of the web API, as received.
struct Call
{
    std::string endpoint; ///< such as "album/get"
    QueryItems query;
    std::string appIdHeader; ///< X-App-Id
    std::string tokenHeader; ///< X-User-Auth-Token
    std::string hostHeader;  ///< Host: the host and port in the client's request

    /// The first value of a query item, or an empty text.
    const std::string& value(const std::string& key) const;
    bool has(const std::string& key) const;
};

struct Answer
{
    int status = 200;
    Json body;
};

/// The error answer of the service.
Answer refusal(int status, const std::string& message);

/// The web API: checks a call and answers it from the catalogue. Safe to use from any thread.
class Endpoints
{
public:
    /// A larger limit is clipped to this.
    static constexpr int largestPage = 500;
    static constexpr int defaultPage = 50;
    /// Pages with more albums or playlists than this contain compact records.
    static constexpr int largestFullPage = 200;

    Endpoints(const Catalogue& catalogue, Access& access, const StreamUrls& streams,
              const std::string& siteUrl, int featuredAlbums);

    bool knows(const std::string& endpoint) const { return m_methods.count(endpoint) != 0; }
    /// The answer to a call, an error answer included. An unknown endpoint is a 404.
    Answer answer(const Call& call) const;
    /// Collects the names for searches in advance, so that the first search is as fast as the others.
    void prepareSearch() const;

private:
    struct Page
    {
        int offset;
        int limit;
    };
    struct Method
    {
        Answer (Endpoints::*run)(const Call&) const;
        bool needsToken;
    };

    Answer userLogin(const Call& call) const;
    Answer userGet(const Call& call) const;
    Answer genreGet(const Call& call) const;
    Answer genreList(const Call& call) const;
    Answer albumGet(const Call& call) const;
    Answer albumGetFeatured(const Call& call) const;
    Answer artistGet(const Call& call) const;
    Answer playlistGet(const Call& call) const;
    Answer userPlaylists(const Call& call) const;
    Answer articleGet(const Call& call) const;
    Answer userFavorites(const Call& call) const;
    Answer catalogGetFeatured(const Call& call) const;
    Answer userPurchases(const Call& call) const;
    Answer search(const Call& call) const;
    Answer trackFileUrl(const Call& call) const;
    Answer reportStreaming(const Call& call) const;

    static Page pageOf(const Call& call);
    template <typename Item>
    static Json list(const Page& page, int total, Item item);
    Json albums(const Page& page, const std::vector<int>& indices) const;
    static Form formOf(const Page& page, int total);
    std::vector<int> featuredAlbums(const Call& call) const;
    Json playlist(int playlist, Form form) const;
    Json playlists(const Page& page, int first, int end) const;

    const Catalogue& m_catalogue;
    Access& m_access;
    const StreamUrls& m_streams;
    Records m_records;
    Library m_library;
    int m_featuredAlbums;
    NameIndex m_artistNames;
    NameIndex m_albumTitles;
    NameIndex m_trackTitles;
    NameIndex m_playlistNames;
    std::map<std::string, Method> m_methods;
};

} // namespace sandbox
