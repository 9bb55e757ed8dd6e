#include "host/block_users.h"

#include <algorithm>
#include <filesystem>

#include "host/host_files.h"

namespace opinitctl {
namespace {

constexpr std::uint64_t sector_size = 512;

// Blanks and the like stand as \040 in the kernel's tables.
std::string unescaped(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escaped = text[i] == '\\' && i + 3 < text.size();
        plain += escaped ? static_cast<char>(std::stoi(text.substr(i + 1, 3), nullptr, 8)) : text[i];
        if (escaped) i += 3;
    }
    return plain;
}

std::optional<std::uint64_t> size_of(const std::string& path) {
    const std::string sectors = text_in(path + "/size");
    if (sectors.empty()) return std::nullopt;
    return std::strtoull(sectors.c_str(), nullptr, 10) * sector_size;
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
    BlockDevice device = {mapped.empty() ? name : mapped,
                          type_of(path, name),
                          size_of(path),
                          mounts.of(text_in(path + "/dev"), name),
                          {}};
    for (const std::string& entry : names_in(path)) {
        const std::string part = path + '/' + entry;
        if (!text_in(part + "/partition").empty()) device.users.push_back(device_at(part, entry, mounts));
    }
    for (const std::string& holder : names_in(path + "/holders")) {
        device.users.push_back(device_at("/sys/block/" + holder, holder, mounts));
    }
    return device;
}

}  // namespace

Mounts::Mounts() {
    for (const std::string& line : lines_in("/proc/self/mountinfo")) {
        const std::vector<std::string> words = split(line, ' ');
        const auto dash = std::find(words.begin(), words.end(), "-");
        if (words.size() < 10 || words.end() - dash < 3) continue;
        add(words[2], unescaped(words[4]));
        // Some file systems have a number of their own and name their device.
        if (words[2].starts_with("0:")) add(unescaped(dash[2]), unescaped(words[4]));
    }
    for (const std::string& line : lines_in("/proc/swaps"))
        add(unescaped(split(line, ' ').front()), "[SWAP]");
}

void Mounts::add(const std::string& device, const std::string& place) {
    std::vector<std::string>& places = places_[device];
    if (std::find(places.begin(), places.end(), place) == places.end()) places.push_back(place);
}

std::vector<std::string> Mounts::of(const std::string& number, const std::string& name) const {
    std::vector<std::string> all;
    for (const std::string& key : {number, "/dev/" + name}) {
        const auto found = places_.find(key);
        if (found != places_.end()) all.insert(all.end(), found->second.begin(), found->second.end());
    }
    return all;
}

BlockDevice block_device(const std::string& name, const Mounts& mounts) {
    return device_at("/sys/block/" + name, name, mounts);
}

}  // namespace opinitctl
