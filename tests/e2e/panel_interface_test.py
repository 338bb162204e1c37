#!/usr/bin/env python3
"""Checks the JSON interface against /api/openapi.json: real responses of the real player, with the sandbox, must match the
document and contain no secret. The test fails if it leaves out an operation of the document."""
import argparse
import http.client
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time

import jsonschema

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
EVENTS = {"player": "PlayerStatus", "queue": "QueueState", "value": "ValueEvent", "notification": "Notification"}
SECRET = "sandbox-secret-0123456789abcdef"
LIST = "qobuz:favourites/tracks"
LIMIT_SECONDS = 30


class Failed(Exception):
    pass


def check(condition, sentence):
    if not condition:
        raise Failed(sentence)


def as_json_schema(node):
    """Converts the `nullable` of OpenAPI 3.0 to the null type of JSON Schema."""
    if isinstance(node, list):
        return [as_json_schema(item) for item in node]
    if not isinstance(node, dict):
        return node
    node = {key: as_json_schema(value) for key, value in node.items()}
    if node.pop("nullable", False) is True:
        return {"anyOf": [node, {"type": "null"}]}
    return node


class Player:
    """The sandbox and `pelk serve` as processes, with their own home folder."""

    def __init__(self, programs, home):
        self.session = home / "state" / "pelk" / "session.json"
        self.socket = home / "state" / "pelk" / "player.sock"
        environment = dict(os.environ, HOME=str(home), XDG_CONFIG_HOME=str(home / "config"), XDG_STATE_HOME=str(home / "state"),
                           XDG_CACHE_HOME=str(home / "cache"), XDG_RUNTIME_DIR="")
        panel = home / "panel"
        panel.mkdir()
        (panel / "index.html").write_text("<!doctype html>")
        self.sandbox = subprocess.Popen([programs / "qobuz-sandbox", "--port", "0"], stdout=subprocess.PIPE, text=True)
        api = self.sandbox.stdout.readline().split(": ", 1)[1].strip()
        subprocess.run([ROOT / "scripts" / "sandbox_settings", api, home / "config" / "pelk" / "pelk.ini"], check=True)
        self.serve = subprocess.Popen([programs / "pelk", "serve", "--listen", "127.0.0.1:0", "--panel", panel], env=environment,
                                      stdout=subprocess.PIPE, text=True)
        line = self.serve.stdout.readline()
        check(line.startswith("The panel is at http://127.0.0.1:"), f"The player said: {line!r}")
        self.address = line.split("//")[1].strip().rstrip("/")

    def ask(self, method, target, body=None, headers=None):
        connection = http.client.HTTPConnection(self.address, timeout=60)
        content = body if isinstance(body, (bytes, type(None))) else json.dumps(body).encode()
        connection.request(method, target, content, {"Content-Type": "application/json", **(headers or {})} if content is not None else headers or {})
        response = connection.getresponse()
        return response.status, response.getheader("Content-Type", ""), response.read()

    def cookie(self, body, headers):
        """Logs in; returns the headers that a browser sends from then on."""
        connection = http.client.HTTPConnection(self.address, timeout=60)
        connection.request("POST", "/api/access/login", json.dumps(body), {"Content-Type": "application/json", **headers})
        return connection.getresponse().getheader("Set-Cookie").split(";")[0]

    def ask_locally(self, target):
        """Through the socket file."""
        content = subprocess.run(["curl", "-sS", "--fail", "--unix-socket", self.socket, "http://pelk" + target], stdout=subprocess.PIPE,
                                 check=True, timeout=60).stdout
        return 200, "application/json", content

    def token(self):
        """The data of the saved login, which is written after the response to a login."""
        ends = time.monotonic() + LIMIT_SECONDS
        while time.monotonic() < ends:
            if self.session.exists():
                token = json.loads(self.session.read_text())["session:qobuz"]["qobuzUserSession"].get("userAuthToken", "")
                if len(token) > 10:
                    return token
            time.sleep(0.02)
        raise Failed("The login was not saved.")

    def follow(self, target):
        connection = http.client.HTTPConnection(self.address, timeout=60)
        connection.request("GET", target)
        return connection.getresponse()

    def end(self):
        self.serve.send_signal(signal.SIGTERM)
        code = self.serve.wait(20)
        self.sandbox.send_signal(signal.SIGTERM)
        self.sandbox.wait(20)
        check(code == 0, f"The player ended with exit code {code}.")


