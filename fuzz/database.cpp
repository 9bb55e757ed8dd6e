// The input is the name of a portal's directory, then a line for the name of each of its entries.
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "fuzz/fuzz.h"
#include "kvlinopinitr/open_initiator.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "tests/support/host.h"

namespace {

const std::string database = "/var/lib/iscsi/send_targets/";
std::vector<std::string> commands;

/// Up to the next comma, which goes too; false when there is none.
bool take_field(std::string& text, std::string& field) {
    const std::size_t comma = text.find(',');
    if (comma == std::string::npos) return false;
    field = text.substr(0, comma);
    text.erase(0, comma + 1);
    return true;
}

long number(const std::string& text) {
    return std::strtol(text.c_str(), nullptr, 10);
}

struct Answer {
    int result = 0;
    std::string targets;  ///< "NAME ADDRESS:PORT,TAG...\n" for each
};

std::string portal(const std::string& address, std::uint32_t port, std::uint8_t tag) {
    return " " + address.substr(0, 16) + ":" + std::to_string(port) + "," + std::to_string(tag);
}

Answer expected_answer(std::string directory, std::vector<std::string> entries) {
    if (directory == "st_config") return {-1, ""};
    Answer answer{179, ""};
    std::string address, port, tag, name, last_name, rest = directory + ",";
    if (!take_field(rest, address) || !take_field(rest, port)) return answer;
    // The directory is looked for under the name that its first two pieces make.
    if (directory != address + "," + port) return answer;
    if (entries.empty()) return {-2, ""};
    std::sort(entries.begin(), entries.end(), [](const std::string& left, const std::string& right) {
        return ::strverscmp(left.c_str(), right.c_str()) < 0;
    });
    for (std::string entry : entries) {
        if (!take_field(entry, name) || !take_field(entry, address) || !take_field(entry, port) ||
            !take_field(entry, tag) || address.size() > 79)
            continue;
        if (answer.result != 0 || name != last_name) answer.targets += (answer.result ? "" : "\n") + name;
        answer.targets +=
            portal(address, static_cast<std::uint32_t>(number(port)), static_cast<std::uint8_t>(number(tag)));
        answer.result = 0;
        last_name = name;
    }
    return answer;
}

Answer read_answer() {
    _TargetInformation* list = nullptr;
    Answer answer{_GetTargetList(&list, 1), ""};
    for (const auto* target = list; target != nullptr; target = next_record(target)) {
        answer.targets += (target == list ? "" : "\n") + std::string{target->target_name};
        for (const auto* one = target->portals; one != nullptr; one = next_record(one)) {
            char address[17]{};
            std::copy_n(one->address, 16, address);
            answer.targets += portal(address, one->port, one->tpgt);
        }
    }
    FreeTargetList(list);
    return answer;
}

bool usable(const std::string& name, const std::set<std::string>& taken) {
    return !name.empty() && name != "." && name != ".." && name.size() < 256 && !taken.contains(name) &&
           name.find_first_of(std::string_view{"/\0", 2}) == std::string::npos;
}

}  // namespace

/// Stands in for the C library's: commands are not run.
extern "C" int system(const char* command) {
    commands.emplace_back(command);
    return 0;
}

void fuzz::try_input(const std::string& input) {
    static const bool made = (host::remove("/etc/iscsi/send_targets"), host::remove(database),
                              host::make_directory(database), host::start_stack(), true);
    const auto names = words(input, "\n");
    if (!made || names.empty() || names.size() > 20 || !usable(names[0], {})) return;
    const std::string directory = database + names[0];
    std::set<std::string> entries;
    mkdir(directory.c_str(), 0700);
    put((directory + "/st_config").c_str(), "");
    for (std::size_t i = 1; i < names.size(); ++i) {
        if (names[i] == "st_config" || !usable(names[i], entries)) continue;
        put((directory + "/" + names[i]).c_str(), "");
        entries.insert(names[i]);
    }

    commands.clear();
    const Answer expected = expected_answer(names[0], {entries.begin(), entries.end()});
    const Answer found = read_answer();
    static std::vector<unsigned char> buffer(20 * sizeof(_TargetInformation));
    static OpenInitiator initiator;
    unsigned int bytes = 0;
    const unsigned int status = initiator.GetTargetList(1, 0, buffer.data(), &bytes);

    for (const std::string& entry : entries) unlink((directory + "/" + entry).c_str());
    unlink((directory + "/st_config").c_str());
    rmdir(directory.c_str());
    require_equal(std::to_string(expected.result), std::to_string(found.result), "result");
    require_equal(expected.targets, found.targets, "targets");
    require_equal(expected.result == 0 ? "0" : "179", std::to_string(status), "status");
    const auto lines = std::count(expected.targets.begin(), expected.targets.end(), '\n');
    const auto targets = expected.result == 0 ? static_cast<std::size_t>(lines) + 1 : 0;
    require_equal(std::to_string(targets * sizeof(_TargetInformation)), std::to_string(bytes), "bytes");
    require_equal(expected.result == -2 ? "2" : "0", std::to_string(commands.size()), "commands");
}
