#pragma once

#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

// The shapes that entries in sysfs have, in the form that /run/simhost/sysfs-form names.

namespace simhost {

using Attributes = std::initializer_list<std::pair<const char*, std::string>>;

void write_attributes(const std::filesystem::path& directory, Attributes attributes);

// A link as the kernel writes them: relative to where it stands. Makes the directory it stands in.
void link_relative(const std::filesystem::path& target, const std::filesystem::path& link);

// A directory that the SCSI bus lists among its devices. Returns it.
std::filesystem::path add_scsi_device(const std::filesystem::path& directory);

// A device's entry in a class, such as block/sda. Today it lies below its device and the class directory
// links to it; in older kernels the class directory held it and the device linked to it.
void add_class_entry(const std::filesystem::path& device, std::string_view class_name,
                     const std::string& name, Attributes attributes);

// Takes a SCSI host and all below it out of the class directories and the bus's list.
void remove_class_entries(const std::filesystem::path& host);

}  // namespace simhost
