#pragma once

#include "api/http/httpclientheaders.h"

#include <QByteArray>
#include <QHash>

#include <chrono>
#include <list>
#include <memory>

/// A private cache of answers to GET requests, by RFC 9111, in memory. Internal to the HTTP client, on its
/// thread.
///
/// A stored response is used only for a request with the same URL and headers, so one user never receives
/// another's response and Vary can be ignored. Freshness is never guessed: the server must state it (max-age,
/// or Expires with Date). A stale response with a validator (ETag, Last-Modified) is revalidated; one without
/// is not stored. When the memory is full, the least recently used response is dropped.
class ResponseCache
{
public:
    using Clock = std::chrono::steady_clock;

    struct Entry
    {
        HttpClientHeaders headers;
        QByteArray body;
        std::chrono::seconds lifetime{0}; ///< zero: ask the server before each use
        Clock::time_point born; ///< when the response was created: the time of the request minus its Age
    };
    using EntryPointer = std::shared_ptr<const Entry>;

    /// Maximum size of all entries in bytes, including headers and keys; 0 stores nothing.
    void setCapacity(qint64 bytes);
    void clear();
    qint64 size() const { return m_size; }

    /// The key of a request; null when its headers take it past the cache (a range, conditions or cache
    /// control).
    static QByteArray key(const QByteArray& encodedUrl, const HttpClientHeaders& requestHeaders);
    /// The entry of the key, fresh or stale; counts as a use. Null if there is none.
    EntryPointer find(const QByteArray& key);
    static bool isFresh(const Entry& entry, Clock::time_point now);
    /// The conditional headers that revalidate the entry.
    static HttpClientHeaders conditions(const Entry& entry);

    /// Stores a complete response with code 200, dated at the time of its request, and replaces an older one.
    /// If the response must not be cached, only drops the older one.
    void store(const QByteArray& key, const HttpClientHeaders& headers, const QByteArray& body,
               Clock::time_point requested);
    /// Takes in a 304 for the entry, and returns the headers that the entry has by now.
    HttpClientHeaders refresh(const QByteArray& key, const EntryPointer& entry,
                              const HttpClientHeaders& headers, Clock::time_point requested);
    void remove(const QByteArray& key);
    /// Drops every entry of the URL, whatever the request headers were.
    void removeUrl(const QByteArray& encodedUrl);

private:
    struct Place
    {
        QByteArray key;
        EntryPointer entry;
        qint64 bytes = 0;
    };
    using Places = std::list<Place>;

    void erase(Places::iterator place);
    void shrink();

    qint64 m_capacity = 0;
    qint64 m_size = 0;
    Places m_places; ///< the one used last in front
    QHash<QByteArray, Places::iterator> m_index;
};