class Interface:
    def __init__(self, player):
        self.player = player
        status, _, body = player.ask("GET", "/api/openapi.json")
        check(status == 200, "There is no document.")
        self.document = json.loads(body)
        self.resolver = jsonschema.RefResolver("", as_json_schema(self.document))
        self.asked = set()
        self.bodies = [body]
        self.count = 0

    def valid(self, value, schema, what):
        validator = jsonschema.Draft7Validator(as_json_schema(schema), resolver=self.resolver)
        for error in validator.iter_errors(value):
            raise Failed(f"{what}: {error.message} at {list(error.absolute_path)}")
        self.count += 1

    def resolved(self, node):
        return self.resolver.resolve(node["$ref"])[1] if "$ref" in node else node

    def ask(self, method, path, query="", body=None, status=200, headers=None, is_local=False):
        """Sends a request; the response must match the document for its status."""
        what = f"{method} {path}{query} {body if body is not None else ''}"
        got, kind, content = self.player.ask_locally(path) if is_local else self.player.ask(method, path + query, body, headers)
        check(got == status, f"{what}: status {got}, not {status}: {content[:300]}")
        operation = self.document["paths"].get(path, {}).get(method.lower())
        if status < 400:
            self.asked.add((method, path))
            check(operation is not None, f"{what} is not in the document")
            check(str(status) in operation["responses"], f"{what}: the document knows no status {status}")
        described = operation["responses"].get(str(status), operation["responses"]["default"]) if operation else {
            "$ref": "#/components/responses/Problem"}
        described = self.resolved(described)
        self.bodies.append(content)
        if "content" not in described:
            check(content == b"", f"{what}: a body that the document does not know")
            return None
        media = kind.split(";")[0]
        check(media in described["content"], f"{what}: content type {kind}")
        value = json.loads(content)
        self.valid(value, described["content"][media]["schema"], what)
        if body is not None and isinstance(body, dict) and operation and status < 400:
            request = self.resolved(operation["requestBody"])["content"]["application/json"]["schema"]
            self.valid(body, request, f"the body of {what}")
        return value

    def until(self, method, path, query, condition, sentence):
        ends = time.monotonic() + LIMIT_SECONDS
        while time.monotonic() < ends:
            value = self.ask(method, path, query)
            if condition(value):
                return value
            time.sleep(0.02)
        raise Failed(sentence)

    def events(self, query, wanted):
        """Reads the stream until all expected events have arrived."""
        response = self.player.follow("/api/events" + query)
        check(response.status == 200 and response.getheader("Content-Type") == "text/event-stream", "The stream does not begin.")
        self.asked.add(("GET", "/api/events"))
        missing, name = set(wanted), None
        while missing:
            line = response.readline().decode()
            check(line != "", f"The stream ended before {missing} came.")
            self.bodies.append(line.encode())
            if line.startswith("event: "):
                name = line[7:].strip()
            elif line.startswith("data: "):
                check(name in EVENTS, f"The document knows no event {name}.")
                self.valid(json.loads(line[6:]), self.document["components"]["schemas"][EVENTS[name]], f"event {name}")
                missing.discard(name)
        response.close()


def account(operation, **form):
    return {"path": "account:qobuz", "role": "value", "value": {"type": 138, "qobuzAccount": {"operation": operation, **form}}}


