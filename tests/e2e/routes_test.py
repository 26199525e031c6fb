"""Routes of a running agent, compared with `ip -json route` in a network namespace of the test. Each test runs in one
process and over the bus."""

import ipaddress
import itertools
import signal
import threading

from harness import Deployment, Namespace, eventually, for_each_kind

CIDR_NUMBER, CIDR_ENTRY = "1.3.6.1.2.1.4.24.3.0", "1.3.6.1.2.1.4.24.4.1"
IF_INDEX, TYPE, PROTO, METRIC = 5, 6, 7, 11  # columns of ipCidrRouteTable (RFC 2096)
OTHER, LOCAL, REMOTE = "1", "3", "4"
PROTOCOLS = {"boot": "3", "static": "3", "rip": "8", "ospf": "13", "bgp": "14",
             "kernel": "3", "bird": "3", "zebra": "3", "dhcp": "3"}  # netmgmt(3): which protocol told them isn't known

# The client prints octets as text when they happen to be printable: these addresses never are.
LINKS = ["link set lo up", *(line for n in (1, 2, 3) for line in (
    f"link add v{n} address 02:00:00:00:00:0{n} type veth peer name w{n}",
    f"address add 10.0.{n}.1/24 dev v{n}", f"link set v{n} up", f"link set w{n} up"))]
ROUTES = [
    "default via 10.0.1.2", "10.9.0.0/16 nexthop via 10.0.1.2 nexthop via 10.0.2.2 nexthop via 10.0.3.2",
    "10.5.5.5/32 via 10.0.2.2 metric 100", "10.5.5.5/32 via 10.0.3.2 metric 50",
    "10.5.5.5/32 via 10.0.3.2 metric 20 proto bgp", "10.7.0.0/16 via inet6 fe80::1 dev v1 proto bgp",
    "10.8.0.0/16 dev v3 proto static", "10.8.0.0/16 via 10.0.1.2 tos 8 proto ospf",
    "10.8.0.0/17 via 10.0.1.2 proto rip",
    *(f"10.21.{n}.0/24 via 10.0.1.2 proto {name}" for n, name in enumerate(("kernel", "bird", "zebra", "dhcp"))),
    "blackhole 10.66.0.0/16", "unreachable 10.67.0.0/16", "prohibit 10.68.0.0/16", "224.0.0.0/4 dev v2",
]


