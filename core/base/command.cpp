#include "core/base/command.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>

#include "kvlinopinitr/open_initiator_functions.h"

const char* tmperrfile = "/tmp/opiscsierr";

namespace opinit {
namespace {

bool plain_to_the_shell(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view{"._:,@%+=/-"}.find(c) != std::string_view::npos;
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
    return text(" 1&>").word(captured_output_path());
}

ShellResult run_shell(const char* command) {
    const int status = std::system(command);
    if (status == 0) return {Outcome::done, status};
    if (errno != ECHILD) return {Outcome::failed, status};
    errno = 0;
    return {Outcome::result_lost, status};
}

int run_command(const char* command) {
    return run_shell(command).outcome == Outcome::failed ? 1 : 0;
}

const char* captured_output_path() {
    return tmperrfile != nullptr ? tmperrfile : "";
}

void remove_captured_output() {
    ::unlink(captured_output_path());
}

std::string lower_case(std::string_view line) {
    std::string lowered{line};
    std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                   [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
    return lowered;
}

}  // namespace opinit
