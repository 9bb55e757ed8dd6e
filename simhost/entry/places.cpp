#include "places.h"

#include <algorithm>
#include <system_error>

namespace simhost {

namespace fs = std::filesystem;

namespace {

bool contains(const fs::path& directory, const fs::path& path) {
    return std::mismatch(directory.begin(), directory.end(), path.begin(), path.end()).first ==
           directory.end();
}

// Here the host has a directory of its own, empty at first; everywhere else the machine's is seen.
bool is_replaced(const fs::path& path) {
    for (const char* root : {"/tmp", "/run", "/var", "/dev/shm"}) {
        if (path != root && contains(root, path)) return true;
    }
    return false;
}

// The machine may be a real initiator with a database of its own.
bool shows_database(const fs::path& path) {
    const fs::path database = "/var/lib/iscsi";
    return contains(path, database) || contains(database, path);
}

fs::path place_of_command(const fs::path& command, const fs::path& working_directory) {
    std::error_code missing;
    const fs::path program = fs::canonical(working_directory / command, missing);
    if (missing || !command.has_parent_path()) return {};
    return is_replaced(program.parent_path()) ? program.parent_path() : program;
}

}  // namespace

std::vector<Place> kept_places(const Options& options, const fs::path& working_directory) {
    std::vector<Place> places;
    for (const fs::path& path : options.writable) places.push_back({path, Access::writable});
    if (options.state) places.push_back({*options.state, Access::writable});
    // All of the build tree: the programs that are tried stand beside the host's own.
    for (const fs::path& path : {options.project, options.build.parent_path(), working_directory,
                                 place_of_command(options.command.front(), working_directory)}) {
        if (is_replaced(path) && !shows_database(path)) places.push_back({path, Access::read_only});
    }
    std::stable_sort(places.begin(), places.end(),
                     [](const Place& a, const Place& b) { return a.path < b.path; });
    return places;
}

void show_places(const std::vector<Place>& places) {
    std::vector<Place> shown;
    for (const Place& place : places) {
        const bool seen_already = std::any_of(shown.begin(), shown.end(), [&place](const Place& outer) {
            return contains(outer.path, place.path) &&
                   (place.access == Access::read_only || outer.access == Access::writable);
        });
        if (seen_already) continue;
        bind_from_machine(place.path, place.path, place.access);
        shown.push_back(place);
    }
}

}  // namespace simhost
