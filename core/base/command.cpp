#include "core/base/command.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>

#include "core/base/captured_output.h"

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
