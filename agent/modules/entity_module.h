#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "agent/mib/providers/get_all_provider.h"

namespace snmp {

/// Values of entPhysicalClass.
enum class PhysicalClass : unsigned int { Unknown = 2, Chassis = 3, Sensor = 8 };

/// entPhysicalIndex of the chassis, which contains the other entities.
inline constexpr uint32_t kChassisIndex = 0x10000;

/// A row of entPhysicalTable.
struct Entity : Data {
    unsigned int index = 0;
    std::string mfgName, modelName, serial, name, descr;
    unsigned int physicalClass = static_cast<unsigned int>(PhysicalClass::Unknown);
    unsigned int containedIn = kChassisIndex;
    std::string assetId, alias;  ///< writable, for the chassis only
};

/// Registers entPhysicalTable (RFC 4133): the chassis, and every PCI and USB device in it. Alias and asset id of the
/// chassis are writable and stored in /tern/store/snmp_entity. If they can't be stored, that is logged, and the Set
/// succeeds all the same. Called once, at startup.
void start_entity_module();

/// Adds an owner's rows to entPhysicalTable, for plug-ins. Called after start_entity_module().
/// @param build  builds records of the class Entity, with the owner's id | base as their index
/// @param base   a single bit from 0x80000 on, which the owner's ids don't have; different for each owner
void addEntities(GetAllProvider::BuildRows build, std::span<const uint32_t> path, uint32_t objectClass, uint32_t base);

}  // namespace snmp
