"""Checkmk 2.3 or later: the voltage, temperatures and power source of TARNIX-MIB. Checkmk's own plug-ins monitor the rest.

Copy it to ~/local/lib/python3/cmk_addons/plugins/tarnix/agent_based/ of the site, then run cmk -R.
"""
from cmk.agent_based.v2 import (CheckPlugin, Result, Service, SimpleSNMPSection, SNMPTree, State, check_levels,
                                startswith)

# Name of the service: metric, unit, upper levels. The values are in tenths.
VALUES = {"Supply voltage": ("voltage", "V", None),
          "Board temperature": ("temp", "°C", (70.0, 85.0)),
          "Processor temperature": ("temp", "°C", (80.0, 95.0))}
NO_SENSOR = -2730


def parse_tarnix_health(table):
    """{name of the service: value} of the sensors that the agent has found, and the power source."""
    if not table:
        return None
    *values, power = table[0]
    section = {name: int(value) / 10 for name, value in zip(VALUES, values) if value and int(value) != NO_SENSOR}
    return {**section, "Power source": power}


def discover_tarnix_health(section):
    for name in section:
        if section[name] != "n/a":
            yield Service(item=name)


def check_tarnix_health(item, section):
    if item not in section:
        return
    if item == "Power source":
        source = section[item]
        yield Result(state=State.OK if source == "main" else State.WARN, summary=source)
        return
    metric, unit, levels = VALUES[item]
    yield from check_levels(section[item], levels_upper=("fixed", levels) if levels else None, metric_name=metric,
                            render_func=lambda value: f"{value:.1f} {unit}")


snmp_section_tarnix_health = SimpleSNMPSection(
    name="tarnix_health",
    detect=startswith(".1.3.6.1.2.1.1.2.0", ".1.3.6.1.4.1.49999.1"),
    fetch=SNMPTree(base=".1.3.6.1.4.1.49999.1.1.3", oids=["8", "10", "11", "9"]),
    parse_function=parse_tarnix_health,
)

check_plugin_tarnix_health = CheckPlugin(
    name="tarnix_health",
    service_name="%s",
    discovery_function=discover_tarnix_health,
    check_function=check_tarnix_health,
)
