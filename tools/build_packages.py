#!/usr/bin/env python3
"""build_packages.py: builds the Debian packages of the tree, with its uncommitted changes, and checks them with lintian.
They are in build/packages; everything else happens in a copy of the tree, build/package/source."""
import os
import pathlib
import re
import shutil
import subprocess
import sys

import trees


def run(*words, **how):
    return subprocess.run(words, check=True, text=True, **how)


def output(*words):
    return run(*words, capture_output=True, cwd=trees.TREE).stdout


def copied_tree():
    source = trees.emptied("source")
    for name in output("git", "ls-files", "-z", "--cached", "--others", "--exclude-standard").split("\0"):
        if name and os.path.lexists(trees.TREE / name):
            (source / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(trees.TREE / name, source / name, follow_symlinks=False)
    return source


def set_version(changelog):
    """Later commits have higher versions, so that apt sees an upgrade."""
    commits = output("git", "rev-list", "--count", "HEAD").strip()
    changelog.write_text(re.sub(r"\(([^)]+)\)", rf"(\1+git{commits})", changelog.read_text(), count=1))


def main():
    source = copied_tree()
    set_version(source / "debian/changelog")
    built_before = [file for kind in ("deb", "changes", "buildinfo") for file in trees.WORK.glob("*." + kind)]
    for old in [*built_before, *trees.PACKAGES.glob("*.deb")]:
        old.unlink()
    environment = {**os.environ, "DEB_BUILD_OPTIONS": "noautodbgsym"}
    if shutil.which("ccache"):  # debhelper changes HOME
        environment.setdefault("CCACHE_DIR", output("ccache", "--get-config", "cache_dir").strip())
    log = trees.WORK / "build.log"
    with open(log, "w") as sink:
        built = subprocess.run(["dpkg-buildpackage", "-b", "-us", "-uc", f"-j{os.cpu_count()}"], cwd=source,
                               env=environment, stdout=sink, stderr=sink)
    if built.returncode != 0:
        print(*log.read_text().splitlines()[-40:], sep="\n", file=sys.stderr)
        sys.exit(f"build_packages: dpkg-buildpackage failed: see {log}")
    changes, = trees.WORK.glob("*.changes")
    run("lintian", "--allow-root", "--fail-on", "error,warning", str(changes))
    trees.PACKAGES.mkdir(exist_ok=True)
    for package in sorted(trees.WORK.glob("*.deb")):
        package = package.rename(trees.PACKAGES / package.name)
        installed = output("dpkg-deb", "--field", str(package), "Installed-Size").strip()
        print(f"{package.stat().st_size / 1024:7.0f} KiB, installed {int(installed):6d} KiB  "
              f"{package.relative_to(trees.TREE)}")


main()
