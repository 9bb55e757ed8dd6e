#include "sessions/scsi_host.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

#include "core/base/path.h"
#include "core/base/text.h"
#include "core/base/tokens.h"

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

/// The components of a path, ".." taken back; deeper ones than it has room for are dropped.
class Components {
public:
    void follow(std::string_view path) {
        while (!path.empty()) {
            const std::string_view component = next_token(path, [](char c) { return c == '/'; });
            if (component == "..") {
                depth_ = std::max<std::size_t>(depth_, 1) - 1;
            } else if (!component.empty() && component != "." && depth_ < components_.size()) {
                components_[depth_++] = component;
            }
        }
    }

    /// The last component but one, empty when there is none.
    std::string_view last_but_one() const {
        return depth_ < 2 ? std::string_view{} : components_[depth_ - 2];
    }

private:
    std::array<std::string_view, 64> components_;
    std::size_t depth_ = 0;
};

Path session_entry(int session) {
    return Path{"/sys/class/iscsi_session/session"}.number(session);
}

}  // namespace

std::optional<int> find_session_host(int session) {
    const LinkText leads_to{session_entry(session)};
    if (leads_to) {
        // ".../host3/session1/iscsi_session/session1"
        std::string_view link = leads_to.view();
        for (int component = 0; component < 2; ++component) link = link.substr(0, link.rfind('/'));
        if (const auto host = host_above_session(link)) return host;
    }
    return get_session_host(session);
}

std::optional<int> get_session_host(int session) {
    const Path entry = session_entry(session);
    const LinkText device{Path{entry}.text("/device")};
    if (!device) return std::nullopt;
    if (const auto host = host_above_session(device.view())) return host;

    // Current kernels write the link as ../../../session1, which names the host only together with the
    // directory that the session's class entry leads to.
    const LinkText leads_to{entry};
    if (!leads_to) return std::nullopt;
    Components components;
    components.follow(leads_to.view());
    components.follow(device.view());
    return host_number(components.last_but_one());
}

}  // namespace opinit
