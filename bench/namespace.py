"""A network namespace with a given number of links, removed when its with-block ends."""
import contextlib
import json
import os
import subprocess

from arms import Failure


def ip(*words, **more):
    done = subprocess.run(["ip", *words], capture_output=True, text=True, **more)
    if done.returncode:
        raise Failure(f"ip {' '.join(words)}: {done.stderr.strip()}")
    return done.stdout


@contextlib.contextmanager
def namespace_with(links):
    """The namespace's name. The links are enabled veth pairs without addresses, so nothing is sent on them."""
    name = f"tarnix-bench-{os.getpid()}-{links}"
    ip("netns", "add", name)
    try:
        ip("-n", name, "link", "set", "lo", "up")
        lines = []
        for pair in range(links // 2):
            ends = f"a{pair}", f"b{pair}"
            lines.append(f"link add {ends[0]} type veth peer name {ends[1]}")
            lines += [f"link set {end} addrgenmode none up" for end in ends]
        ip("-n", name, "-batch", "-", input="\n".join(lines))
        yield name
    finally:
        ip("netns", "del", name)


def middle_link(name):
    """The ifindex of the link in the middle of the list."""
    links = json.loads(ip("-n", name, "-json", "link"))
    indexes = sorted(link["ifindex"] for link in links)
    return indexes[len(indexes) // 2]
