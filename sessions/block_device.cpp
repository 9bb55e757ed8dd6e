#include "sessions/block_device.h"

#include "core/base/host_files.h"
#include "sessions/attribute.h"

namespace opinit {
namespace {

constexpr std::size_t size_limit = 1025;

BlockDevice with_size(std::string_view name, const std::string& path) {
    return {std::string{name}, std::string{Attribute{path + "/size", size_limit}.word()}};
}

std::optional<BlockDevice> first_entry(Directory& block, const std::string& path) {
    while (const auto entry = block.next()) {
        if (skip_dot_entries(entry->name))
            return with_size(entry->name, path + "/" + std::string{entry->name});
    }
    return std::nullopt;
}

}  // namespace

std::optional<BlockDevice> BlockDeviceFinder::get_block_device(const std::string& scsi_device) {
    if (!entries_are_links_) {
        const std::string path = scsi_device + "/block";
        if (Directory block{path.c_str(), Links::refuse}) return first_entry(block, path);
    }
    return by_listing(scsi_device);
}

std::optional<BlockDevice> BlockDeviceFinder::by_listing(const std::string& scsi_device) {
    Directory directory{scsi_device.c_str()};
    if (!directory) return std::nullopt;
    while (const auto entry = directory.next()) {
        if (!entry->name.starts_with("block")) continue;
        const std::string path = scsi_device + "/" + std::string{entry->name};
        entries_are_links_ = entry->is_link;
        if (entry->is_link) {
            const std::size_t colon = entry->name.find(':');
            if (colon == std::string_view::npos) return std::nullopt;
            return with_size(entry->name.substr(colon + 1), path);
        }
        if (Directory block{path.c_str()}; block && entry->is_directory) return first_entry(block, path);
        return std::nullopt;
    }
    return std::nullopt;
}

}  // namespace opinit
