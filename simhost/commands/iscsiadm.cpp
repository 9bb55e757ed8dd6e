#include "iscsiadm.h"

#include <getopt.h>

#include <cstdio>
#include <filesystem>

#include "commands.h"
#include "daemon.h"
#include "failure.h"
#include "files.h"
#include "login.h"

namespace simhost {
namespace {

constexpr const char* short_options = "m:t:p:T:o:n:v:r:lk:uL:U:";
constexpr option long_options[] = {
    {"mode", required_argument, nullptr, 'm'},      {"type", required_argument, nullptr, 't'},
    {"portal", required_argument, nullptr, 'p'},    {"targetname", required_argument, nullptr, 'T'},
    {"op", required_argument, nullptr, 'o'},        {"name", required_argument, nullptr, 'n'},
    {"value", required_argument, nullptr, 'v'},     {"sid", required_argument, nullptr, 'r'},
    {"login", no_argument, nullptr, 'l'},           {"killiscsid", required_argument, nullptr, 'k'},
    {"logout", no_argument, nullptr, 'u'},          {"loginall", required_argument, nullptr, 'L'},
    {"logoutall", required_argument, nullptr, 'U'}, {nullptr, 0, nullptr, 0},
};

// A stubborn daemon does not end: that is how it survives its stop script, while a signal still ends it.
int shut_down_daemon() {
    if (!daemon_answers()) {
        complain("can not connect to iSCSI daemon (111)!");
        complain(reported_error(status::no_daemon));
        complain("Could not stop iscsid. Trying sending iscsid SIGTERM or SIGKILL signals manually");
    } else if (!std::filesystem::exists(run_directory / "stubborn-daemon")) {
        end_daemon(DaemonPart::worker);
        end_daemon(DaemonPart::service);
    }
    return status::ok;
}

void take_option(Request& request, int letter) {
    switch (letter) {
        case 'm':
            request.mode = optarg;
            break;
        case 't':
            request.type = optarg;
            break;
        case 'p':
            request.nodes.portal = parse_portal(optarg);
            break;
        case 'T':
            if (*optarg != '\0') request.nodes.target = optarg;
            break;
        case 'o':
            request.operation = optarg;
            break;
        case 'n':
            request.name = optarg;
            break;
        case 'v':
            request.value = optarg;
            break;
        case 'r':
            request.session = optarg;
            break;
        case 'l':
            request.login = true;
            break;
        case 'u':
            request.logout = true;
            break;
        case 'L':
            request.login_all = optarg;
            break;
        case 'U':
            request.logout_all = optarg;
            break;
        default:
            throw Failure(status::invalid, request.mode + " mode: option '-?' is not allowed/supported");
    }
}

}  // namespace

void complain(const std::string& text) {
    std::fprintf(stderr, "iscsiadm: %s\n", text.c_str());
}

void refuse(const Request& request) {
    throw Failure(status::invalid, request.mode + " mode: this combination of options is not simulated");
}

// Arguments that are no options are passed over: captured calls have a stray "1" from the shell.
int iscsiadm(int argc, char** argv) {
    Request request;
    for (int letter = 0; (letter = ::getopt_long(argc, argv, short_options, long_options, nullptr)) != -1;) {
        if (letter == 'k') return shut_down_daemon();
        take_option(request, letter);
    }
    if (request.mode == "discovery") return discovery_mode(request);
    if (request.mode == "node") return node_mode(request);
    if (request.mode == "session") return session_mode(request);
    throw Failure(status::invalid,
                  "no such mode: '" + request.mode + "' (discovery, node and session are simulated)");
}

}  // namespace simhost
