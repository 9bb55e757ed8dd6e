// What uses a block device: partitions, multipath, LVM and other devices on top of it, mounts, swap.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace opinitctl {

/// Where each block device is mounted.
class Mounts {
public:
    /// As this process sees it at the moment.
    Mounts();

    /// `number` is MAJOR:MINOR, `name` the kernel's.
    std::vector<std::string> of(const std::string& number, const std::string& name) const;

private:
    void add(const std::string& device, const std::string& place);

    std::map<std::string, std::vector<std::string>> places_;  ///< by number and by path of the device
};

struct BlockDevice {
    std::string name;  ///< the mapper's for what has one
    std::string type;  ///< disk, part, mpath, lvm, crypt, dm, raid or block
    std::optional<std::uint64_t> size;
    std::vector<std::string> mount_points;
    std::vector<BlockDevice> users;
};

/// The device with all that stands on it. `name` is the kernel's.
BlockDevice block_device(const std::string& name, const Mounts& mounts);

}  // namespace opinitctl
