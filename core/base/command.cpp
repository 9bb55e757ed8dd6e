#include "core/base/command.h"

#include <dlfcn.h>
#include <gnu/libc-version.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <string>

namespace opinit {
namespace {

bool plain_to_the_shell(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view{"._:,@%+=/-"}.find(c) != std::string_view::npos;
}

/// Whether the program has a `system` of its own in the place of the C library's.
bool system_is_replaced() {
    Dl_info system{};
    Dl_info c_library{};
    ::dladdr(reinterpret_cast<void*>(&std::system), &system);
    ::dladdr(reinterpret_cast<void*>(&::gnu_get_libc_version), &c_library);
    return system.dli_fbase != c_library.dli_fbase;
}

bool shell_is_bash() {
    std::string path = "/bin/sh";
    // Some distributions have a link of the same name in between.
    for (int links = 0; links < 2 && path.ends_with("/sh"); ++links) {
        std::array<char, 4096> target;
        const ssize_t size = ::readlink(path.c_str(), target.data(), target.size());
        path.assign(target.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    }
    return std::string_view{path}.substr(path.rfind('/') + 1) == "bash";
}

}  // namespace

Command& Command::text(std::string_view part) {
    text_.append(part);
    return *this;
}

Command& Command::number(int value) {
    return text(std::to_string(value));
}

Command& Command::word(std::string_view outside) {
    if (std::all_of(outside.begin(), outside.end(), plain_to_the_shell)) return text(outside);
    text("'");
    for (const char& c : outside) text(c == '\'' ? std::string_view{"'\\''"} : std::string_view{&c, 1});
    return text("'");
}

Command& Command::capture() {
    // Whoever replaces `system` wants to see the contract's texts.
    if (system_is_replaced() || shell_is_bash()) return text(" 1&>").word(captured_output_path());
    return text(" 1 >").word(captured_output_path()).text(" 2>&1");
}

ShellResult run_shell(const char* command) {
    const int status = std::system(command);
    if (status == 0) return {Outcome::done, status};
    if (errno != ECHILD) return {Outcome::failed, status};
    errno = 0;
    return {Outcome::result_lost, status};
}

ShellResult run_captured(const char* command) {
    make_way_for_captured_output();
    return run_shell(command);
}

int run_command(const char* command) {
    return run_shell(command).outcome == Outcome::failed ? 1 : 0;
}

std::string lower_case(std::string_view line) {
    std::string lowered{line};
    std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                   [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
    return lowered;
}

}  // namespace opinit
