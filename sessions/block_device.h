// The block device behind a SCSI device.
#pragma once

#include <optional>
#include <string>

namespace opinit {

struct BlockDevice {
    std::string name;  ///< such as sdb
    std::string size;  ///< its size attribute, in sectors; empty when it cannot be read
};

/// Finds block devices by the "block" entry of a SCSI device's directory: today a directory that holds the
/// device's own, on older kernels a link named "block:" and the device.
class BlockDeviceFinder {
public:
    std::optional<BlockDevice> get_block_device(const std::string& scsi_device);

private:
    std::optional<BlockDevice> by_listing(const std::string& scsi_device);

    // All devices of a host have the same form, so the one found last is tried first.
    bool entries_are_links_ = false;
};

}  // namespace opinit
