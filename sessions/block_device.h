// The block device behind a SCSI device.
#pragma once

#include <array>
#include <optional>

#include "core/base/path.h"

namespace opinit {

struct BlockDevice {
    std::array<char, 32> name{};  ///< such as sdb
    std::array<char, 32> size{};  ///< its size attribute, in sectors; empty when it cannot be read
};

/// Finds block devices by the "block" entry of a SCSI device's directory: today a directory that holds the
/// device's own, on older kernels a link named "block:" and the device.
class BlockDeviceFinder {
public:
    std::optional<BlockDevice> get_block_device(const Path& scsi_device);

private:
    std::optional<BlockDevice> by_listing(const Path& scsi_device);

    // All devices of a host have the same form, so the one found last is tried first.
    bool entries_are_links_ = false;
};

}  // namespace opinit