def access(interface):
    """Another machine, whose requests a proxy forwards, logs in with the player's password."""
    ask = interface.ask
    forwarded = {"X-Forwarded-For": "192.0.2.1"}
    check(ask("GET", "/api/access") == {"level": "local", "readable": False, "passwordSet": False}, "This machine has not every right.")
    ask("POST", "/api/access/password", body={"password": "short"}, status=400)
    ask("POST", "/api/access/password", body={"password": "correct horse"}, status=204)
    check(ask("GET", "/api/access", headers=forwarded) == {"level": "none", "readable": True}, "Others learn something.")
    ask("GET", "/api/player", status=401, headers=forwarded)
    ask("POST", "/api/access/login", body={"password": "wrong"}, status=401, headers=forwarded)
    cookie = interface.player.cookie({"password": "correct horse"}, forwarded)
    ask("POST", "/api/access/login", body={"password": "correct horse"}, status=204, headers=forwarded)
    ask("GET", "/api/player", headers={**forwarded, "Cookie": cookie})
    listed = ask("GET", "/api/access/sessions", headers={**forwarded, "Cookie": cookie})["sessions"]
    check([one["current"] for one in listed].count(True) == 1 and len(listed) == 2, "The sessions are not listed.")
    other = next(one["session"] for one in listed if not one["current"])
    ask("POST", "/api/access/revoke", body={"session": other}, status=204)
    ask("POST", "/api/access/revoke", body={"session": other}, status=409)
    ask("POST", "/api/access/logout", body={}, status=204, headers={**forwarded, "Cookie": cookie})
    ask("GET", "/api/player", status=401, headers={**forwarded, "Cookie": cookie})


