// LUNs of live sessions, the disks behind them, and what uses these: partitions, multipath, LVM and other
// devices on top, mounts, swap.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/sessions.h"
#include "shown/names.h"
#include "shown/output.h"

namespace opinitctl {

struct Disk {
    unsigned int session;
    unsigned int lun;
    std::string device;  ///< kernel name, empty without a block device
    std::optional<std::uint64_t> size;
    std::string vendor;
    std::string model;
    std::string scsi_address;
    std::string state;
    std::string target;
};

/// In the order of their numbers. A Failure where they cannot be listed.
std::vector<Disk> disks_of(const Session& session);

const Columns<Disk>& disk_columns();

/// Where each block device is mounted, as this process sees it at the moment.
class Mounts {
public:
    Mounts();

    Names of(const std::string& device) const;

private:
    std::map<std::string, Names> places_;  ///< by number, MAJOR:MINOR, and by path of the device
};

struct BlockDevice {
    std::string name;  ///< the mapper's for what has one
    std::string type;  ///< disk, part, mpath, lvm, crypt, dm or raid
    std::optional<std::uint64_t> size;
    Names mount_points;
    std::vector<BlockDevice> users;
};

/// The device with all that stands on it. `name` is the kernel's.
BlockDevice block_device(const std::string& name, const Mounts& mounts);

}  // namespace opinitctl
