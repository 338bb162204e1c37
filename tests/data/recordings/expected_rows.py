#!/usr/bin/env python3
"""Computes the rows of a list's response from its JSON alone.
Reads lines of a list's path, a blank and the answer; prints a line of JSON for each: the total and the rows, each an object
of the roles that it has."""
import json
import re
import sys
from urllib.parse import quote

LISTS = {  # path: the keys that lead to the page, and what its items are
    "featured/albums": (["albums"], "album"), "featured/artists": (["artists"], "artist"),
    "featured/playlists": (["playlists"], "playlist"), "playlists": (["playlists"], "playlist"),
    "favourites/tracks": (["tracks"], "track"), "favourites/albums": (["albums"], "album"),
    "favourites/artists": (["artists"], "artist"), "purchases/tracks": (["tracks"], "track"),
    "purchases/albums": (["albums"], "album"), "search/artists": (["artists"], "artist"),
    "search/albums": (["albums"], "album"), "search/tracks": (["tracks"], "track"),
    "search/playlists": (["playlists"], "playlist"), "album": (["tracks"], "track"), "playlist": (["tracks"], "track"),
    "artist": (["albums"], "album"),
}


def at(value, *keys):
    """The value below the keys; None if a value on the way is not an object."""
    for key in keys:
        value = value.get(key) if isinstance(value, dict) else None
    return value


def text(value):
    if isinstance(value, bool):
        return str(value).lower()
    return str(value) if isinstance(value, (str, int, float)) else ""


def number(value):
    if isinstance(value, str):
        return int(value) if re.fullmatch(r"[+-]?[0-9]+", value) else 0
    return int(value) if isinstance(value, (int, float)) else 0


def path(kind, an_id):
    return f"qobuz:{kind}?id={quote(an_id, safe='-._~')}"


def picture(image):
    sizes = [text(at(image, size)) for size in ("extralarge", "large", "medium", "small")]
    return next((url for url in sizes if url), text(at(image, "thumbnail")))


def track_row(track, album):
    meta = {
        "genre": text(at(album, "genre", "name")), "composer": text(at(track, "composer", "name")),
        "performer": text(at(track, "performer", "name")), "album": text(at(album, "title")),
        "artist": text(at(album, "artist", "name")), "serviceID": "qobuz",
        "copyright": text(at(track, "copyright")) or text(at(album, "copyright")),
        "originalTrackNumber": number(at(track, "track_number")), "allowSeekTime": True, "allowSeekBytes": True,
        "allowPause": True, "prePlayPath": path("preplay", str(number(at(track, "id")))),
    }
    row = {"title": text(at(track, "title")), "path": path("track", str(number(at(track, "id")))), "type": 3, "audioType": 1,
           "mediaData": {"metaData": meta}}
    if isinstance(album, dict) and album:
        row["icon"] = picture(at(album, "image"))
        meta["date"] = number(at(album, "released_at"))
    return row


def album_row(album):
    return {"title": text(at(album, "title")), "icon": picture(at(album, "image")), "path": path("album", text(at(album, "id"))),
            "type": 1, "containerType": 2, "containerPlayable": True}


def artist_row(artist):
    name = text(at(artist, "name"))
    return {"title": name, "icon": text(at(artist, "image", "small")), "path": path("artist", str(number(at(artist, "id")))),
            "type": 1, "containerType": 1, "containerPlayable": True, "audioType": 1,
            "mediaData": {"metaData": {"artist": name, "serviceID": "qobuz"}}}


def playlist_row(playlist):
    pictures = [at(playlist, size) for size in ("images300", "images150", "images")]
    first = next((urls[0] for urls in pictures if isinstance(urls, list) and urls), "")
    meta = {"serviceID": "qobuz"}
    genres = at(playlist, "genres")
    if isinstance(genres, list) and genres:
        meta["genre"] = text(at(genres[0], "name"))
    return {"title": text(at(playlist, "name")), "icon": text(first), "path": path("playlist", str(number(at(playlist, "id")))),
            "type": 1, "containerType": 10, "containerPlayable": True, "mediaData": {"metaData": meta}}


def answer_rows(list_path, answer):
    keys, kind = LISTS[list_path]
    page = at(answer, *keys)
    items = at(page, "items")
    items = items if isinstance(items, list) else []
    if kind == "track":
        rows = [track_row(item, answer if list_path == "album" else at(item, "album")) for item in items]
    else:
        rows = [{"album": album_row, "artist": artist_row, "playlist": playlist_row}[kind](item) for item in items]
    return {"total": number(at(page, "total")), "rows": rows}


for line in sys.stdin.buffer:
    of_list, body = line.split(b" ", 1)
    print(json.dumps(answer_rows(of_list.decode(), json.loads(body))), flush=True)
