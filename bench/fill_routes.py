#!/usr/bin/env python3
"""Adds routes to the current network namespace, or changes them at a given rate. Each system call sends hundreds of
messages; `ip -batch` would need a minute and gigabytes for a million routes.

usage: fill_routes.py add COUNT | fill_routes.py change COUNT CHANGES RATE | ... --ipv6

Route number N leads to the Nth /24 network from 20.0.0.0, via one of 200 gateways on the link `uplink`, 10.0.0.1/24, or
with --ipv6 to the Nth /48 network from 2000::, via one of 200 gateways in 2001:db8::/64. A change removes one of COUNT
routes or adds it again; afterwards all routes are as before. Prints the seconds it took.
"""
import socket
import struct
import sys
import time

RTM_NEWROUTE, RTM_DELROUTE = 24, 25
NLM_F_REQUEST, NLM_F_EXCL, NLM_F_CREATE = 0x1, 0x200, 0x400
RTA_DST, RTA_OIF, RTA_GATEWAY = 1, 4, 5
RT_TABLE_MAIN, RTPROT_BGP, RTN_UNICAST = 254, 186, 1
FIRST, GATEWAYS = 20 << 24, 10 << 24
AT_ONCE = 200  # messages in one call
# nlmsghdr, rtmsg, three attributes of four octets
MESSAGE = struct.Struct("=IHHII BBBBBBBBI HHI HHI HHI")
MESSAGE6 = struct.Struct("=IHHII BBBBBBBBI HH16s HH16s HHI")
GATEWAY6 = socket.inet_pton(socket.AF_INET6, "2001:db8::")
SPREAD = 7919  # a prime, to spread the changes over the table


def message(number, kind, link):
    flags = NLM_F_REQUEST | (NLM_F_CREATE | NLM_F_EXCL if kind == RTM_NEWROUTE else 0)
    return MESSAGE.pack(MESSAGE.size, kind, flags, number, 0, socket.AF_INET, 24, 0, 0, RT_TABLE_MAIN, RTPROT_BGP, 0,
                        RTN_UNICAST, 0, 8, RTA_DST, socket.htonl(FIRST + (number << 8)), 8, RTA_GATEWAY,
                        socket.htonl(GATEWAYS + 2 + number % 200), 8, RTA_OIF, link)


def message6(number, kind, link):
    flags = NLM_F_REQUEST | (NLM_F_CREATE | NLM_F_EXCL if kind == RTM_NEWROUTE else 0)
    network = ((0x2000 << 32) + number).to_bytes(6, "big") + bytes(10)
    return MESSAGE6.pack(MESSAGE6.size, kind, flags, number, 0, socket.AF_INET6, 48, 0, 0, RT_TABLE_MAIN, RTPROT_BGP, 0,
                         RTN_UNICAST, 0, 20, RTA_DST, network, 20, RTA_GATEWAY,
                         GATEWAY6[:-1] + bytes([2 + number % 200]), 8, RTA_OIF, link)


def send(kernel, messages):
    for at in range(0, len(messages), AT_ONCE):
        kernel.send(b"".join(messages[at:at + AT_ONCE]))
    try:
        refused = kernel.recv(4096, socket.MSG_DONTWAIT)
        sys.exit(f"fill_routes.py: refused by the kernel: error {-struct.unpack_from('=i', refused, 16)[0]}")
    except BlockingIOError:
        pass


def change(kernel, message, link, count, changes, rate):
    """Removes routes and adds them again, some of them every 10 ms."""
    started, done = time.monotonic(), 0
    while done < changes:
        routes = [(done // 2 + i) * SPREAD % count for i in range(max(1, rate // 200))]
        send(kernel, [message(route, RTM_DELROUTE, link) for route in routes])
        send(kernel, [message(route, RTM_NEWROUTE, link) for route in routes])
        done += len(routes) * 2
        time.sleep(max(0.0, started + done / rate - time.monotonic()))


def main():
    words = [word for word in sys.argv[1:] if word != "--ipv6"]
    build = message6 if "--ipv6" in sys.argv else message
    counts = [int(word) for word in words[1:] if word.isdecimal()]
    if words[:1] not in (["add"], ["change"]) or len(counts) != len(words) - 1 or len(words) != (
            2 if words[0] == "add" else 4):
        sys.exit(__doc__)
    kernel = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE)
    link = socket.if_nametoindex("uplink")
    started = time.monotonic()
    if words[0] == "add":
        for first in range(0, counts[0], AT_ONCE):
            numbers = range(first, min(first + AT_ONCE, counts[0]))
            send(kernel, [build(number, RTM_NEWROUTE, link) for number in numbers])
    else:
        change(kernel, build, link, *counts)
    print(time.monotonic() - started)


if __name__ == "__main__":
    main()
