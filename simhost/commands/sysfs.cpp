#include "sysfs.h"

#include <array>

#include "files.h"

namespace fs = std::filesystem;

namespace simhost {
namespace {

const fs::path scsi_bus = "/sys/bus/scsi";

constexpr std::array<std::string_view, 7> entry_classes = {
    "iscsi_host", "scsi_host", "iscsi_session", "iscsi_connection", "scsi_device", "scsi_disk", "block"};

bool has_older_form() {
    static const bool older = read_line(run_directory / "sysfs-form") == "older";
    return older;
}

fs::path class_directory(std::string_view class_name) {
    return class_name == "block" ? fs::path("/sys/block") : fs::path("/sys/class") / class_name;
}

void add_neighbours(const fs::path& directory, const fs::path& subsystem) {
    fs::create_directories(directory / "power");
    write_file(directory / "uevent", "");
    link_relative(subsystem, directory / "subsystem");
}

// What names a class entry: "block/sda" in today's form, the link "block:sda" in the older one.
void remove_class_entry(const fs::path& path) {
    const std::string name = path.filename();
    for (const std::string_view class_name : entry_classes) {
        const std::string older_prefix = std::string(class_name) + ":";
        if (path.parent_path().filename() == class_name) fs::remove(class_directory(class_name) / name);
        if (name.starts_with(older_prefix)) {
            fs::remove_all(class_directory(class_name) / name.substr(older_prefix.size()));
        }
    }
}

}  // namespace

void link_relative(const fs::path& target, const fs::path& link) {
    fs::create_directories(link.parent_path());
    fs::create_symlink(target.lexically_relative(link.parent_path()), link);
}

void write_attributes(const fs::path& directory, Attributes attributes) {
    for (const auto& [name, value] : attributes) write_file(directory / name, value + "\n");
}

fs::path add_scsi_device(const fs::path& directory) {
    add_neighbours(directory, scsi_bus);
    link_relative(directory, scsi_bus / "devices" / directory.filename());
    return directory;
}

void add_class_entry(const fs::path& device, std::string_view class_name, const std::string& name,
                     Attributes attributes) {
    const fs::path in_class = class_directory(class_name) / name;
    const bool older = has_older_form();
    const fs::path directory = older ? in_class : device / class_name / name;
    add_neighbours(directory, fs::path("/sys/class") / class_name);
    if (older) {
        link_relative(device, directory / "device");
        link_relative(directory, device / (std::string(class_name) + ":" + name));
    } else {
        fs::create_symlink(fs::path("../../..") / device.filename(), directory / "device");
        link_relative(directory, in_class);
    }
    write_attributes(directory, attributes);
}

void remove_class_entries(const fs::path& host) {
    fs::remove(scsi_bus / "devices" / host.filename());
    for (const auto& entry : fs::recursive_directory_iterator(host)) {
        remove_class_entry(entry.path());
        // Targets and LUNs go by their address.
        if (entry.path().filename().string().find(":0:0") != std::string::npos) {
            fs::remove(scsi_bus / "devices" / entry.path().filename());
        }
    }
}

}  // namespace simhost
