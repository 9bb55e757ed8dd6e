#include "disk_entries.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <unordered_set>
#include <utility>

#include "files.h"
#include "sysfs.h"

namespace fs = std::filesystem;

namespace simhost {
namespace {

// sda to sdz, sdaa and on.
std::string disk_name(unsigned index) {
    std::string letters;
    for (unsigned rest = index + 1; rest > 0; rest = (rest - 1) / 26) {
        letters.insert(letters.begin(), static_cast<char>('a' + (rest - 1) % 26));
    }
    return "sd" + letters;
}

// One look at the block devices serves all LUNs of a session.
class FreeDiskNames {
public:
    FreeDiskNames() {
        for (std::string& name : names_in("/sys/block")) used_.insert(std::move(name));
    }
    std::string next() {
        while (used_.contains(disk_name(index_))) ++index_;
        return disk_name(index_++);
    }

private:
    std::unordered_set<std::string> used_;
    unsigned index_ = 0;
};

std::string padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

void add_lun(const Lun& lun, const fs::path& directory, FreeDiskNames& disks) {
    constexpr std::uint64_t sector = 512;
    const std::string name = directory.filename();
    const bool has_disk = lun.size_bytes > 0;
    add_scsi_device(directory);
    write_attributes(directory, {{"vendor", padded(lun.vendor, 8)},
                                 {"model", padded(lun.model, 16)},
                                 {"rev", "4.0 "},
                                 {"type", has_disk ? "0" : "12"},
                                 {"state", "running"}});
    add_class_entry(directory, "scsi_device", name, {});
    if (!has_disk) return;
    link_relative("/sys/bus/scsi/drivers/sd", directory / "driver");
    add_class_entry(directory, "scsi_disk", name, {});
    add_class_entry(directory, "block", disks.next(), {{"size", std::to_string(lun.size_bytes / sector)}});
}

}  // namespace

void add_luns(const std::vector<Lun>& luns, const fs::path& session, const std::string& host) {
    if (luns.empty()) return;
    const fs::path target = add_scsi_device(session / ("target" + host + ":0:0"));
    FreeDiskNames disks;
    for (const Lun& lun : luns) {
        add_lun(lun, target / (host + ":0:0:" + std::to_string(lun.number)), disks);
    }
}

}  // namespace simhost
