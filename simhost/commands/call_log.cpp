#include "call_log.h"

#include <cctype>
#include <cstdio>
#include <fstream>

#include "failure.h"
#include "files.h"

namespace simhost {
namespace {

bool is_control(char c) {
    return std::iscntrl(static_cast<unsigned char>(c)) != 0;
}

bool is_plain(char c) {
    // Brackets stay readable: node.conn[0] is in every other call.
    constexpr std::string_view marks = "._:,@%+=/-[]";
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || marks.find(c) != std::string_view::npos;
}

std::string control_quoted(std::string_view text) {
    std::string word = "$'";
    for (const char c : text) {
        if (is_control(c)) {
            char escape[5];
            std::snprintf(escape, sizeof escape, "\\x%02x",
                          static_cast<unsigned>(static_cast<unsigned char>(c)));
            word += escape;
        } else {
            if (c == '\'' || c == '\\') word += '\\';
            word += c;
        }
    }
    return word + "'";
}

std::string single_quoted(std::string_view text) {
    std::string word = "'";
    for (const char c : text) {
        if (c == '\'') {
            word += "'\\''";
        } else {
            word += c;
        }
    }
    return word + "'";
}

bool all_plain(std::string_view text) {
    for (const char c : text) {
        if (!is_plain(c)) return false;
    }
    return !text.empty();
}

}  // namespace

std::string shell_word(std::string_view text) {
    if (all_plain(text)) return std::string(text);
    for (const char c : text) {
        if (is_control(c)) return control_quoted(text);
    }
    return single_quoted(text);
}

void log_call(std::string_view name, int argc, char** argv) {
    std::string line(name);
    for (int i = 1; i < argc; ++i) line.append(" ").append(shell_word(argv[i]));
    std::ofstream log(run_directory / "calls.log", std::ios::app);
    log << line + "\n" << std::flush;
    if (!log) throw Failure(2, "cannot append to " + (run_directory / "calls.log").string());
}

}  // namespace simhost
