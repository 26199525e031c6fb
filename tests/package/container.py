#!/usr/bin/env python3
"""Boots a minimal Debian 12 in a container, build/package/root, and runs `installed` in it with the packages of
build/packages. The container has no network. Needs root. With --autopkgtest, Debian's autopkgtest installs the packages
and runs the test there, as debian/tests says, without rebooting."""
import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

sys.dont_write_bytecode = True
HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parents[1] / "tools"))
import trees  # noqa: E402

TIMEOUT = 600  # seconds, for all of `installed`
REBOOTS = 133  # exit status of systemd-nspawn
OUTPUT = "root/test/output"
UNIT = """[Unit]
After=multi-user.target
[Service]
Type=oneshot
ExecStart=/root/test/run
StandardOutput=append:/root/test/output
StandardError=append:/root/test/output
[Install]
WantedBy=default.target
"""
RUN = """#!/bin/sh
cd /root/test
export DEBS=/root/debs REBOOT=/root/test/reboot AUTOPKGTEST_REBOOT_MARK="$(cat mark)"
./test && status=0 || status=$?
echo "$status" > status
systemctl poweroff
"""
AUTOPKGTEST = """#!/bin/sh
unset AUTOPKGTEST_REBOOT_MARK DEBS REBOOT
exec autopkgtest --no-built-binaries --ignore-restrictions=breaks-testbed /root/debs/*.deb /root/source -- null
"""
REBOOT = """#!/bin/sh
echo "$1" > /root/test/mark
shift
"$@"
sleep 20
"""


def run(*words, **how):
    return subprocess.run([str(word) for word in words], check=True, text=True, **how)


def field(package, name):
    return run("dpkg-deb", "--field", package, name, capture_output=True).stdout.strip()


def needed(packages, autopkgtest):
    """What the packages and the test depend on, without the packages, and without what only developers need unless
    autopkgtest runs."""
    ours = {field(package, "Package") for package in packages}
    extra = {"systemd-sysv", "dbus", "procps", "snmp"}
    if autopkgtest:
        extra |= {"autopkgtest", "dpkg-dev", "apparmor"}
    listed = {re.split(r"[ :(|]", word.strip())[0]
              for package in packages if autopkgtest or "-dev_" not in package.name
              for word in field(package, "Depends").split(",") if word.strip()}
    return sorted(listed - ours | extra)


def base(packages, autopkgtest):
    """A tar file with a minimal Debian 12 and what the packages need. Made once for each list of packages."""
    include = ",".join(needed(packages, autopkgtest))
    tar = trees.WORK / f"base-{hashlib.sha256(include.encode()).hexdigest()[:12]}.tar"
    if not tar.exists():
        part = tar.with_suffix(".part.tar")
        try:
            run("mmdebstrap", "--quiet", "--variant=minbase", f"--include={include}", "bookworm", part,
                env={**os.environ, "TMPDIR": str(trees.WORK)})
        except subprocess.CalledProcessError:
            not_tested("mmdebstrap made no system; see its output above")
        part.rename(tar)
    return tar


def older(package, folder):
    """The same package with a lower version."""
    content = trees.emptied("older")
    run("dpkg-deb", "--raw-extract", package, content)
    control = content / "DEBIAN/control"
    control.write_text(re.sub(r"(?m)^(Version: \S+?)(\+\S*)?$", r"\1~older", control.read_text()))
    run("dpkg-deb", "--root-owner-group", "--build", content, folder / package.name, stdout=subprocess.DEVNULL)


def example(package, folder):
    """plugins/example, built with the headers of tarnix-snmp-dev."""
    headers = trees.emptied("dev")
    run("dpkg-deb", "--extract", package, headers)
    source = headers / "usr/share/doc/tarnix-snmp-dev/examples/example"
    build = headers / "build"
    run("cmake", "-S", source, "-B", build, f"-DCMAKE_PREFIX_PATH={headers / 'usr'}", "--log-level=WARNING",
        stdout=subprocess.DEVNULL)
    run("cmake", "--build", build, stdout=subprocess.DEVNULL)
    shutil.copy(build / "example.so", folder)


