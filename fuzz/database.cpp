// The input is the name of a portal's directory, then a line for the name of each of its entries.
#include <string.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <sstream>

#include "fuzz/fuzz.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace {

const std::string database = "/var/lib/iscsi/send_targets/";
std::size_t commands;

constexpr auto version_order = [](const std::string& left, const std::string& right) {
    return ::strverscmp(left.c_str(), right.c_str()) < 0;
};
using Entries = std::set<std::string, decltype(version_order)>;

std::string portal(const std::string& address, std::uint32_t port, std::uint8_t tag) {
    return " " + address.substr(0, 16) + ":" + std::to_string(port) + "," + std::to_string(tag);
}

/// The result, and "\nNAME ADDRESS:PORT,TAG..." for each target.
std::string expected_answer(const std::string& directory, const Entries& entries) {
    if (directory == "st_config") return "-1";
    // The directory is looked for under the name that its first two pieces make.
    if (std::count(directory.begin(), directory.end(), ',') != 1) return "179";
    if (entries.empty()) return "-2";
    std::string targets, name, address, port, tag, last_name;
    for (const std::string& entry : entries) {
        std::istringstream fields(entry);
        for (std::string* field : {&name, &address, &port, &tag}) std::getline(fields, *field, ',');
        if (std::count(entry.begin(), entry.end(), ',') < 4 || address.size() > 79) continue;
        if (targets.empty() || name != last_name) targets += "\n" + name;
        targets += portal(address, static_cast<std::uint32_t>(std::strtol(port.c_str(), nullptr, 10)),
                          static_cast<std::uint8_t>(std::strtol(tag.c_str(), nullptr, 10)));
        last_name = name;
    }
    return targets.empty() ? "179" : "0" + targets;
}

std::string read_answer() {
    _TargetInformation* list = nullptr;
    std::string answer = std::to_string(_GetTargetList(&list, 1));
    for (const auto* target = list; target != nullptr; target = next_record(target)) {
        answer += std::string{"\n"} + target->target_name;
        for (const auto* one = target->portals; one != nullptr; one = next_record(one)) {
            const auto* address = reinterpret_cast<const char*>(one->address);
            answer += portal({address, strnlen(address, 16)}, one->port, one->tpgt);
        }
    }
    FreeTargetList(list);
    return answer;
}

bool usable(const std::string& name) {
    return name != "." && name != ".." && name != "st_config" && name.size() < 256 &&
           name.find_first_of(std::string_view{"/\0", 2}) == name.npos;
}

}  // namespace

/// Stands in for the C library's: commands are not run.
extern "C" int system(const char*) {
    ++commands;
    return 0;
}

void fuzz::try_input(const std::string& input) {
    static const bool made = (host::remove("/etc/iscsi/send_targets"), host::remove(database),
                              host::make_directory(database), host::start_stack(), true);
    const auto names = words(input, "\n");
    if (!made || names.empty() || names.size() > 20 || !(usable(names[0]) || names[0] == "st_config")) return;
    const std::string directory = database + names[0];
    host::write_file(directory + "/st_config", "");
    Entries entries;
    std::copy_if(names.begin() + 1, names.end(), std::inserter(entries, entries.end()), usable);
    for (const std::string& entry : entries) host::write_file(directory + "/" + entry, "");

    commands = 0;
    const std::string expected = expected_answer(names[0], entries), found = read_answer();
    host::remove(directory);
    require_equal(expected, found, "answer");
    require_equal(expected == "-2" ? 1 : 0, static_cast<long>(commands), "commands");
}
