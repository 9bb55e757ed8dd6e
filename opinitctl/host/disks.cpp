#include "host/disks.h"

#include <libmount.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <memory>

#include "host/host_files.h"

namespace opinitctl {
namespace {

constexpr std::uint64_t sector_size = 512;

std::string trimmed(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

std::optional<std::uint64_t> size_of(const std::string& block_device) {
    const std::string sectors = text_in(block_device + "/size");
    if (sectors.empty()) return std::nullopt;
    return std::strtoull(sectors.c_str(), nullptr, 10) * sector_size;
}

// In older kernels "block:sda" instead of a directory "block".
std::string device_of(const std::string& lun) {
    for (const std::string& device : names_in(lun + "/block")) return device;
    for (const std::string& name : names_in(lun)) {
        if (name.starts_with("block:")) return name.substr(6);
    }
    return "";
}

Disk disk_at(const std::string& address, unsigned int number, const Session& session) {
    const std::string lun = "/sys/bus/scsi/devices/" + address;
    const std::string device = device_of(lun);
    return {session.number,
            number,
            device,
            device.empty() ? std::nullopt : size_of("/sys/block/" + device),
            trimmed(text_in(lun + "/vendor")),
            trimmed(text_in(lun + "/model")),
            address,
            text_in(lun + "/state"),
            session.target};
}

std::string type_of(const std::string& path, const std::string& name) {
    if (!text_in(path + "/partition").empty()) return "part";
    if (name.starts_with("md")) return "raid";
    if (!name.starts_with("dm-")) return "disk";
    const std::string identity = text_in(path + "/dm/uuid");
    static constexpr const char* makers[][2] = {
        {"mpath-", "mpath"}, {"LVM-", "lvm"}, {"CRYPT-", "crypt"}, {"part", "part"}};
    for (const auto& [prefix, type] : makers) {
        if (identity.starts_with(prefix)) return type;
    }
    return "dm";
}

BlockDevice device_at(const std::string& path, const std::string& name, const Mounts& mounts) {
    const std::string mapped = text_in(path + "/dm/name");
    BlockDevice device = {mapped.empty() ? name : mapped, type_of(path, name), size_of(path), {}, {}};
    for (const std::string& key : {text_in(path + "/dev"), "/dev/" + name, "/dev/mapper/" + mapped}) {
        const Names places = without(mounts.of(key), device.mount_points);
        device.mount_points.insert(device.mount_points.end(), places.begin(), places.end());
    }
    for (const std::string& entry : names_in(path)) {
        const std::string part = path + '/' + entry;
        if (!text_in(part + "/partition").empty()) device.users.push_back(device_at(part, entry, mounts));
    }
    for (const std::string& holder : names_in(path + "/holders")) {
        device.users.push_back(device_at("/sys/block/" + holder, holder, mounts));
    }
    return device;
}

using Table = std::unique_ptr<libmnt_table, decltype(&mnt_unref_table)>;

template <class Visit>
void for_each_entry(const Table& table, Visit visit) {
    const std::unique_ptr<libmnt_iter, decltype(&mnt_free_iter)> next(mnt_new_iter(MNT_ITER_FORWARD),
                                                                      mnt_free_iter);
    for (libmnt_fs* entry = nullptr; mnt_table_next_fs(table.get(), next.get(), &entry) == 0;) visit(entry);
}

Table mount_table() {
    constexpr const char* mounts = "/proc/self/mountinfo";
    Table table(mnt_new_table_from_file(mounts), mnt_unref_table);
    if (table == nullptr) throw Failure(std::string("cannot read ") + mounts);
    return table;
}

}  // namespace

std::vector<Disk> disks_of(const Session& session) {
    std::vector<Disk> disks;
    const std::string device = session_path(session.number, "/device/");
    for (const std::string& target : names_in(device)) {
        if (!target.starts_with("target")) continue;
        for (const std::string& address : names_in(device + target)) {
            const std::vector<std::string> parts = split(address, ':');
            const auto lun = number_in(parts.back());
            if (parts.size() == 4 && lun) disks.push_back(disk_at(address, *lun, session));
        }
    }
    std::sort(disks.begin(), disks.end(),
              [](const Disk& left, const Disk& right) { return left.lun < right.lun; });
    return disks;
}

const Columns<Disk>& disk_columns() {
    static const Columns<Disk> columns = {
        {"session", [](const Disk& disk) -> Value { return disk.session; }},
        {"lun", [](const Disk& disk) -> Value { return disk.lun; }},
        {"device", [](const Disk& disk) { return text_or_null(disk.device); }},
        {"size_bytes", [](const Disk& disk) { return number_or_null(disk.size); }, Look::bytes},
        {"vendor", [](const Disk& disk) { return text_or_null(disk.vendor); }, Look::plain,
         Shown::on_request},
        {"model", [](const Disk& disk) { return text_or_null(disk.model); }, Look::plain, Shown::on_request},
        {"scsi_address", [](const Disk& disk) { return text_or_null(disk.scsi_address); }, Look::plain,
         Shown::on_request},
        {"state", [](const Disk& disk) { return text_or_null(disk.state); }, Look::state},
        {"target", [](const Disk& disk) { return text_or_null(disk.target); }, Look::text},
    };
    return columns;
}

Mounts::Mounts() {
    for_each_entry(mount_table(), [this](libmnt_fs* mount) {
        const char* const source = mnt_fs_get_source(mount);
        const dev_t number = mnt_fs_get_devno(mount);
        const std::string target = mnt_fs_get_target(mount);
        places_[std::to_string(major(number)) + ':' + std::to_string(minor(number))].push_back(target);
        // Some file systems have a number of their own and name their device.
        if (source != nullptr) places_[source].push_back(target);
    });
    const Table swaps(mnt_new_table(), mnt_unref_table);
    if (const int error = mnt_table_parse_swaps(swaps.get(), nullptr); error < 0 && !nothing_there(-error)) {
        throw cannot_read("/proc/swaps", -error);
    }
    for_each_entry(swaps, [this](libmnt_fs* swap) { places_[mnt_fs_get_source(swap)].push_back("[SWAP]"); });
}

Names Mounts::of(const std::string& device) const {
    const auto found = places_.find(device);
    return found == places_.end() ? Names() : found->second;
}

BlockDevice block_device(const std::string& name, const Mounts& mounts) {
    return device_at("/sys/block/" + name, name, mounts);
}

}  // namespace opinitctl
