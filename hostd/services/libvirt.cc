#include "hostd/services/libvirt.h"

#include <libvirt/libvirt.h>
#include <libvirt/virterror.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <pugixml.hpp>
#include <span>

#include "hostd/source/shared_library.h"

namespace hostd {

namespace {

constexpr const char* kLibvirt = "libvirt.so.0";
constexpr unsigned long kKibOfMib = 1024;

/// The functions of libvirt that are used here.
struct LibvirtLibrary : SharedLibrary {
    decltype(&::virSetErrorFunc) setErrorFunc = nullptr;
    decltype(&::virGetLastErrorMessage) lastError = nullptr;
    decltype(&::virConnectOpenReadOnly) open = nullptr;
    decltype(&::virConnectClose) close = nullptr;
    decltype(&::virConnectListAllDomains) list = nullptr;
    decltype(&::virDomainFree) drop = nullptr;
    decltype(&::virDomainGetUUIDString) uuid = nullptr;
    decltype(&::virDomainGetName) name = nullptr;
    decltype(&::virDomainGetState) state = nullptr;
    decltype(&::virDomainGetInfo) info = nullptr;
    decltype(&::virDomainGetXMLDesc) xml = nullptr;
    decltype(&::virDomainSnapshotNum) snapshots = nullptr;

    LibvirtLibrary() : SharedLibrary(kLibvirt) {
        find("virSetErrorFunc", setErrorFunc);
        find("virGetLastErrorMessage", lastError);
        find("virConnectOpenReadOnly", open);
        find("virConnectClose", close);
        find("virConnectListAllDomains", list);
        find("virDomainFree", drop);
        find("virDomainGetUUIDString", uuid);
        find("virDomainGetName", name);
        find("virDomainGetState", state);
        find("virDomainGetInfo", info);
        find("virDomainGetXMLDesc", xml);
        find("virDomainSnapshotNum", snapshots);
        if (isWhole()) setErrorFunc(nullptr, [](void*, virErrorPtr) {});  // the default writes to standard error
    }
};

/// False if the URI is that of a local daemon that doesn't run: there is no socket of the driver's daemon (virtqemud),
/// nor of libvirtd, which serves all drivers.
bool isThereToAsk(const std::string& uri, const std::string& sockets) {
    constexpr std::string_view kLocal = ":///system";
    if (!uri.ends_with(kLocal)) return true;
    const std::string driver = uri.substr(0, uri.size() - kLocal.size());
    return ::access((sockets + "/virt" + driver + "d-sock-ro").c_str(), F_OK) == 0 ||
           ::access((sockets + "/libvirt-sock-ro").c_str(), F_OK) == 0;
}

using Domain = std::unique_ptr<virDomain, decltype(&::virDomainFree)>;

/// Reads a guest's values. False if it no longer exists.
bool describe(const LibvirtLibrary& library, virDomainPtr domain, Guest& guest) {
    std::array<char, VIR_UUID_STRING_BUFLEN> uuid{};
    virDomainInfo info{};
    if (library.uuid(domain, uuid.data()) < 0 || library.state(domain, &guest.state, &guest.reason, 0) < 0 ||
        library.info(domain, &info) < 0)
        return false;
    guest.key = uuid.data();
    guest.name = library.name(domain);
    guest.memory = static_cast<uint32_t>(info.maxMem / kKibOfMib);
    guest.processors = info.nrVirtCpu;
    guest.hasSnapshot = library.snapshots(domain, 0) > 0;  // containers have none
    if (const std::unique_ptr<char, decltype(&std::free)> xml(library.xml(domain, 0), std::free); xml)
        guest.config = parseGuest(xml.get());
    return true;
}

/// A guest's operating system, which libosinfo's tools record in its metadata: "fedora 40" for
/// <libosinfo:os id="http://fedoraproject.org/fedora/40"/>. Empty when it isn't recorded.
std::string operatingSystem(pugi::xml_node metadata) {
    constexpr std::string_view kNamespace = "http://libosinfo.org/xmlns/libvirt/domain/1.0";
    for (const pugi::xml_node node : metadata.children()) {
        const std::string name = node.name();
        const size_t colon = name.find(':');
        const std::string prefix = colon == std::string::npos ? "" : name.substr(0, colon + 1);
        const std::string declaration = prefix.empty() ? "xmlns" : "xmlns:" + name.substr(0, colon);
        if (name != prefix + "libosinfo" || node.attribute(declaration.c_str()).value() != kNamespace) continue;
        std::string id = node.child((prefix + "os").c_str()).attribute("id").value();
        if (const size_t scheme = id.find("://"); scheme != std::string::npos)
            id.erase(0, std::min(id.find('/', scheme + 3), id.size() - 1) + 1);
        std::ranges::replace(id, '/', ' ');
        return id;
    }
    return {};
}

}  // namespace

GuestConfig parseGuest(std::string_view xml) {
    pugi::xml_document document;
    if (!document.load_buffer(xml.data(), xml.size())) return {};
    const pugi::xml_node domain = document.child("domain");
    const pugi::xml_node os = domain.child("os");
    GuestConfig config;
    config.kernel = os.child_value("kernel");
    config.initrd = os.child_value("initrd");
    config.comment = operatingSystem(domain.child("metadata"));
    if (config.comment.empty()) config.comment = domain.child_value("title");
    if (config.comment.empty()) config.comment = domain.child_value("description");
    for (const pugi::xml_node disk : domain.child("devices").children("disk")) {
        if (std::string_view(disk.attribute("device").as_string("disk")) != "disk") continue;
        for (const char* kind : {"file", "dev", "name", "volume", "dir"})
            if (config.disk.empty()) config.disk = disk.child("source").attribute(kind).as_string();
    }
    return config;
}

uint32_t Guest::preferredId() const { return preferredIdOf(key); }

Reading<Guest> readGuests(const std::string& uri, size_t most, const std::string& sockets) {
    if (!isThereToAsk(uri, sockets)) return {uri + ": no daemon's socket in " + sockets, {}};
    const LibvirtLibrary library;
    if (!library.isWhole()) return {std::string(kLibvirt) + " isn't installed", {}};
    const std::unique_ptr<virConnect, decltype(&::virConnectClose)> connection(library.open(uri.c_str()),
                                                                               library.close);
    virDomainPtr* listed = nullptr;
    const int count = connection ? library.list(connection.get(), &listed, 0) : -1;
    if (count < 0) return {uri + ": " + library.lastError(), {}};
    const std::unique_ptr<virDomainPtr, decltype(&std::free)> array(listed, std::free);

    Reading<Guest> reading;
    size_t leftOut = 0;
    for (virDomainPtr raw : std::span(listed, static_cast<size_t>(count))) {
        const Domain domain(raw, library.drop);
        Guest guest;
        if (reading.rows.size() >= most)
            ++leftOut;
        else if (describe(library, raw, guest))
            reading.rows.push_back(std::move(guest));
    }
    if (leftOut > 0) reading.problem = std::to_string(leftOut) + " above the limit of " + std::to_string(most);
    return reading;
}

}  // namespace hostd
