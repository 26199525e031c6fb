// Lists every object that the agent can serve or, with the file of a plug-in as argument, those that the plug-in adds
// or replaces, for tools/check_objects.py: one line each, tab-separated: OID, name, syntax ("-" for the row of a
// table), access, source, index. It needs no owners: TERN_ROOT should name no folder.

#include <dlfcn.h>

#include <iostream>
#include <map>

#include "agent/core/start.h"
#include "agent/mib/objects.h"

namespace {

const char* syntaxName(uint8_t syntax) {
    namespace tag = snmp::tag;
    static const std::map<uint8_t, const char*> names = {
        {snmp::kNoTag, "-"},
        {tag::Integer, "Integer32"},
        {tag::OctetString, "OCTET STRING"},
        {tag::ObjectIdentifier, "OBJECT IDENTIFIER"},
        {tag::IpAddress, "IpAddress"},
        {tag::Counter32, "Counter32"},
        {tag::Gauge32, "Gauge32"},
        {tag::TimeTicks, "TimeTicks"},
        {tag::Opaque, "Opaque"},
        {tag::Counter64, "Counter64"},
    };
    return names.at(syntax);
}

}  // namespace

int main(int argc, char** argv) {
    const auto agent = snmp::makeAgent({});
    snmp::startModules();
    if (argc > 1) {
        snmp::objects.clear();
        void* plugin = dlopen(argv[1], RTLD_NOW);
        if (plugin == nullptr) {
            std::cerr << dlerror() << '\n';
            return 1;
        }
        reinterpret_cast<void (*)()>(dlsym(plugin, "autorun"))();
    }
    for (const auto& [oid, object] : snmp::objects) {
        std::cout << oid << '\t' << object.name << '\t' << syntaxName(object.syntax) << '\t'
                  << (object.access == snmp::Access::ReadWrite ? "read-write" : "read-only") << '\t' << object.source
                  << '\t' << object.index << '\n';
    }
}
