// Reading and writing iscsid.conf once more: step by step, with plain texts, without the library's code.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace reference {

struct Property {
    std::uint32_t id;
    std::string value;
};

/// The settings that a file holds, in file order; at most 34.
std::vector<Property> read(const std::string& conf);

/// The value of the first line that mentions a property's name.
std::optional<std::string> first_value(const std::string& conf, std::uint32_t id);

struct Written {
    int result;
    std::string conf;
    std::string name_file;
};

/// What a request, which may be changed, makes of the files.
Written write(std::vector<Property>& request, const std::string& conf, const std::string& name_file);

}  // namespace reference
