// net-snmp of npm, in the folder given. Plan on standard input, cells on standard output: see run.
const fs = require("fs");
const modules = process.argv[2];
const snmp = require(modules + "/net-snmp");

const plan = JSON.parse(fs.readFileSync(0));
const how = { port: plan.port, timeout: plan.timeout * 1000, retries: plan.retries, version: snmp.Version2c };
const session = snmp.createSession("127.0.0.1", "common", how);

// call(start): waits for an operation that is given a callback
const call = (start) => new Promise((done) => start((...reply) => done(reply)));

// The client leaves Counter64 as octets.
function text(name, value) {
    const isCounter = plan.counters.some((column) => name.startsWith(column + "."));
    return isCounter ? String(BigInt("0x" + value.toString("hex"))) : String(value);
}

// A reply to GetBulk has a list of varbinds for each repeater.
function cells([error, varbinds]) {
    const found = error ? { error: error.message } : {};
    for (const varbind of (varbinds || []).flat()) {
        if (!snmp.isVarbindError(varbind)) found[varbind.oid] = text(varbind.oid, varbind.value);
    }
    return found;
}

// The columns of ifEntry and ifXEntry, in rows made by the client
async function tableColumns(repetitions) {
    const found = {};
    for (const entry of new Set(plan.columns.map((column) => column.replace(/\.\d+$/, "")))) {
        const columns = plan.columns.filter((column) => column.startsWith(entry + "."));
        const numbers = columns.map((column) => column.split(".").pop());
        const name = entry.replace(/\.1$/, "");
        const [error, table] = await call((done) => session.tableColumns(name, numbers, repetitions, done));
        if (error) found.error = error.message;
        for (const [index, row] of Object.entries(table || {})) {
            for (const [number, value] of Object.entries(row)) {
                const cell = `${entry}.${number}.${index}`;
                found[cell] = text(cell, value);
            }
        }
    }
    return found;
}

async function subtrees(repetitions) {
    const found = {};
    for (const column of plan.columns) {
        const [error] = await call((done) => session.subtree(column, repetitions,
            (varbinds) => { Object.assign(found, cells([null, varbinds])); }, done));
        if (error) found.error = error.message;
    }
    return found;
}

// The value of one object, or the error
async function attempt(user) {
    const level = user.priv !== "none" ? "authPriv" : user.auth !== "none" ? "authNoPriv" : "noAuthNoPriv";
    const priv = { aes128: "aes", aes256: "aes256b" }[user.priv] || user.priv;
    const v3 = snmp.createV3Session("127.0.0.1", {
        name: user.name, level: snmp.SecurityLevel[level],
        authProtocol: snmp.AuthProtocols[user.auth === "sha1" ? "sha" : user.auth], authKey: user.auth_password,
        privProtocol: snmp.PrivProtocols[priv], privKey: user.priv_password,
    }, { ...how, version: snmp.Version3 });
    const [error, varbinds] = await call((done) => v3.get([plan.object], done));
    v3.close();
    return error ? error.message : String(varbinds[0].value);
}

async function main() {
    const shown = { cells: {}, attempts: [] };
    if (!plan.attempts.length) {
        const { columns } = plan;
        const bulk = await call((done) => session.getBulk(columns, 0, plan.rows, done));
        shown.cells["getBulk of all columns"] = cells(bulk);
        shown.cells["tableColumns"] = await tableColumns(20);
        shown.cells["tableColumns, 60 rows"] = await tableColumns(60);
        shown.cells["subtree of each column"] = await subtrees(20);
        shown.cells["get of known and unknown"] = cells(await call((done) => session.get(plan.mixed, done)));
    }
    for (const user of plan.attempts) shown.attempts.push(await attempt(user));
    session.close();
    fs.writeSync(1, JSON.stringify(shown));
}

main();
