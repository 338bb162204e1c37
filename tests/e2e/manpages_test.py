#!/usr/bin/env python3
"""The man pages of the programs that were just built. Usage: manpages_test.py PROGRAMS"""
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
# What a page must contain, among others.
EXPECTED = {
    "pelk.1": ["networked audio player", ".SH \"EXIT STATUS\"", "--log-level", "pelk-serve (8)"],
    "pelk-play.1": ["Play a track, or the tracks of a container", "--seconds"],
    "pelk-queue.1": ["pelk queue add PATH...", "pelk queue undo", "pelk queue move FROM TO"],
    "pelk-login.1": ["--password-stdin"],
    "pelk-completions.1": ["SHELL"],
    "pelk-serve.8": ["--listen", "ADDR:PORT", "--tls-cert", "player.sock"],
    "pelk.ini.5": ["volumeLimit=100", "appSecret=", ".SS \"[qobuz]\"", "credentials.ini"],
    "qobuz-sandbox.1": ["--port", "demo@example.com"],
}


def main():
    with tempfile.TemporaryDirectory() as name:
        out = pathlib.Path(name)
        subprocess.run([ROOT / "scripts/manpages", sys.argv[1], ROOT / "debian/pelk.ini", "0.1.0", out], check=True)
        wrong = []
        for page, texts in EXPECTED.items():
            file = out / page
            content = file.read_text(encoding="utf-8").replace("\\-", "-") if file.exists() else ""
            wrong += [f"{page} does not contain: {text}" for text in texts if text not in content]
        pages = sorted(file.name for file in out.iterdir())
        print(f"figures: {len(pages)} man pages")
        if wrong:
            sys.exit("manpages_test: " + "\n".join(wrong) + "\nThe pages are: " + ", ".join(pages))


if __name__ == "__main__":
    main()
