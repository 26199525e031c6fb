"""Network namespaces with links or routes, each removed when its with-block ends."""
import contextlib
import json
import os
import pathlib
import subprocess
import sys

from arms import LOAD_CPU, Failure, pinned

FILLER = pathlib.Path(__file__).with_name("fill_routes.py")


def ip(*words, **more):
    done = subprocess.run(["ip", *words], capture_output=True, text=True, **more)
    if done.returncode:
        raise Failure(f"ip {' '.join(words)}: {done.stderr.strip()}")
    return done.stdout


@contextlib.contextmanager
def empty_namespace(suffix):
    """The namespace's name. Only the loopback is up in it."""
    name = f"tarnix-bench-{os.getpid()}-{suffix}"
    try:
        ip("netns", "add", name)
        ip("-n", name, "link", "set", "lo", "up")
        yield name
    finally:
        if os.path.exists(f"/run/netns/{name}"):
            ip("netns", "del", name)


@contextlib.contextmanager
def namespace_with_links(links):
    """The namespace's name. The links are enabled veth pairs without addresses, so nothing is sent on them."""
    with empty_namespace(links) as name:
        lines = []
        for pair in range(links // 2):
            ends = f"a{pair}", f"b{pair}"
            lines.append(f"link add {ends[0]} type veth peer name {ends[1]}")
            lines += [f"link set {end} addrgenmode none up" for end in ends]
        ip("-n", name, "-batch", "-", input="\n".join(lines))
        yield name


@contextlib.contextmanager
def namespace_with_routes(count, ipv6=0):
    """The namespace's name, with `count` routes of IPv4 and `ipv6` of IPv6."""
    with empty_namespace("routes") as name:
        for words in [["link", "add", "uplink", "type", "veth", "peer", "name", "there"],
                      ["link", "set", "uplink", "up"], ["link", "set", "there", "up"],
                      ["address", "add", "10.0.0.1/24", "dev", "uplink"]]:
            ip("-n", name, *words)
        fill_routes(name, "add", count)
        if ipv6:
            ip("-n", name, "address", "add", "2001:db8::1/64", "dev", "uplink", "nodad")
            fill_routes(name, "add", ipv6, "--ipv6")
        yield name


def fill_routes(namespace, *words):
    """Runs fill_routes.py. Returns the seconds it took."""
    command = ["ip", "netns", "exec", namespace, sys.executable, str(FILLER), *map(str, words)]
    done = subprocess.run(command, capture_output=True, text=True, preexec_fn=pinned(LOAD_CPU))
    if done.returncode:
        raise Failure(done.stderr.strip())
    return float(done.stdout)


def middle_link(name):
    """The ifindex of the link in the middle of the list."""
    links = json.loads(ip("-n", name, "-json", "link"))
    indexes = sorted(link["ifindex"] for link in links)
    return indexes[len(indexes) // 2]
