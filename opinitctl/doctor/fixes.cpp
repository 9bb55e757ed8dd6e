#include "doctor/fixes.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <thread>

#include "doctor/host.h"
#include "errors.h"
#include "host/daemon.h"
#include "kvlinopinitr/open_initiator.h"
#include "running/operation.h"

namespace opinitctl::doctor {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

void start() {
    OpenInitiator initiator;
    const Task task = {"start the stack"};
    require_success(initiator, task.what, run(task, [&] { return initiator.StartInitiator(the_initiator); }));
}

bool is_gone(const std::string& process) {
    for (int i = 0; i < 100; ++i) {
        if (command_line(process).empty()) return true;
        std::this_thread::sleep_for(20ms);
    }
    return false;
}

void end_daemon(const std::string& process) {
    // The number may have passed on to another process since it was found.
    if (const auto words = command_line(process); words.empty() || !words.front().ends_with("iscsid")) return;
    for (const int signal : {SIGTERM, SIGKILL}) {
        kill(std::stoi(process), signal);
        if (is_gone(process)) return;
    }
    throw Failure("process " + process + " does not end");
}

/// What open-iscsi's own generator of names prints.
std::string generated_name() {
    FILE* const command = popen("iscsi-iname 2>/dev/null", "re");
    if (command == nullptr) return "";
    char line[256] = {};
    const bool printed = std::fgets(line, sizeof line, command) != nullptr;
    pclose(command);
    const std::string name = printed ? line : "";
    return name.substr(0, name.find('\n'));
}

void write_new_file(const std::string& path, const std::string& content) {
    FILE* const file = std::fopen(path.c_str(), "wx");
    const bool written = file != nullptr && std::fputs(content.c_str(), file) >= 0;
    if (file == nullptr || std::fclose(file) != 0 || !written)
        throw std::system_error(errno, std::generic_category(), "cannot write " + path);
}

/// A path as a shell takes it: the names of targets stand in some.
std::string quoted(const std::string& path) {
    if (path.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._:,-") ==
        path.npos)
        return path;
    std::string text = "'";
    for (const char character : path) text += character == '\'' ? "'\\''" : std::string(1, character);
    return text + '\'';
}

std::string chmod_command(mode_t mode, const std::string& path) {
    char digits[8];
    std::snprintf(digits, sizeof digits, "%04o", mode & 07777);
    return std::string("chmod ") + digits + ' ' + quoted(path);
}

}  // namespace

Fix start_stack() {
    return {"start the stack", "opinitctl stop", start};
}

Fix replace_daemon(const std::string& process) {
    return {"end process " + process + " and start the stack; sessions stay", "opinitctl stop", [process] {
                end_daemon(process);
                start();
            }};
}

std::optional<Fix> name_initiator(const std::string& name_file) {
    const std::string name = generated_name();
    if (name.empty()) return std::nullopt;
    return Fix{"write the new name " + name + " into " + name_file, "rm " + name_file,
               [=] { write_new_file(name_file, "InitiatorName=" + name + "\n"); }};
}

Fix make_link(const std::string& path, const std::string& target) {
    const bool is_link = fs::is_symlink(path);
    return {"make " + path + " a link to " + target,
            is_link ? "ln -sfn " + fs::read_symlink(path).string() + ' ' + path : "rm " + path, [=] {
                const std::string link = path + ".new";
                fs::create_symlink(target, link);
                fs::rename(link, path);
            }};
}

Fix create_empty(const std::string& path) {
    return {"make an empty " + path, "rm " + path, [=] { write_new_file(path, ""); }};
}

Fix change_mode(const std::vector<std::string>& paths, unsigned int add, unsigned int take) {
    Fix fix;
    std::vector<std::pair<std::string, mode_t>> modes;
    for (const std::string& path : paths) {
        struct stat entry = {};
        stat(path.c_str(), &entry);
        modes.emplace_back(path, ((entry.st_mode | add) & ~take) & 07777);
        const std::string separator = fix.what.empty() ? "" : "; ";
        fix.what += separator + chmod_command(modes.back().second, path);
        fix.undo += separator + chmod_command(entry.st_mode, path);
    }
    fix.apply = [modes] {
        for (const auto& [path, mode] : modes) {
            if (chmod(path.c_str(), mode) != 0)
                throw std::system_error(errno, std::generic_category(), "cannot change the mode of " + path);
        }
    };
    return fix;
}

}  // namespace opinitctl::doctor
