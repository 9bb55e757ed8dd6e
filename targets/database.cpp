#include "targets/database.h"

#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <vector>

#include "core/base/host_files.h"
#include "core/base/no_exceptions.h"
#include "core/base/record_list.h"
#include "kvlinopinitr/iscsi_status.h"
#include "targets/names.h"

namespace opinit {
namespace {

constexpr std::size_t node_record_line_limit = 80;

/// Sorts the entries of one portal directory into target records.
class PortalDirectoryWalk {
public:
    PortalDirectoryWalk(TargetRecords& targets, bool with_portals)
        : targets_{targets}, with_portals_{with_portals} {}

    /// False when memory is out.
    bool add(const TargetEntry& entry) {
        const bool further_portal = current_ != nullptr && entry.target == current_->target_name;
        if (further_portal && !with_portals_) return true;
        RecordList<_TargetPortalGroups> portal;
        if (with_portals_ && !make_portal(portal, entry)) return false;
        if (further_portal) {
            link_record(last_portal_, portal.first());
        } else {
            if (!targets_.fill_next(entry.target, portal.first())) return false;
            current_ = targets_.last();
        }
        last_portal_ = portal.release();
        return true;
    }

private:
    static bool make_portal(RecordList<_TargetPortalGroups>& portal, const TargetEntry& entry) {
        _TargetPortalGroups* record = portal.append();
        if (record == nullptr) return false;
        entry.address.copy(reinterpret_cast<char*>(record->address), sizeof record->address);
        record->tpgt = entry.tag;
        record->port = entry.port;
        return true;
    }

    TargetRecords& targets_;
    bool with_portals_;
    /// Null until this directory has a record: one target under two portal directories makes two records.
    const _TargetInformation* current_ = nullptr;
    _TargetPortalGroups* last_portal_ = nullptr;
};

bool is_there(const std::string& path) {
    struct stat entry;
    return ::lstat(path.c_str(), &entry) == 0;
}

std::string node_record_path(const char* root, std::string_view target_name, const LastEntry& portal) {
    return std::string{root}
        .append("/nodes/")
        .append(target_name)
        .append("/")
        .append(portal_directory(portal.address, std::to_string(portal.port)))
        .append(",")
        .append(std::to_string(portal.tag))
        .append("/default");
}

}  // namespace

bool _st_entry_filter(std::string_view name) {
    return skip_dot_entries(name) && name != "st_config";
}

unsigned int _read_st_portal_dir(const std::string& database, const std::string& portal_dir,
                                 TargetRecords& targets, LastEntry& last, bool with_portals,
                                 std::size_t& entries) {
    entries = 0;
    const std::string path = database + portal_dir;
    const std::optional<std::vector<std::string>> names = list_directory(path.c_str(), _st_entry_filter);
    if (!names) return is_there(path) ? database_status::cannot_list : iscsi_status::success;
    if (names->empty()) return database_status::empty;
    entries = names->size();

    PortalDirectoryWalk walk{targets, with_portals};
    for (const std::string& name : *names) {
        const std::optional<TargetEntry> entry = parse_target_entry(name);
        if (!entry) continue;
        last.address = entry->address;
        last.port = static_cast<std::uint16_t>(entry->port);
        last.tag = entry->tag;
        if (!walk.add(*entry)) return database_status::out_of_memory;
    }
    return iscsi_status::success;
}

unsigned int _read_send_targets(const std::string& portal_dir, TargetRecords& targets, LastEntry& last,
                                bool with_portals) {
    return without_exceptions(database_status::out_of_memory, [&] {
        std::size_t entries = 0;
        const auto [first, second] = discovery_databases;
        unsigned int status = _read_st_portal_dir(first, portal_dir, targets, last, with_portals, entries);
        if (status != iscsi_status::success || entries != 0) return status;
        status = _read_st_portal_dir(second, portal_dir, targets, last, with_portals, entries);
        return entries != 0 ? status : iscsi_status::target_not_found;
    });
}

std::uint8_t _read_node_startup(std::string_view target_name, const LastEntry& portal) {
    std::string path = node_record_path("/var/lib/iscsi", target_name, portal);
    if (::access(path.c_str(), F_OK) != 0) path = node_record_path("/etc/iscsi", target_name, portal);
    const File record{path.c_str(), Access::read_and_write};
    if (!record) return 0;
    LineReader lines{record, node_record_line_limit};
    while (const auto piece = lines.next()) {
        if (piece->front() == '#' || piece->find("node.startup") == std::string_view::npos) continue;
        return piece->find("automatic") != std::string_view::npos ? 1 : 0;
    }
    return 0;
}

}  // namespace opinit
