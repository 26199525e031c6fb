"""python3-pysnmp4. Plan on standard input, cells on standard output: see run. Uses Debian's interpreter."""

import json
import sys

from pysnmp import hlapi

AUTH = {"none": hlapi.usmNoAuthProtocol, "md5": hlapi.usmHMACMD5AuthProtocol, "sha1": hlapi.usmHMACSHAAuthProtocol,
        "sha224": hlapi.usmHMAC128SHA224AuthProtocol, "sha256": hlapi.usmHMAC192SHA256AuthProtocol,
        "sha384": hlapi.usmHMAC256SHA384AuthProtocol, "sha512": hlapi.usmHMAC384SHA512AuthProtocol}
PRIV = {"none": hlapi.usmNoPrivProtocol, "des": hlapi.usmDESPrivProtocol, "aes128": hlapi.usmAesCfb128Protocol,
        "aes192": hlapi.usmAesBlumenthalCfb192Protocol, "aes256": hlapi.usmAesBlumenthalCfb256Protocol}

plan = json.load(sys.stdin)
engine = hlapi.SnmpEngine()
target = hlapi.UdpTransportTarget(("127.0.0.1", plan["port"]), timeout=plan["timeout"], retries=plan["retries"])


def objects(names):
    return [hlapi.ObjectType(hlapi.ObjectIdentity(name)) for name in names]


def cells(replies):
    """{name: value}, and the first error."""
    found = {}
    for failure, status, index, varbinds in replies:
        if failure or status:
            found["error"] = f"{failure or status.prettyPrint()} {index or ''}".strip()
            break
        for name, value in varbinds:
            if not isinstance(value, (hlapi.Null, hlapi.NoSuchInstance, hlapi.NoSuchObject, hlapi.EndOfMibView)):
                found[str(name)] = str(value)
    return found


def community(command, *numbers, names):
    return cells(command(engine, hlapi.CommunityData("common"), target, hlapi.ContextData(), *numbers, *objects(names),
                         lookupMib=False, lexicographicMode=False))


def attempt(user):
    """The value of one object, or the error."""
    security = hlapi.UsmUserData(user["name"], user["auth_password"] if user["auth"] != "none" else None,
                                 user["priv_password"] if user["priv"] != "none" else None,
                                 authProtocol=AUTH[user["auth"]], privProtocol=PRIV[user["priv"]])
    # An engine for each attempt: it would keep the first passwords and protocols of a user.
    failure, status, _, varbinds = next(hlapi.getCmd(hlapi.SnmpEngine(), security, target, hlapi.ContextData(),
                                                     *objects([plan["object"]]), lookupMib=False))
    return str(failure or status or varbinds[0][1])


columns = plan["columns"]
shown = {} if plan["attempts"] else {
    "nextCmd of all columns": community(hlapi.nextCmd, names=columns),
    "bulkCmd of all columns": community(hlapi.bulkCmd, 0, 10, names=columns),
    "bulkCmd of all columns, 60 rows": community(hlapi.bulkCmd, 0, 60, names=columns),
    "get of known and unknown": community(hlapi.getCmd, names=plan["mixed"]),
}
json.dump({"cells": shown, "attempts": list(map(attempt, plan["attempts"]))}, sys.stdout)
