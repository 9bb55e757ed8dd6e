#include "sessions/scsi_host.h"

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string_view>

#include "core/base/path.h"
#include "core/base/text.h"
#include "sessions/session_class.h"

namespace opinit {
namespace {

/// The text of a symbolic link.
class LinkText {
public:
    explicit LinkText(const Path& path) : size_{::readlink(path.c_str(), text_.data(), text_.size())} {}

    explicit operator bool() const { return size_ >= 0; }
    std::string_view view() const { return {text_.data(), static_cast<std::size_t>(size_)}; }

private:
    std::array<char, 4096> text_;
    ssize_t size_;
};

std::optional<int> host_number(std::string_view component) {
    constexpr std::string_view prefix = "host";
    if (!component.starts_with(prefix)) return std::nullopt;
    std::array<char, 60> text{};
    component.substr(prefix.size()).copy(text.data(), text.size() - 1);
    const auto host = scan_number(text.data(), std::strtoul);
    return host ? std::optional{static_cast<int>(*host)} : std::nullopt;
}

/// The host is the last component but one, as in ".../host3/session1".
std::optional<int> host_above_session(std::string_view link) {
    const std::size_t last = link.rfind('/');
    if (last == std::string_view::npos) return std::nullopt;
    const std::string_view parent = link.substr(0, last);
    const std::size_t before = parent.rfind('/');
    if (before == std::string_view::npos) return std::nullopt;
    return host_number(parent.substr(before + 1));
}

}  // namespace

std::optional<int> get_session_host(int session) {
    const Path entry = Path{session_class}.text("/session").number(session);
    const LinkText device{Path{entry}.text("/device")};
    if (!device) return std::nullopt;
    if (const auto host = host_above_session(device.view())) return host;

    // Current kernels write the link as ../../../session1, which names the host only together with the
    // directory that the session's class entry leads to.
    const LinkText leads_to{entry};
    if (!leads_to) return std::nullopt;
    std::string_view directory = leads_to.view();
    std::string_view rest = device.view();
    for (; rest.starts_with("../"); rest.remove_prefix(3))
        directory = directory.substr(0, directory.rfind('/'));
    // Of what has more parts than the session's own the text alone has told already.
    return rest.find('/') == std::string_view::npos ? host_number(directory.substr(directory.rfind('/') + 1))
                                                    : std::nullopt;
}

}  // namespace opinit