@for_each_kind("node", "apart")
class Routes:
    @classmethod
    def setUpClass(cls):
        cls.namespace = Namespace(cls, "routes", LINKS)
        # 0: for a route through a nexthop object the kernel reports only the object's id.
        cls.namespace.run("tee", "/proc/sys/net/ipv4/nexthop_compat_mode", stdin=str(int(cls.kind == "node")))
        up = lambda: [link["ifname"] for link in cls.namespace.ip("link") if link["operstate"] == "UP"]
        eventually(lambda: len(up()) == 6, "the links are up")
        cls.batch(f"route add {route}" for route in ROUTES)
        cls.agent = Deployment(cls.kind, cls.namespace.prefix).ends_with(cls).start().open()

    @classmethod
    def batch(cls, lines):
        cls.namespace.run("ip", "-batch", "-", stdin="\n".join(lines))

    def rows(self, *words, columns=(IF_INDEX, TYPE, PROTO, METRIC)):
        """{index: {column: value}} of these columns of ipCidrRouteTable."""
        rows = {}
        for column in columns:
            for (first, rest), value in self.agent.walk(f"{CIDR_ENTRY}.{column}", "bulkwalk", *words).items():
                rows.setdefault(f"{first}.{rest}", {})[column] = value
        return rows

    def hops(self, route):
        """What `ip` says about a route's next hops, or its nexthop objects."""
        if "nhid" not in route or "dev" in route or "nexthops" in route:
            return route.get("nexthops", [route])
        objects = {one["id"]: one for one in self.namespace.ip("nexthop")}
        return [objects[member["id"]] for member in objects[route["nhid"]].get("group", [{"id": route["nhid"]}])]

    def kernel_rows(self):
        """{index: {column: value}} of ipCidrRouteTable as `ip` tells it: of routes with the same prefix and gateway the
        one with the least metric, of next hops those that can be taken."""
        numbers = {link["ifname"]: link["ifindex"] for link in self.namespace.ip("link")}
        rows = {}
        for route in self.namespace.ip("-details", "route"):
            network = ipaddress.ip_network("0.0.0.0/0" if route["dst"] == "default" else route["dst"])
            discards = route["type"] in ("blackhole", "unreachable", "prohibit")
            for hop in self.hops(route):
                if {"linkdown", "dead"} & set(hop["flags"]):
                    continue
                is_connected = not discards and "gateway" not in hop and "via" not in hop
                row = {IF_INDEX: str(numbers.get(hop.get("dev"), 0)),
                       TYPE: OTHER if discards else LOCAL if is_connected else REMOTE,
                       PROTO: "1" if discards else "2" if is_connected else PROTOCOLS[route["protocol"]],
                       METRIC: str(route.get("metric", 0))}
                rank = ("tos" in route, int(row[METRIC]))
                index = f"{network.network_address}.{network.netmask}.0.{hop.get('gateway', '0.0.0.0')}"
                if index not in rows or rank < rows[index][0]:
                    rows[index] = rank, row
        return {index: row for index, (_, row) in rows.items()}

    def agrees(self):
        return self.rows() == self.kernel_rows()

    def test_table_matches_the_kernel_and_follows_changes(self):
        self.assertEqual(self.rows(), self.kernel_rows())
        self.assertGreater(len(self.kernel_rows()), 14)
        for change in [
                "route del 10.5.5.5/32 metric 20",  # what was behind it comes forth
                "route append 10.5.5.5/32 via 10.0.1.2 metric 50",
                "route replace 10.5.5.5/32 via 10.0.1.9 metric 50",  # the first of two
                "route replace default nexthop via 10.0.2.2 nexthop via 10.0.2.3",
                "nexthop add id 7 via 10.0.3.2 dev v3", "nexthop add id 8 via 10.0.2.2 dev v2",
                "nexthop add id 9 group 7/8", "route add 10.11.0.0/16 nhid 7", "route add 10.12.0.0/16 nhid 9",
                "nexthop replace id 7 via 10.0.3.4 dev v3",
                # From here on the kernel doesn't tell of each route.
                "nexthop del id 8", *(f"link set {link} {state}" for link in ("w2", "v3") for state in ("down", "up")),
                "address del 10.0.3.1/24 dev v3", "link del v2",
        ]:
            self.namespace.run("ip", *change.split())
            eventually(self.agrees, f"the same as ip -json route after: {change}")
            self.assertEqual(self.agent.get(CIDR_NUMBER), f"Gauge32: {len(self.kernel_rows())}", change)

    def test_lost_notifications_are_corrected_by_a_new_listing(self):
        self.batch(f"route replace 10.144.{n}.0/24 via 10.0.1.2" for n in range(256))
        eventually(self.agrees, "the same as ip -json route")
        owner = self.agent.daemons["node" if self.kind == "node" else "hostd"].process
        owner.send_signal(signal.SIGSTOP)
        try:
            for verb in ("replace", "del"):  # more messages than the socket holds
                self.batch(f"route {verb} 10.{144 + n // 256}.{n % 256}.0/24 via 10.0.1.2" for n in range(1, 25600))
        finally:
            owner.send_signal(signal.SIGCONT)
        eventually(lambda: "routes: notifications lost" in self.agent.said(), "the loss is noticed")
        eventually(self.agrees, "the same as ip -json route")
        self.batch(["route del 10.144.0.0/24"])

    def test_walk_misses_no_route_while_others_change(self):
        stay = [f"10.{100 + n // 256}.{n % 256}.0/24" for n in range(0, 1024, 2)]
        change = [f"10.{100 + n // 256}.{n % 256}.0/24" for n in range(1, 1024, 2)]
        self.batch(f"route add {prefix} via 10.0.1.2" for prefix in stay)
        permanent = {f"{prefix[:-3]}.255.255.255.0.0.10.0.1.2" for prefix in stay}
        done = threading.Event()

        def churn():
            for verb in itertools.cycle(("replace", "del")):
                for at in range(0, len(change), 128):
                    self.batch(f"route {verb} {prefix} via 10.0.1.2" for prefix in change[at:at + 128])
                if done.is_set():
                    return

        other = threading.Thread(target=churn)
        other.start()
        try:
            for turn in range(12):  # walks strictly increase
                self.assertLessEqual(permanent, set(self.rows(f"-Cr{turn * 4 + 1}", columns=[TYPE])))
        finally:
            done.set()
            other.join()
        eventually(self.agrees, "the same as ip -json route when all is quiet")
        self.batch(f"route del {prefix}" for prefix in stay)
