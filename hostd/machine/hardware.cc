#include "hostd/machine/hardware.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "contracts/host.h"
#include "hostd/machine/disks.h"
#include "hostd/source/pseudo_file.h"
#include "hostd/source/text_lines.h"
#include "hostd/table/row_text.h"
#include "hostd/table/stable_ids.h"

namespace hostd {

namespace hardware = contracts::hardware;
namespace partitions = contracts::partitions;

// Lines are "processor\t: 0" and "model name\t: AMD EPYC"; that of the number comes first.
std::map<uint32_t, std::string> parseCpuinfo(std::string_view text) {
    std::map<uint32_t, std::string> models;
    std::string* model = nullptr;
    while (!text.empty()) {
        const std::string_view line = takeLine(text);
        const size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        const std::string_view name = line.substr(0, line.find_last_not_of("\t ", colon - 1) + 1);
        std::string_view value = line.substr(colon + 1);
        value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
        if (name == "processor") {
            const auto number = takeNumber(value);
            model = number && *number < hardware::kFirstDisk - 1 ? &models[static_cast<uint32_t>(*number)] : nullptr;
        } else if (name == "model name" && model != nullptr) {
            *model = value;
        }
    }
    return models;
}

Hardware::Hardware(const std::string& proc, const std::string& sysfs)
    : watch_(
          "hardware",
          [proc, sysfs]() -> std::optional<HardwareReading> {
              HardwareReading reading{parseCpuinfo(readFile(proc + "/cpuinfo")), readDisks(sysfs), {}};
              const std::vector<Mount> mounts = parseMountinfo(readFile(proc + "/self/mountinfo"));
              const auto root = std::ranges::find(mounts, "/", &Mount::point);
              if (root != mounts.end()) reading.loadDisk = diskOf(sysfs, root->device, root->source);
              return reading;
          },
          kMaxAge) {}

void Hardware::refresh() {
    auto latest = watch_.latest();
    if (latest == reading_) return;
    reading_ = std::move(latest);
    constexpr IdRange kIds{1, hardware::kFirstInterface - hardware::kFirstDisk};
    disks_ = assignIds(disks_, reading_ ? reading_->disks : std::vector<BlockDisk>(), kIds);
}

const std::map<uint32_t, std::string>& Hardware::processors() const {
    static const std::map<uint32_t, std::string> kNone;
    return reading_ ? reading_->processors : kNone;
}

std::optional<uint32_t> Hardware::loadDisk() const {
    const auto found = std::ranges::find_if(
        disks_, [this](const auto& disk) { return reading_ && disk.second.key == reading_->loadDisk; });
    return found == disks_.end() ? std::nullopt : std::optional(found->first);
}

// ---- {24, 1021}

tn::message Devices::cmdGet(const tn::message& request) {
    if (request.has(tn::field::ObjectId) || request.has(tn::field::Key)) return cmdGetObj(request);
    hardware_->refresh();
    tn::message reply;
    if (const auto disk = hardware_->loadDisk()) reply.insert_u32(hardware::LoadDevice, *disk | hardware::kFirstDisk);
    return reply;
}

void Devices::refresh() {
    hardware_->refresh();
    links_ = &source_();
}

uint32_t Devices::rowCount() const {
    return static_cast<uint32_t>(hardware_->processors().size() + hardware_->disks().size() + links_->size());
}

std::optional<uint32_t> Devices::firstFrom(uint32_t id) const {
    const auto& processors = hardware_->processors();
    if (const auto found = processors.lower_bound(std::max(id, 1U) - 1); found != processors.end())
        return found->first + 1;
    const auto& disks = hardware_->disks();
    if (id < hardware::kFirstInterface) {
        const auto found = disks.lower_bound(std::max(id, hardware::kFirstDisk) - hardware::kFirstDisk);
        if (found != disks.end()) return found->first + hardware::kFirstDisk;
    }
    const Link* link = links_->firstFrom(std::max(id, hardware::kFirstInterface) - hardware::kFirstInterface);
    return link == nullptr ? std::nullopt : std::optional(link->index + hardware::kFirstInterface);
}

namespace {

uint32_t mediaOf(std::string_view name) {
    if (name.starts_with("sr")) return hardware::media::Optical;
    return name.starts_with("fd") ? hardware::media::Floppy : hardware::media::Disk;
}

void writeDisk(const BlockDisk& disk, tn::message& item) {
    item.insert_u32(hardware::Kind, hardware::kind::Disk);
    insertText(item, hardware::Description, disk.description);
    const uint32_t present = disk.size > 0 ? hardware::status::Running : hardware::status::Unknown;
    item.insert_u32(hardware::Status, disk.isOffline ? hardware::status::Down : present);
    item.insert_u32(hardware::Media, mediaOf(disk.key));
    item.insert_u64(hardware::Size, disk.size);
    if (disk.isReadOnly) item.insert_bool(hardware::ReadOnly, true);
    if (disk.isRemovable) item.insert_bool(hardware::Removable, true);
}

}  // namespace

void Devices::writeRow(uint32_t id, tn::message& item) const {
    if (id >= hardware::kFirstInterface) {
        const Link& link = *links_->find(id - hardware::kFirstInterface);
        item.insert_u32(hardware::Kind, hardware::kind::Interface);
        insertText(item, hardware::Description, "network interface " + link.name);
        item.insert_u32(hardware::Status, link.isRunning() ? hardware::status::Running : hardware::status::Down);
        item.insert_u32(hardware::Interface, link.index);
    } else if (id >= hardware::kFirstDisk) {
        writeDisk(hardware_->disks().at(id - hardware::kFirstDisk), item);
    } else {
        const std::string& model = hardware_->processors().at(id - 1);
        item.insert_u32(hardware::Kind, hardware::kind::Processor);
        insertText(item, hardware::Description, model.empty() ? "processor" : model);
        item.insert_u32(hardware::Status, hardware::status::Running);
    }
}

// ---- {24, 1022}

Partitions::Partitions(std::shared_ptr<Hardware> hardware)
    : PositionTable({partitions::Disk, partitions::Number}), hardware_(std::move(hardware)) {}

void Partitions::refresh() {
    hardware_->refresh();
    rows_.clear();
    for (const auto& [id, disk] : hardware_->disks())
        for (const Partition& partition : disk.partitions) rows_.push_back({id + hardware::kFirstDisk, &partition});
}

RowKey Partitions::keyOf(size_t row) const {
    RowKey key(8);
    key.putU32(0, rows_[row].disk);
    key.putU32(4, rows_[row].partition->number);
    return key;
}

void Partitions::writeRow(size_t row, tn::message& item) const {
    const Partition& partition = *rows_[row].partition;
    item.insert_u32(partitions::Disk, rows_[row].disk);
    item.insert_u32(partitions::Number, partition.number);
    insertText(item, partitions::Name, "/dev/" + partition.name);
    insertText(item, partitions::Device, partition.device);
    item.insert_u64(partitions::Size, partition.size);
}

}  // namespace hostd
