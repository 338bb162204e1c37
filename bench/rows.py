#!/usr/bin/env python3
"""The same work in Python: from a page's JSON text to its rows, as dictionaries with the fields of the module's rows.
Usage: rows.py ALBUMS.json TRACKS.json. Then reads lines: "albums json 20" makes the rows 20 times with the parser of that
name (json or ujson) and prints the nanoseconds of processor time that this took, "albums ujson" prints the rows as JSON."""
import json
import sys
import time
from urllib.parse import quote

import ujson

PARSERS = {"json": json.loads, "ujson": ujson.loads}

CONTAINER, AUDIO = 1, 3
CONTAINER_ALBUM = 2
MUSIC = 1


def largest_picture(image):
    image = image or {}
    return (image.get("extralarge") or image.get("large") or image.get("medium") or image.get("small")
            or image.get("thumbnail") or "")


def name_of(record):
    return (record or {}).get("name") or ""


def album_row(album):
    return {
        "title": album.get("title") or "",
        "icon": largest_picture(album.get("image")),
        "path": "qobuz:album?id=" + quote(album.get("id") or ""),
        "type": CONTAINER,
        "containerType": CONTAINER_ALBUM,
        "containerPlayable": True,
    }


def track_row(track):
    album = track.get("album") or {}
    track_id = str(track.get("id") or 0)
    return {
        "title": track.get("title") or "",
        "icon": largest_picture(album.get("image")),
        "path": "qobuz:track?id=" + track_id,
        "type": AUDIO,
        "audioType": MUSIC,
        "mediaData": {
            "metaData": {
                "genre": name_of(album.get("genre")),
                "composer": name_of(track.get("composer")),
                "performer": name_of(track.get("performer")),
                "album": album.get("title") or "",
                "artist": name_of(album.get("artist")),
                "serviceID": "qobuz",
                "copyright": track.get("copyright") or album.get("copyright") or "",
                "originalTrackNumber": track.get("track_number") or 0,
                "date": album.get("released_at") or 0,
                "allowSeekTime": True,
                "allowSeekBytes": True,
                "allowPause": True,
                "prePlayPath": "qobuz:preplay?id=" + track_id,
            },
        },
    }


def rows(kind, parse, body):
    row = album_row if kind == "albums" else track_row
    return [row(item) for item in parse(body)[kind]["items"]]


def main():
    bodies = {}
    for kind, name in zip(("albums", "tracks"), sys.argv[1:]):
        with open(name, "rb") as file:
            bodies[kind] = file.read()
    for line in sys.stdin:
        kind, parser, *count = line.split()
        body, parse = bodies[kind], PARSERS[parser]
        if not count:
            print(json.dumps(rows(kind, parse, body)), flush=True)
            continue
        started = time.process_time_ns()
        for _ in range(int(count[0])):
            rows(kind, parse, body)
        print(time.process_time_ns() - started, flush=True)


if __name__ == "__main__":
    main()
