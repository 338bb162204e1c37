#!/usr/bin/env python3
"""Installs the packages into a bare Debian 12, upgrades them from an older build, removes and purges them, and compares the
result with docs/packages.md. Usage: tests/packages/installation_test.py FOLDER-OF-THE-PACKAGES; needs root and Debian's mirror."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BASE = ROOT / ".cache" / "packages" / "bookworm.tar"
BASE_PACKAGES = "ca-certificates,systemd,systemd-sysv,dbus"
# Owner, group and mode of files that users may look at.
FILES = {
    "/etc/pelk/pelk.ini": "root root 644",
    "/etc/pelk/pelk.ini.d": "root root 755",
    "/usr/lib/systemd/user/pelk.service": "root root 644",
    "/usr/share/man/man1/pelk-play.1.gz": "root root 644",
    "/usr/share/man/man5/pelk.ini.5.gz": "root root 644",
    "/usr/share/man/man8/pelk-serve.8.gz": "root root 644",
    "/usr/share/bash-completion/completions/pelk": "root root 644",
    "/usr/bin/pelk": "root root 755",
    "/usr/bin/qobuz-sandbox": "root root 755",
    "/usr/share/pelk/panel/index.html": "root root 644",
}
# Files that debconf, dpkg and the journal keep for any package.
FOREIGN = re.compile(r"^/(var/(lib/(apt|dpkg|systemd)|cache|log)|proc|sys|dev|tmp|packages)/")


class Root:
    """A separate Debian system in a folder."""

    def __init__(self, folder):
        self.folder = folder

    def run(self, *command, check=True):
        environment = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "DEBIAN_FRONTEND": "noninteractive", "LC_ALL": "C.UTF-8"}
        result = subprocess.run(["chroot", str(self.folder), *command], env=environment, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if check and result.returncode != 0:
            raise SystemExit(f"{' '.join(command)} failed with {result.returncode}:\n{result.stdout}")
        return result.stdout

    def install(self, packages):
        self.run("apt-get", "install", "-y", "-q", "--no-install-recommends", *(f"/packages/{p.name}" for p in packages))

    def files(self):
        return set(self.run("find", "/", "-xdev", "-not", "-type", "d").split("\n"))

    def state(self, path):
        return self.run("stat", "-c", "%U %G %a", path).strip()


def check(condition, sentence):
    if not condition:
        raise SystemExit(f"installation_test: {sentence}")


def prepare_base():
    if BASE.exists():
        return
    BASE.parent.mkdir(parents=True, exist_ok=True)
    print("Making a bare Debian 12 (a few minutes, once) ...", flush=True)
    partial = BASE.with_name("partial.tar")
    subprocess.run(["mmdebstrap", "--mode=root", "--variant=minbase", "--quiet", f"--include={BASE_PACKAGES}",
                    '--aptopt=Acquire::Languages "none"', "--dpkgopt=force-unsafe-io", "bookworm", str(partial)], check=True)
    partial.rename(BASE)


def older(package, folder):
    """The package with the version of an older build."""
    tree = folder / package.stem
    subprocess.run(["dpkg-deb", "-R", package, tree], check=True)
    control = tree / "DEBIAN" / "control"
    control.write_text(re.sub(r"\b0\.1\.0\b", "0.0.9", control.read_text()))
    out = folder / package.name.replace("_0.1.0_", "_0.0.9_")
    subprocess.run(["dpkg-deb", "--root-owner-group", "-b", tree, out], check=True, stdout=subprocess.DEVNULL)
    shutil.rmtree(tree)
    return out


def check_installed(root):
    for path, state in FILES.items():
        check(root.state(path) == state, f"{path} is {root.state(path)}, and not {state}.")
    account = root.run("getent", "passwd", "pelk").split(":")
    check(account[5] == "/var/lib/pelk" and account[6].strip() == "/usr/sbin/nologin", f"the user pelk is {account}.")
    check("pelk" in root.run("getent", "group", "audio"), "the user pelk is not in the group audio.")
    check(root.run("systemctl", "is-enabled", "pelk.service").strip() == "enabled", "pelk.service is not enabled.")
    check(root.run("systemctl", "is-enabled", "pelk.socket", check=False).strip() == "disabled", "pelk.socket is enabled.")
    check(root.run("systemctl", "is-enabled", "qobuz-sandbox.service", check=False).strip() == "disabled",
          "qobuz-sandbox.service is enabled.")
    check("libqobuz.so" in root.run("sh", "-c", "ls /usr/lib/*/pelk/modules"), "the module is not there.")
    linked = root.run("sh", "-c", "ldd /usr/bin/pelk /usr/bin/qobuz-sandbox /usr/lib/*/pelk/modules/*.so")
    check("not found" not in linked, f"a library is missing:\n{linked}")
    check("Usage" in root.run("pelk", "--help"), "pelk --help does not answer.")


def main():
    packages = sorted(p for p in pathlib.Path(sys.argv[1]).glob("*.deb") if "-dbgsym_" not in p.name)
    check(packages, f"there are no packages in {sys.argv[1]}; scripts/packages builds them.")
    prepare_base()
    with tempfile.TemporaryDirectory(prefix="pelk-installation-") as name:
        folder = pathlib.Path(name)
        root = Root(folder / "root")
        root.folder.mkdir()
        subprocess.run(["tar", "xf", BASE, "-C", root.folder, "--numeric-owner"], check=True)
        (root.folder / "usr/sbin/policy-rc.d").write_text("#!/bin/sh\nexit 101\n")
        (root.folder / "usr/sbin/policy-rc.d").chmod(0o755)
        shutil.copy("/etc/resolv.conf", root.folder / "etc/resolv.conf")
        there = root.folder / "packages"
        there.mkdir()
        for package in packages:
            shutil.copy(package, there)
        olds = [older(package, there) for package in packages]
        root.run("apt-get", "update", "-q")

        root.install(olds)
        check_installed(root)
        root.install(packages)
        check_installed(root)
        check("0.1.0" in root.run("dpkg-query", "-W", "pelk"), "the upgrade did not take place.")

        names = [package.name.split("_")[0] for package in packages]
        (root.folder / "var/lib/pelk").mkdir(exist_ok=True)
        (root.folder / "var/lib/pelk/queue.json").write_text("[]")
        root.run("apt-get", "remove", "-y", "-q", *names)
        left = sorted(f for f in root.files() if "pelk" in f and not FOREIGN.match(f))
        # Until the purge, Debian remembers which services were enabled.
        left = [name for name in left if not name.startswith("/etc/systemd/")]
        check(left == ["/etc/pelk/pelk.ini", "/var/lib/pelk/queue.json"], f"after the removal there are {left}.")
        root.run("dpkg", "--purge", *names)
        left = sorted(f for f in root.files() if ("pelk" in f or "qobuz" in f) and not FOREIGN.match(f))
        check(not left, f"after the purge there are {left}.")
        size = sum(p.stat().st_size for p in packages) / 1024
        print(f"figures: {len(packages)} packages, {size:,.0f} KiB, installed, upgraded, removed and purged")


if __name__ == "__main__":
    os.environ.pop("TMPDIR", None)
    main()
