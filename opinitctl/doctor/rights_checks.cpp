// Who may read and change the settings and the records of targets.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "doctor/check.h"
#include "doctor/fixes.h"
#include "doctor/host.h"
#include "host/host_files.h"
#include "shown/names.h"

namespace opinitctl::doctor {
namespace {

namespace fs = std::filesystem;

constexpr unsigned int written_by_others = S_IWGRP | S_IWOTH;
constexpr unsigned int open_to_others = S_IRWXG | S_IRWXO;

struct Entry {
    std::string path;
    struct stat status;
};
using Entries = std::vector<Entry>;

void add(Entries& entries, const std::string& path) {
    Entry entry = {path, {}};
    // What a link leads to stands elsewhere in the databases.
    if (lstat(path.c_str(), &entry.status) == 0 && !S_ISLNK(entry.status.st_mode)) entries.push_back(entry);
}

/// Directories and files of the settings and of both databases.
Entries all_entries() {
    Entries entries;
    for (const char* const root : {"/etc/iscsi", "/var/lib/iscsi"}) {
        add(entries, root);
        std::error_code stopped;
        for (fs::recursive_directory_iterator
                 entry(root, fs::directory_options::skip_permission_denied, stopped),
             end;
             !stopped && entry != end; entry.increment(stopped)) {
            add(entries, entry->path());
        }
    }
    return entries;
}

bool holds_secret(const Entry& entry) {
    const std::vector<std::string> lines =
        S_ISREG(entry.status.st_mode) ? lines_in(entry.path) : std::vector<std::string>();
    return std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
        const std::string key = line.substr(0, line.find_first_of(" ="));
        return !line.starts_with('#') && (key.ends_with("password") || key.ends_with("password_in")) &&
               line.find_first_not_of(" =", key.size()) != line.npos;
    });
}

template <class Condition>
Names those(const Entries& entries, Condition condition) {
    Names paths;
    for (const Entry& entry : entries) {
        if (condition(entry)) paths.push_back(entry.path);
    }
    return paths;
}

/// What an ordinary user cannot tell of.
Check closed(const Entries& entries) {
    const Names shut = those(entries, [](const Entry& entry) {
        const bool is_directory = S_ISDIR(entry.status.st_mode);
        return (is_directory || (entry.status.st_mode & open_to_others) != 0) &&
               access(entry.path.c_str(), is_directory ? R_OK | X_OK : R_OK) != 0;
    });
    return verdict({"files", Result::note, "not looked into: ", "run as root"}, shut,
                   "all settings and records can be looked into");
}

Check owners(const Entries& entries) {
    const Names foreign = those(entries, [](const Entry& entry) { return entry.status.st_uid != 0; });
    return verdict({"owners", Result::problem, "others than root own ", "chown root what is named"}, foreign,
                   "settings and records belong to root");
}

Check writers(const Entries& entries) {
    const Names open =
        those(entries, [](const Entry& entry) { return (entry.status.st_mode & written_by_others) != 0; });
    return verdict({"writers", Result::problem, "others may change ", "chmod go-w what is named",
                    change_mode(open, 0, written_by_others)},
                   open, "none but their owner may change settings and records");
}

Check secrets(const Entries& entries) {
    const Names open = those(entries, [](const Entry& entry) {
        return (entry.status.st_mode & open_to_others) != 0 && holds_secret(entry);
    });
    return verdict({"secrets", Result::problem, "others may open, with a CHAP secret in it: ",
                    "chmod 600 what is named", change_mode(open, 0, open_to_others)},
                   open, "none stands where others may open the file");
}

}  // namespace

Checks examine_rights() {
    const Entries entries = all_entries();
    return {closed(entries), owners(entries), writers(entries), secrets(entries)};
}

}  // namespace opinitctl::doctor
