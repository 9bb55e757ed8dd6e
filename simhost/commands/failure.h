#pragma once

#include <stdexcept>
#include <string>

namespace simhost {

// Ends the command: main() prints the text behind the command's name and exits with the code.
struct Failure : std::runtime_error {
    Failure(int code, const std::string& text) : std::runtime_error(text), exit_code(code) {}
    int exit_code;
};

// iscsiadm's exit codes, which also number the errors that the initiator daemon reports.
namespace status {
inline constexpr int ok = 0;
inline constexpr int no_connection = 4;
inline constexpr int database = 6;
inline constexpr int invalid = 7;
inline constexpr int timed_out = 8;
inline constexpr int internal_error = 9;
inline constexpr int pdu_timed_out = 11;
inline constexpr int session_exists = 15;
inline constexpr int login_refused = 19;
inline constexpr int no_daemon = 20;
inline constexpr int none_found = 21;
inline constexpr int no_session_info = 22;
inline constexpr int not_authorized = 24;
}  // namespace status

}  // namespace simhost