def made_root(packages, autopkgtest):
    root = trees.emptied("root")
    run("tar", "-C", root, "--numeric-owner", "-xpf", base(packages, autopkgtest))
    test, debs = root / "root/test", root / "root/debs"
    (debs / "older").mkdir(parents=True)
    test.mkdir()
    earlier = {field(package, "Package"): package for package in (trees.WORK / "previous").glob("*.deb")}
    for package in packages:
        shutil.copy(package, debs)
        if "-dev_" in package.name:
            example(package, debs)
        elif field(package, "Package") in earlier:
            shutil.copy(earlier[field(package, "Package")], debs / "older")
        else:
            older(package, debs / "older")
    (root / "etc/hosts").write_text("127.0.0.1 localhost\n::1 localhost\n")
    for folder in ("debian", "tests/package"):
        shutil.copytree(trees.TREE / folder, root / "root/source" / folder, symlinks=True)
    words = AUTOPKGTEST if autopkgtest else (HERE / "installed").read_text()
    for name, text in (("run", RUN), ("test", words), ("reboot", REBOOT), ("mark", "")):
        (test / name).write_text(text)
        (test / name).chmod(0o755)
    (root / "etc/systemd/system/package-test.service").write_text(UNIT)
    wants = root / "etc/systemd/system/default.target.wants"
    wants.mkdir(exist_ok=True)
    (wants / "package-test.service").symlink_to("../package-test.service")
    return root


def show_new(output, shown):
    text = output.read_text(errors="replace") if output.exists() else ""
    print(text[shown:], end="", flush=True)
    return len(text)


def boot(root, console, end, shown):
    """Runs the container until it is switched off or reboots. Returns its exit status and how much output was shown."""
    container = subprocess.Popen(["systemd-nspawn", "--quiet", "--boot", "--register=no", "--keep-unit",
                                  "--private-network", "--console=pipe", "-D", root],
                                 stdin=subprocess.DEVNULL, stdout=console, stderr=console)
    try:
        while container.poll() is None and time.monotonic() < end:
            time.sleep(0.2)
            shown = show_new(root / OUTPUT, shown)
    finally:
        container.kill()
        container.wait()
    return container.returncode, show_new(root / OUTPUT, shown)


def not_tested(why):
    print(f"*** NOT TESTED: the packages in a booted system: {why} ***", file=sys.stderr)
    sys.exit(0)


def booted(root):
    """The exit status of `installed` in the booted container. Ends the program if the machine boots no container."""
    end, status, shown = time.monotonic() + TIMEOUT, REBOOTS, 0
    with open(trees.WORK / "console.log", "w") as console:
        while status == REBOOTS and time.monotonic() < end:
            status, shown = boot(root, console, end, shown)
    if not (root / OUTPUT).exists():
        print((trees.WORK / "console.log").read_text(errors="replace")[-2000:], file=sys.stderr)
        not_tested("the container doesn't boot here")
    result = root / "root/test/status"
    return int(result.read_text()) if result.exists() else f"container: no result: see {trees.WORK / 'console.log'}"


def main():
    can_isolate = ["unshare", "--mount", "--pid", "--net", "--fork", "true"]
    if os.geteuid() != 0 or subprocess.run(can_isolate).returncode != 0:
        not_tested("needs root and namespaces")
    if sys.argv[-1] != "--inside":  # mounts made here stay in a namespace
        os.execvp("unshare", ["unshare", "--mount", "--propagation", "private", sys.executable, *sys.argv, "--inside"])
    packages = sorted(trees.PACKAGES.glob("*.deb"))
    root = made_root(packages, autopkgtest="--autopkgtest" in sys.argv)
    status = booted(root)
    trees.remove(root)
    sys.exit(status)


main()
