// The input is the name of a portal's directory, then a line for the name of each of its entries.
#include <string.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <sstream>

#include "fuzz/fuzz.h"
#include "kvlinopinitr/open_initiator.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace {

const std::string database = "/var/lib/iscsi/send_targets/";
std::size_t commands;

struct InVersionOrder {
    bool operator()(const std::string& left, const std::string& right) const {
        return ::strverscmp(left.c_str(), right.c_str()) < 0;
    }
};
using Entries = std::set<std::string, InVersionOrder>;

struct Answer {
    int result = 0;
    std::string targets;  ///< "\nNAME ADDRESS:PORT,TAG..." for each
};

std::string portal(const std::string& address, std::uint32_t port, std::uint8_t tag) {
    return " " + address.substr(0, 16) + ":" + std::to_string(port) + "," + std::to_string(tag);
}

Answer expected_answer(const std::string& directory, const Entries& entries) {
    if (directory == "st_config") return {-1, ""};
    // The directory is looked for under the name that its first two pieces make.
    if (std::count(directory.begin(), directory.end(), ',') != 1) return {179, ""};
    if (entries.empty()) return {-2, ""};
    Answer answer{179, ""};
    std::string name, address, port, tag, last_name;
    for (const std::string& entry : entries) {
        std::istringstream fields(entry);
        for (std::string* field : {&name, &address, &port, &tag}) std::getline(fields, *field, ',');
        if (std::count(entry.begin(), entry.end(), ',') < 4 || address.size() > 79) continue;
        if (answer.result != 0 || name != last_name) answer.targets += "\n" + name;
        answer.targets += portal(address, static_cast<std::uint32_t>(std::strtol(port.c_str(), nullptr, 10)),
                                 static_cast<std::uint8_t>(std::strtol(tag.c_str(), nullptr, 10)));
        answer.result = 0;
        last_name = name;
    }
    return answer;
}

Answer read_answer() {
    _TargetInformation* list = nullptr;
    Answer answer{_GetTargetList(&list, 1), ""};
    for (const auto* target = list; target != nullptr; target = next_record(target)) {
        answer.targets += std::string{"\n"} + target->target_name;
        for (const auto* one = target->portals; one != nullptr; one = next_record(one)) {
            char address[17]{};
            std::copy_n(one->address, 16, address);
            answer.targets += portal(address, one->port, one->tpgt);
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
    if (!made || names.empty() || names.size() > 20) return;
    if (!usable(names[0]) && names[0] != "st_config") return;
    const std::string directory = database + names[0];
    host::write_file(directory + "/st_config", "");
    Entries entries;
    std::copy_if(names.begin() + 1, names.end(), std::inserter(entries, entries.end()), usable);
    for (const std::string& entry : entries) host::write_file(directory + "/" + entry, "");

    commands = 0;
    const Answer expected = expected_answer(names[0], entries);
    const Answer found = read_answer();
    static std::vector<unsigned char> buffer(20 * sizeof(_TargetInformation));
    static OpenInitiator initiator;
    unsigned int bytes = 0;
    const unsigned int status = initiator.GetTargetList(1, 0, buffer.data(), &bytes);

    host::remove(directory);
    require_equal(expected.result, found.result, "result");
    require_equal(expected.targets, found.targets, "targets");
    require_equal(expected.result == 0 ? 0 : 179, status, "status");
    const auto targets = std::count(expected.targets.begin(), expected.targets.end(), '\n');
    require_equal(targets * static_cast<long>(sizeof(_TargetInformation)), bytes, "bytes");
    require_equal(expected.result == -2 ? 2 : 0, static_cast<long>(commands), "commands");
}
