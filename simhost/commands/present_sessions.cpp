#include <getopt.h>

#include <charconv>
#include <cstdio>
#include <string>
#include <string_view>

#include "commands.h"
#include "failure.h"
#include "files.h"
#include "record.h"
#include "session_entries.h"
#include "session_state.h"

// add-session, remove-session and session-state: sessions for tests and demonstrations that need no login.

namespace simhost {
namespace {

constexpr option long_options[] = {
    {"target", required_argument, nullptr, 't'},
    {"address", required_argument, nullptr, 'a'},
    {"port", required_argument, nullptr, 'p'},
    {"initiator-address", required_argument, nullptr, 'i'},
    {"lun", required_argument, nullptr, 'l'},
    {"sid", required_argument, nullptr, 's'},
    {"host", required_argument, nullptr, 'h'},
    {"count", required_argument, nullptr, 'c'},
    {nullptr, 0, nullptr, 0},
};

constexpr int usage_error = 2;

struct Request {
    SessionDetails details;
    unsigned count = 1;
};

unsigned number_argument(const char* text) {
    const auto number = parse_number(text);
    if (!number) throw Failure(usage_error, std::string("not a number: ") + text);
    return *number;
}

std::string take_field(std::string_view& text) {
    const auto end = text.find(':');
    std::string field(text.substr(0, end));
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
    return field;
}

// NUMBER:SIZE_BYTES:VENDOR:MODEL, where the model may hold colons.
Lun parse_lun(std::string_view text) {
    Lun lun;
    lun.number = number_argument(take_field(text).c_str());
    const std::string size = take_field(text);
    const auto [end, error] = std::from_chars(size.data(), size.data() + size.size(), lun.size_bytes);
    if (error != std::errc() || *end != '\0') throw Failure(usage_error, "not a size in bytes: " + size);
    lun.vendor = take_field(text);
    lun.model = text;
    return lun;
}

void take_option(Request& request, int letter) {
    SessionDetails& details = request.details;
    switch (letter) {
        case 't':
            details.target = optarg;
            break;
        case 'a':
            details.portal.address = optarg;
            break;
        case 'p':
            details.portal.port = number_argument(optarg);
            break;
        case 'i':
            details.initiator_address = optarg;
            break;
        case 'l':
            details.luns.push_back(parse_lun(optarg));
            break;
        case 's':
            details.sid = number_argument(optarg);
            break;
        case 'h':
            details.host = number_argument(optarg);
            break;
        case 'c':
            request.count = number_argument(optarg);
            break;
        default:
            throw Failure(usage_error, "simhost/commands/README.md lists the options");
    }
}

Request parse_request(int argc, char** argv) {
    Request request;
    for (int letter = 0; (letter = ::getopt_long(argc, argv, "", long_options, nullptr)) != -1;) {
        take_option(request, letter);
    }
    if (optind < argc) throw Failure(usage_error, std::string("unexpected argument: ") + argv[optind]);
    if (request.details.target.empty() || request.details.portal.address.empty()) {
        throw Failure(usage_error, "--target and --address are needed");
    }
    return request;
}

// "%d" in the target name stands for the session number, so that many sessions can have many targets.
std::string numbered(std::string name, unsigned sid) {
    const auto place = name.find("%d");
    return place == name.npos ? name : name.replace(place, 2, std::to_string(sid));
}

SessionState parse_state(std::string_view text) {
    if (text == "up") return SessionState::up;
    if (text == "recovering") return SessionState::recovering;
    if (text == "failed") return SessionState::failed;
    throw Failure(usage_error, "a session is up, recovering or failed");
}

[[noreturn]] void fail_for_missing(unsigned sid) {
    throw Failure(1, "there is no session " + std::to_string(sid));
}

}  // namespace

int add_session(int argc, char** argv) {
    const Request request = parse_request(argc, argv);
    for (unsigned i = 0; i < request.count; ++i) {
        SessionDetails details = request.details;
        details.initiator_name = configured_initiator_name();
        details.sid = request.details.sid ? *request.details.sid + i : take_session_number();
        if (details.host) *details.host += i;
        details.target = numbered(details.target, *details.sid);
        std::printf("%u\n", create_session(details));
    }
    return 0;
}

int drop_session(int argc, char** argv) {
    if (argc != 2) throw Failure(usage_error, "one session number is needed");
    const unsigned sid = number_argument(argv[1]);
    if (!remove_session(sid)) fail_for_missing(sid);
    return 0;
}

int session_state(int argc, char** argv) {
    if (argc != 3) throw Failure(usage_error, "a session number and a state are needed");
    const unsigned sid = number_argument(argv[1]);
    if (!set_session_state(sid, parse_state(argv[2]))) fail_for_missing(sid);
    return 0;
}

}  // namespace simhost