def run(interface):
    ask = interface.ask
    ask("GET", "/api/openapi.json")
    access(interface)
    ask("GET", "/api/about", status=403)
    check(ask("GET", "/api/about", is_local=True)["loggedIn"] is False, "Somebody is logged in.")
    ask("GET", "/api/rows", "?path=&from=0&to=9")
    ask("GET", "/api/rows", "?path=qobuz:&from=0&to=9", status=502)
    ask("POST", "/api/data", body=account(1, username="demo@example.com", password="wrong"), status=502)
    ask("POST", "/api/data", body=account(1, username="demo@example.com", password="demo"))
    token = interface.player.token()

    # Every list of the module, in every language, including those below the search.
    for language in "en", "de", "fr":
        waiting, seen = [""], set()
        while waiting:
            path = waiting.pop()
            value = ask("GET", "/api/rows", f"?path={path.replace('&', '%26').replace('?', '%3F')}&from=0&to=49&lang={language}")
            for row in value["rows"][:10]:
                seen.add(row.get("title"))
                below = row["path"] if row.get("type") == "container" else row.get("queryPath", "")
                if below.count("/") + below.count("?") <= 1 and "?" not in below and below:
                    waiting.append(below)
        wanted = {"en": {"Discover", "Favourites", "Tracks"}, "de": {"Entdecken", "Favoriten", "Titel", "Käufe", "Suche"},
                  "fr": {"Découvrir", "Favoris", "Titres", "Achats", "Recherche"}}[language]
        check(wanted <= seen, f"Missing in {language}: {wanted - seen}")
        check(language == "en" or not {"Discover", "Favourites", "Tracks", "Search"} & seen, f"English in {language}: {seen}")

    ask("GET", "/api/data", "?path=qobuz:featured/albums&role=title&role=type&role=icon&role=containerPlayable")
    ask("GET", "/api/data", "?path=account:qobuz&role=value")
    ask("GET", "/api/data", "?path=settings:qobuz/soundQuality&role=value")
    ask("POST", "/api/data", body={"path": "settings:qobuz/soundQuality", "role": "value", "value": {"type": 141, "qobuzSoundQuality": 2}})
    for path in "settings:qobuz", "session:qobuz", "system:memberId":
        ask("GET", "/api/data", f"?path={path}&role=value", status=403)
        ask("GET", "/api/events", f"?value={path}", status=403)
        ask("POST", "/api/data", body={"path": path, "role": "value", "value": {"type": 137, "qobuzSettings": {"apiUrl": "http://evil/"}}},
            status=403)
    ask("GET", "/api/player")
    ask("POST", "/api/player/queue/add", body={"path": LIST, "where": "replace", "startAt": 1}, status=202)
    playing = interface.until("GET", "/api/player", "", lambda value: value["state"] == "playing" and value["format"], "Nothing plays.")
    check(playing["row"]["playable"] and playing["durationMs"] > 0, "What plays has no row.")
    interface.events("?value=account:qobuz/loginState&value=settings:qobuz/soundQuality&lang=de", {"player", "queue", "value"})
    queue = interface.until("GET", "/api/player/queue", "?from=0&to=99", lambda value: value["count"] > 100, "The queue stays short.")
    first, second, third = [entry["id"] for entry in queue["entries"][:3]]
    ask("POST", "/api/player/pause", body={}, status=204)
    ask("POST", "/api/player/play", body={}, status=204)
    ask("POST", "/api/player/seek", body={"positionMs": 5000}, status=204)
    ask("POST", "/api/player/seek", body={"byMs": -1000}, status=204)
    ask("POST", "/api/player/volume", body={"percent": 40, "muted": True}, status=204)
    ask("POST", "/api/player/mode", body={"repeat": "all", "shuffle": False}, status=204)
    ask("POST", "/api/player/next", body={}, status=204)
    ask("POST", "/api/player/previous", body={}, status=204)
    ask("POST", "/api/player/jump", body={"entry": third}, status=204)
    ask("POST", "/api/player/queue/move", body={"entry": first, "before": None})
    ask("POST", "/api/player/queue/move", body={"entry": second, "before": third})
    ask("POST", "/api/player/queue/add", body={"path": LIST, "where": "next", "from": 0, "to": 3}, status=202)
    ask("POST", "/api/player/queue/remove", body={"entries": [first]})
    ask("POST", "/api/player/queue/remove", body={"entries": [first]}, status=409)
    ask("POST", "/api/player/queue/move", body={"entries": [third, second], "before": None})
    ask("POST", "/api/player/sleep", body={"minutes": 30}, status=204)
    check(ask("GET", "/api/player")["sleep"]["leftMs"] > 0, "No sleep timer.")
    ask("POST", "/api/player/sleep", body={"at": "off"}, status=204)
    ask("POST", "/api/player/sleep", body={"minutes": 0}, status=400)
    ask("POST", "/api/player/stop", body={}, status=204)
    ask("POST", "/api/player/queue/clear", body={})
    check(ask("GET", "/api/player")["undo"] > 0, "Nothing to undo.")
    ask("POST", "/api/player/queue/undo", body={})
    ask("POST", "/api/player/queue/undo", body={}, status=409)
    check(ask("GET", "/api/history")["items"], "Nothing was played lately.")
    ask("POST", "/api/history/clear", body={}, status=204)

    # Invalid requests to every operation with arguments.
    ask("GET", "/api/nothing", status=404)
    ask("POST", "/api/rows", body={}, status=405)
    for method, path in sorted(interface.asked):
        if method == "POST":
            ask(method, path, body=b"{", status=400)
            ask(method, path, body=b"[]", status=400)
            ask(method, path, body={}, status=415, headers={"Content-Type": "text/plain"})
            ask(method, path, body=b'{"a":"' + b"a" * 65536 + b'"}', status=413)
        else:
            ask("POST", path, body={}, status=400 if path == "/api/data" else 405)
        ask(method, path, body=None if method == "GET" else {}, status=403, headers={"Origin": "http://evil.example"})
    ask("POST", "/api/data", body=account(2))

    described = {(method.upper(), path) for path, item in interface.document["paths"].items() for method in item}
    check(interface.asked == described, f"Not asked: {sorted(described - interface.asked)}")
    for body in interface.bodies:
        for secret in token.encode(), SECRET.encode(), b"/streams/", b"preplay", b"stateChange?":
            check(secret not in body, f"A secret ({secret[:12]}) is in an answer: {body[:200]}")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--bin", type=pathlib.Path, required=True, help="Folder of the programs")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as home:
        player = Player(options.bin, pathlib.Path(home))
        try:
            interface = Interface(player)
            run(interface)
            print(f"figures: {interface.count} answers and events of {len(interface.asked)} operations are as the document says")
        except Failed as failure:
            print(f"panel_interface_test: {failure}", file=sys.stderr)
            return 1
        finally:
            player.end()
    return 0


if __name__ == "__main__":
    sys.exit(main())
