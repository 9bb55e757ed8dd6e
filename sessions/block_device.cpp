#include "sessions/block_device.h"

#include <string_view>

#include "core/base/directory.h"
#include "sessions/attribute.h"

namespace opinit {
namespace {

constexpr std::size_t size_limit = 1025;

void keep_text(std::string_view text, std::array<char, 32>& field) {
    text.copy(field.data(), field.size() - 1);
}

BlockDevice with_size(std::string_view name, const Path& path) {
    BlockDevice device;
    keep_text(name, device.name);
    keep_text(Attribute{Path{path}.text("/size").c_str(), size_limit}.word(), device.size);
    return device;
}

std::optional<BlockDevice> first_entry(Directory& block, const Path& path) {
    while (const auto entry = block.next()) {
        if (skip_dot_entries(entry->name)) {
            return with_size(entry->name, Path{path}.text("/").text(entry->name));
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<BlockDevice> BlockDeviceFinder::get_block_device(const Path& scsi_device) {
    if (!entries_are_links_) {
        const Path path = Path{scsi_device}.text("/block");
        DirectoryRoom room;
        if (Directory block{path.c_str(), room.bytes, Links::refuse}) return first_entry(block, path);
    }
    return by_listing(scsi_device);
}

std::optional<BlockDevice> BlockDeviceFinder::by_listing(const Path& scsi_device) {
    DirectoryRoom room;
    Directory directory{scsi_device.c_str(), room.bytes};
    if (!directory) return std::nullopt;
    while (const auto entry = directory.next()) {
        if (!entry->name.starts_with("block")) continue;
        const Path path = Path{scsi_device}.text("/").text(entry->name);
        entries_are_links_ = entry->is_link;
        if (entry->is_link) {
            const std::size_t colon = entry->name.find(':');
            if (colon == std::string_view::npos) return std::nullopt;
            return with_size(entry->name.substr(colon + 1), path);
        }
        DirectoryRoom block_room;
        Directory block{path.c_str(), block_room.bytes};
        return block && entry->is_directory ? first_entry(block, path) : std::nullopt;
    }
    return std::nullopt;
}

}  // namespace opinit
