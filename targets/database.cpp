#include "targets/database.h"

#include <sys/stat.h>

#include <optional>

#include "core/base/directory.h"
#include "core/base/host_files.h"
#include "core/base/no_exceptions.h"
#include "kvlinopinitr/iscsi_status.h"

namespace opinit {
namespace {

constexpr std::size_t node_record_line_limit = 80;

bool is_there(const Path& path) {
    struct stat entry;
    return ::lstat(path.c_str(), &entry) == 0;
}

/// Selects what a receiver wants of a portal directory, and notes what else matters of it.
class Selection {
public:
    explicit Selection(const TargetReceiver& targets) : targets_{targets} {}

    bool operator()(std::string_view name) {
        if (!_st_entry_filter(name)) return false;
        ++listed_;
        const bool wanted = targets_.wants(target_of(name));
        // Of those that nobody wants, it is enough to know of one that it could be used.
        if (!wanted && usable_) return false;
        const bool is_usable = parse_target_entry(name).has_value();
        usable_ = usable_ || is_usable;
        return wanted && is_usable;
    }

    /// Entries but st_config.
    std::size_t listed() const { return listed_; }
    /// Whether any of them names a target.
    bool usable() const { return usable_; }

private:
    const TargetReceiver& targets_;
    std::size_t listed_ = 0;
    bool usable_ = false;
};

/// All entries of one target stand side by side, since the names are sorted.
unsigned int hand_over_targets(const Listing& names, TargetReceiver& targets) {
    const TargetEntry last = parse_target_entry(names.back()).value();
    const ProbedPortal probed{last.address, static_cast<std::uint16_t>(last.port), last.tag};
    std::string_view target_before;
    bool first = true;
    for (const std::string_view name : names) {
        const TargetEntry entry = parse_target_entry(name).value();
        const bool further_portal = !first && target_before == entry.target;
        if (!(further_portal ? targets.add_portal(entry) : targets.add_target(entry, probed))) {
            return database_status::out_of_memory;
        }
        target_before = entry.target;
        first = false;
    }
    return iscsi_status::success;
}

Path node_record_path(const char* root, std::string_view target_name, const ProbedPortal& portal) {
    Path path{root};
    path.text("/nodes/").text(target_name).text("/").text(portal.address).text(",");
    return path.number(portal.port).text(",").number(unsigned{portal.tag}).text("/default");
}

std::uint8_t starts_automatically(const File& record) {
    LineReader lines{record, node_record_line_limit};
    while (const auto piece = lines.next()) {
        if (piece->front() == '#' || piece->find("node.startup") == std::string_view::npos) continue;
        return piece->find("automatic") != std::string_view::npos ? 1 : 0;
    }
    return 0;
}

}  // namespace

bool _st_entry_filter(std::string_view name) {
    return skip_dot_entries(name) && name != "st_config";
}

unsigned int _read_st_portal_dir(const char* database, std::string_view portal_dir, TargetReceiver& targets,
                                 std::size_t& entries) {
    entries = 0;
    const Path path = Path{database}.text(portal_dir);
    Selection selection{targets};
    const Listing names{path.c_str(), selection};
    // A link that leads nowhere, and a plain file, are there and cannot be listed.
    if (nothing_there(names.error()) && !is_there(path)) return iscsi_status::success;
    if (!names.complete()) {
        targets.note_unreadable(names.error());
        return database_status::cannot_list;
    }
    entries = selection.listed();
    if (entries == 0) return database_status::empty;
    const unsigned int status = names.empty() ? iscsi_status::success : hand_over_targets(names, targets);
    if (status == iscsi_status::success && selection.usable()) targets.note_usable_directory();
    return status;
}

unsigned int _read_send_targets(std::string_view portal_dir, TargetReceiver& targets) {
    return without_exceptions(database_status::out_of_memory, [&] {
        std::size_t entries = 0;
        const auto [first, second] = discovery_databases;
        unsigned int status = _read_st_portal_dir(first, portal_dir, targets, entries);
        if (status != iscsi_status::success || entries != 0) return status;
        status = _read_st_portal_dir(second, portal_dir, targets, entries);
        return entries != 0 ? status : iscsi_status::target_not_found;
    });
}

std::uint8_t _read_node_startup(std::string_view target_name, const ProbedPortal& portal) {
    for (const char* root : {"/var/lib/iscsi", "/etc/iscsi"}) {
        const File record{node_record_path(root, target_name, portal).c_str(), Access::read_and_write};
        if (record) return starts_automatically(record);
        if (!record.missing()) break;
    }
    return 0;
}

}  // namespace opinit
