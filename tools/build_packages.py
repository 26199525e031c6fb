#!/usr/bin/env python3
"""build_packages.py: builds the Debian packages of the tree, with its uncommitted changes, and checks them with lintian.
They are in build/packages; everything else happens in a copy of the tree, build/package/source.

build_packages.py --previous [COMMIT]: builds those of an earlier commit into build/package/previous, to test upgrades
from them. Without COMMIT, that is the one before the last, and it is built only if ccache makes that cheap."""
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


def set_version(source, commit):
    """Later commits have higher versions, so that apt sees an upgrade."""
    changelog = source / "debian/changelog"
    commits = output("git", "rev-list", "--count", commit).strip()
    changelog.write_text(re.sub(r"\(([^)]+)\)", rf"(\1+git{commits})", changelog.read_text(), count=1))


def built(source, log):
    """Whether the packages could be built. They are in trees.WORK, without those of earlier builds."""
    for old in [file for kind in ("deb", "changes", "buildinfo") for file in trees.WORK.glob("*." + kind)]:
        old.unlink()
    environment = {**os.environ, "DEB_BUILD_OPTIONS": "noautodbgsym"}
    if shutil.which("ccache"):  # debhelper changes HOME
        environment.setdefault("CCACHE_DIR", output("ccache", "--get-config", "cache_dir").strip())
    with open(log, "w") as sink:
        result = subprocess.run(["dpkg-buildpackage", "-b", "-us", "-uc", f"-j{os.cpu_count()}"], cwd=source,
                                env=environment, stdout=sink, stderr=sink)
    if result.returncode != 0:
        print(*log.read_text().splitlines()[-40:], sep="\n", file=sys.stderr)
    return result.returncode == 0


def build_tree():
    source = copied_tree()
    set_version(source, "HEAD")
    for old in trees.PACKAGES.glob("*.deb"):
        old.unlink()
    log = trees.WORK / "build.log"
    if not built(source, log):
        sys.exit(f"build_packages: dpkg-buildpackage failed: see {log}")
    changes, = trees.WORK.glob("*.changes")
    run("lintian", "--allow-root", "--fail-on", "error,warning", str(changes))
    trees.PACKAGES.mkdir(exist_ok=True)
    for package in sorted(trees.WORK.glob("*.deb")):
        package = package.rename(trees.PACKAGES / package.name)
        installed = output("dpkg-deb", "--field", str(package), "Installed-Size").strip()
        print(f"{package.stat().st_size / 1024:7.0f} KiB, installed {int(installed):6d} KiB  "
              f"{package.relative_to(trees.TREE)}")


def build_previous(wanted):
    """@return why the packages of this commit, or of the previous one, couldn't be built; empty if they are there"""
    previous = trees.WORK / "previous"
    found = subprocess.run(["git", "rev-parse", "--verify", "--quiet", (wanted or "HEAD~1") + "^{commit}"],
                           cwd=trees.TREE, capture_output=True, text=True)
    commit = found.stdout.strip()
    if commit and (previous / commit).exists():
        return ""
    trees.emptied("previous")
    if not commit:
        return f"the clone has no commit {wanted}" if wanted else "the clone has no earlier commit"
    if not wanted and not shutil.which("ccache"):
        return "ccache isn't installed"
    source = trees.emptied("source")
    archive = subprocess.Popen(["git", "archive", commit], cwd=trees.TREE, stdout=subprocess.PIPE)
    run("tar", "-x", "-C", str(source), stdin=archive.stdout)
    if archive.wait() != 0:
        return f"git archive {commit} failed"
    set_version(source, commit)
    if not built(source, log := trees.WORK / "build-previous.log"):
        return f"dpkg-buildpackage failed: see {log}"
    for package in trees.WORK.glob("*.deb"):
        package.rename(previous / package.name)
    (previous / commit).touch()
    print(f"build_packages: upgrades start from {output('git', 'log', '-1', '--format=%h %s', commit).strip()}")
    return ""


def main():
    if sys.argv[1:2] != ["--previous"]:
        build_tree()
    elif why := build_previous(wanted := "".join(sys.argv[2:3])):
        if wanted:
            sys.exit(f"build_packages: {why}")
        print(f"*** NOT TESTED: an upgrade from the previous commit: {why}; it is one from the same programs with a "
              "lower version ***", file=sys.stderr)


main()
