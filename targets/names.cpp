#include "targets/names.h"

#include <array>
#include <cstdlib>

#include "core/base/address.h"

namespace opinit {
namespace {

/// As strtol reads it: leading digits count, none give 0.
long decimal(std::string_view digits) {
    std::array<char, 256> text;
    text[digits.copy(text.data(), text.size() - 1)] = '\0';
    return std::strtol(text.data(), nullptr, 10);
}

}  // namespace

Path portal_directory(std::string_view address, std::string_view port) {
    return Path{address}.text(",").text(port);
}

std::string portal_argument(std::string_view address, int port) {
    const bool brackets = address.find(':') != std::string_view::npos;
    std::string argument{brackets ? "[" : ""};
    return argument.append(address).append(brackets ? "]:" : ":").append(std::to_string(port));
}

std::uint16_t PortalName::port_number() const {
    return static_cast<std::uint16_t>(decimal(port));
}

std::optional<PortalName> parse_portal_name(std::string_view name) {
    const std::size_t comma = name.find(',');
    if (comma == std::string_view::npos) return std::nullopt;
    const std::string_view rest = name.substr(comma + 1);
    return PortalName{name.substr(0, comma), rest.substr(0, rest.find(','))};
}

std::optional<TargetEntry> parse_target_entry(std::string_view name) {
    std::array<std::string_view, 4> fields;
    for (std::string_view& field : fields) {
        const std::size_t comma = name.find(',');
        if (comma == std::string_view::npos) return std::nullopt;
        field = name.substr(0, comma);
        name.remove_prefix(comma + 1);
    }
    const auto& [target, address, port, tag] = fields;
    if (address.size() >= address_text_size) return std::nullopt;
    return TargetEntry{target, address, static_cast<std::uint32_t>(decimal(port)),
                       static_cast<std::uint8_t>(decimal(tag))};
}

}  // namespace opinit
