#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "commands.h"
#include "daemon.h"
#include "failure.h"
#include "files.h"
#include "processes.h"
#include "systemd.h"

// systemd has two units of the initiator: the daemon, and the socket that brings it up when somebody
// connects.

namespace fs = std::filesystem;

namespace simhost {
namespace {

namespace exit_status {
constexpr int failed = 1;
constexpr int not_running = 3;
constexpr int unknown = 4;
constexpr int not_loaded = 5;
}  // namespace exit_status

enum class Unit { service, socket };

std::string full_name(std::string_view name) {
    return std::string(name) + (name.find('.') == name.npos ? ".service" : "");
}

std::optional<Unit> find_unit(const std::string& name) {
    if (name == "iscsid.service") return Unit::service;
    if (name == "iscsid.socket") return Unit::socket;
    return std::nullopt;
}

bool is_active(Unit unit) {
    if (unit == Unit::socket) return fs::exists(listening_socket);
    return !daemon_processes(DaemonPart::service).empty();
}

int start(Unit unit) {
    if (unit == Unit::socket) {
        write_file(listening_socket, "");
        return 0;
    }
    if (start_service()) return 0;
    std::fputs(
        "Job for iscsid.service failed because the control process exited with error code.\n"
        "See \"systemctl status iscsid.service\" and \"journalctl -xeu iscsid.service\" for details.\n",
        stderr);
    return exit_status::failed;
}

void stop(Unit unit) {
    if (unit == Unit::socket) {
        fs::remove(listening_socket);
    } else {
        end_daemon(DaemonPart::service);
    }
}

void warn_of_socket(Unit stopped) {
    if (stopped == Unit::socket || !is_active(Unit::socket)) return;
    std::fputs("Warning: Stopping iscsid.service, but it can still be activated by:\n  iscsid.socket\n",
               stderr);
}

int change(std::string_view verb, const std::string& name) {
    const std::optional<Unit> unit = find_unit(name);
    if (!unit) {
        std::fprintf(stderr, "Failed to %s %s: Unit %s not %s.\n", std::string(verb).c_str(), name.c_str(),
                     name.c_str(), verb == "stop" ? "loaded" : "found");
        return exit_status::not_loaded;
    }
    if (verb == "start") return is_active(*unit) ? 0 : start(*unit);
    stop(*unit);
    if (verb == "restart") return start(*unit);
    warn_of_socket(*unit);
    return 0;
}

int show(std::string_view verb, const std::string& name) {
    const std::optional<Unit> unit = find_unit(name);
    const char* state = unit && is_active(*unit) ? "active" : "inactive";
    if (verb == "is-active") {
        std::puts(state);
    } else if (unit) {
        std::printf("%s\n     Active: %s\n", name.c_str(), state);
    } else {
        std::fprintf(stderr, "Unit %s could not be found.\n", name.c_str());
    }
    if (!unit) return exit_status::unknown;
    return is_active(*unit) ? 0 : exit_status::not_running;
}

}  // namespace

bool start_service() {
    const pid_t child = ::fork();
    if (child == 0) {
        leave_caller();
        ::execl("/sbin/iscsid", "/sbin/iscsid", "-f", static_cast<char*>(nullptr));
        ::_exit(1);
    }
    bool ended = child < 0;
    wait_until([child, &ended] {
        ended = ended || ::waitpid(child, nullptr, WNOHANG) != 0;
        return ended || is_active(Unit::service);
    });
    return !ended;
}

// One unit after the other; what is wrong with one keeps none of the others.
int systemctl(int argc, char** argv) {
    const std::string_view verb = argc > 1 ? argv[1] : "";
    const bool changes = verb == "start" || verb == "stop" || verb == "restart";
    if ((!changes && verb != "status" && verb != "is-active") || argc < 3) {
        throw Failure(exit_status::failed,
                      "start, stop, restart, status and is-active of units are simulated");
    }
    int code = 0;
    for (int i = 2; i < argc; ++i) {
        const std::string name = full_name(argv[i]);
        const int result = changes ? change(verb, name) : show(verb, name);
        if (result != 0) code = result;
    }
    return code;
}

}  // namespace simhost
