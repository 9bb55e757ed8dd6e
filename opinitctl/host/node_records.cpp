#include "host/node_records.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>

#include "host/host_files.h"

namespace opinitctl {
namespace {

// The places where open-iscsi keeps its databases; on some hosts one is a link to the other.
std::string database(const std::string& name) {
    for (const char* const root : {"/var/lib/iscsi/", "/etc/iscsi/"}) {
        const std::string path = root + name;
        struct stat status = {};
        if (stat(path.c_str(), &status) == 0) return path + '/';
        if (!nothing_there(errno)) throw cannot_read(path, errno);
    }
    return "";
}

// "ADDRESS,PORT,TAG", of a record that was made by hand without the tag.
TargetPortal target_portal(const std::string& target, const std::vector<std::string>& parts,
                           const std::string& record) {
    if (parts.size() < 2) return {target, "", {}, record};
    return {target, portal_text(parts[0], parts[1]), parts.size() > 2 ? number_in(parts[2]) : std::nullopt,
            record};
}

// "TARGET,ADDRESS,PORT,TAG,INTERFACE"
TargetPortal discovered(const std::string& entry) {
    std::vector<std::string> parts = split(entry, ',');
    if (parts.size() < 5) return {};
    const auto address = parts.end() - 4;
    std::string target = parts.front();
    for (auto part = parts.begin() + 1; part != address; ++part) target += ',' + *part;
    return target_portal(target, {address, parts.end() - 1}, "");
}

bool says_automatic(const std::string& file) {
    if (access(file.c_str(), R_OK) != 0 && !nothing_there(errno)) throw cannot_read(file, errno);
    const std::vector<std::string> lines = lines_in(file);
    return std::find(lines.begin(), lines.end(), "node.startup = automatic") != lines.end();
}

}  // namespace

std::vector<TargetPortal> node_records() {
    std::vector<TargetPortal> records;
    const std::string nodes = database("nodes");
    for (const std::string& target : names_in(nodes)) {
        for (const std::string& portal : names_in(nodes + target)) {
            records.push_back(target_portal(target, split(portal, ','), nodes + target + '/' + portal));
        }
    }
    return records;
}

std::vector<TargetPortal> node_records_at(const Portal& portal) {
    std::vector<TargetPortal> records = node_records();
    std::erase_if(records, [&portal](const auto& record) { return record.portal != portal.text(); });
    return records;
}

std::vector<TargetPortal> portals_to(const std::string& target, std::vector<TargetPortal> records) {
    std::erase_if(records, [&target](const TargetPortal& record) { return record.target != target; });
    return records;
}

Names targets_of(const std::vector<TargetPortal>& records) {
    std::set<std::string> names;
    for (const TargetPortal& record : records) names.insert(record.target);
    return {names.begin(), names.end()};
}

Names names_of(const std::vector<_TargetInformation>& records) {
    Names names;
    for (const _TargetInformation& record : records) {
        const std::string name = field_text(record.target_name);
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
    return names;
}

std::vector<TargetPortal> discovered_at(const Portal& portal) {
    std::vector<TargetPortal> found;
    for (const std::string& entry :
         names_in(database("send_targets") + portal.address_text() + ',' + std::to_string(portal.port))) {
        TargetPortal each = discovered(entry);
        // One that was found through several interfaces has an entry for each.
        if (!each.target.empty() && (found.empty() || !(found.back() == each))) found.push_back(each);
    }
    return found;
}

bool starts_automatically(const TargetPortal& record) {
    if (says_automatic(record.record)) return true;
    const std::vector<std::string> interfaces = names_in(record.record);
    return std::any_of(interfaces.begin(), interfaces.end(), [&record](const std::string& interface) {
        return says_automatic(record.record + '/' + interface);
    });
}

const Columns<TargetPortal>& target_portal_columns() {
    static const Columns<TargetPortal> columns = {
        {"target", [](const TargetPortal& each) -> Value { return each.target; }, Look::text},
        {"portal", [](const TargetPortal& each) { return text_or_null(each.portal); }},
        {"group_tag", [](const TargetPortal& each) { return number_or_null(each.group_tag); }},
    };
    return columns;
}

}  // namespace opinitctl
