<?php
// php-snmp. Plan on standard input, cells on standard output: see run.
$plan = json_decode(file_get_contents("php://stdin"), true);
$address = "127.0.0.1:{$plan['port']}";
$session = new SNMP(SNMP::VERSION_2C, $address, "common", $plan["timeout"] * 1000000, $plan["retries"]);
$session->valueretrieval = SNMP_VALUE_PLAIN;
$session->oid_output_format = SNMP_OID_OUTPUT_NUMERIC;
$session->exceptions_enabled = 0;

function cells($reply) {
    global $session;
    $cells = new ArrayObject();
    foreach ($reply ?: [] as $name => $value) {
        if ($value !== null && $value !== false && !str_starts_with($value, "No Such")) {
            $cells[ltrim($name, ".")] = (string) $value;
        }
    }
    if ($session->getErrno()) {
        $cells["error"] = $session->getError();
    }
    return $cells;
}

function walk($repetitions) {
    global $plan, $session;
    $cells = [];
    foreach ($plan["columns"] as $column) {
        $cells += (array) cells(@$session->walk($column, false, $repetitions));
    }
    return $cells;
}

echo json_encode(["cells" => [
    "walk of each column" => walk(20),
    "walk of each column, 60 rows" => walk(60),
    "get of known and unknown" => cells(@$session->get($plan["mixed"])),
]]);
