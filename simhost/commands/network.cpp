#include "network.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "failure.h"
#include "files.h"
#include "node_database.h"

namespace simhost {
namespace {

using nlohmann::json;

PortalState parse_state(const std::string& text) {
    if (text == "up") return PortalState::up;
    if (text == "refusing") return PortalState::refusing;
    if (text == "dead") return PortalState::dead;
    throw Failure(status::database, "unknown portal state " + text);
}

Portal read_address(const json& entry) {
    const std::string text = entry.get<std::string>();
    const Portal portal = parse_portal(text);
    const bool is_port = portal.port > 0 && portal.port < 65536;
    if (!is_port || !is_address(portal.address)) throw Failure(status::database, "no portal: " + text);
    return portal;
}

NetworkPortal read_portal(const json& entry) {
    return {read_address(entry.at("portal")), parse_state(entry.value("state", "up")),
            entry.value("initiator_address", "")};
}

Lun read_lun(const json& entry) {
    return {entry.at("lun").get<unsigned>(), entry.at("size_bytes").get<std::uint64_t>(),
            entry.value("vendor", "EXAMPLE"), entry.value("model", "Virtual Disk")};
}

std::optional<Credentials> read_credentials(const json& target, const char* key) {
    if (!target.contains(key)) return std::nullopt;
    const json& entry = target.at(key);
    return Credentials{entry.at("user").get<std::string>(), entry.at("secret").get<std::string>()};
}

Target read_target(const json& entry) {
    Target target{entry.at("name").get<std::string>(), entry.value("tag", 1), {}, {}, {}, {}};
    if (!is_target_name(target.name)) throw Failure(status::database, "no name for a target: " + target.name);
    for (const json& portal : entry.at("portals")) target.portals.push_back(read_address(portal));
    for (const json& lun : entry.value("luns", json::array())) target.luns.push_back(read_lun(lun));
    target.chap = read_credentials(entry, "chap");
    target.mutual = read_credentials(entry, "mutual");
    return target;
}

Network read_network(const json& table) {
    Network network;
    network.login_timeout = std::chrono::milliseconds(table.value("login_timeout_ms", 0));
    for (const json& entry : table.at("portals")) network.portals.push_back(read_portal(entry));
    for (const json& entry : table.at("targets")) network.targets.push_back(read_target(entry));
    return network;
}

}  // namespace

NetworkPortal Network::portal_at(const Portal& portal) const {
    for (const NetworkPortal& candidate : portals) {
        if (same_place(candidate.portal, portal)) return candidate;
    }
    return {portal, PortalState::refusing, ""};
}

const Target* Network::find_target(const std::string& name, const Portal& portal) const {
    for (const Target& target : targets) {
        if (target.name != name) continue;
        const bool stands_there =
            std::any_of(target.portals.begin(), target.portals.end(),
                        [&portal](const Portal& own) { return same_place(own, portal); });
        if (stands_there) return &target;
    }
    return nullptr;
}

Network load_network() {
    const auto path = run_directory / "network.json";
    const auto text = read_file(path);
    if (!text) throw Failure(status::database, "cannot read " + path.string());
    try {
        return read_network(json::parse(*text));
    } catch (const json::exception& error) {
        throw Failure(status::database, path.string() + ": " + error.what());
    }
}

}  // namespace simhost
