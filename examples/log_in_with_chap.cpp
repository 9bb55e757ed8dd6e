// Discovers the targets of a portal and logs in to one of them with CHAP. The secret comes on standard input.
//
//     log_in_with_chap ADDRESS PORT TARGET USER <SECRET_FILE
#include <arpa/inet.h>
#include <kvlinopinitr/answer_buffer.h>
#include <kvlinopinitr/iscsi_records.h>
#include <kvlinopinitr/iscsi_status.h>
#include <kvlinopinitr/open_initiator.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

namespace {

using kvlinopinitr::AnswerBuffer;

constexpr int the_initiator = 1;

/// Fields of a request are NUL-terminated: a longer text would be cut without a word.
template <std::size_t size>
void fill(char (&field)[size], const std::string& text) {
    if (text.size() >= size)
        throw std::runtime_error("longer than " + std::to_string(size - 1) + ": " + text);
    std::memcpy(field, text.c_str(), text.size() + 1);
}

/// Reads the secret where it goes, so that no copy of it stays behind.
void read_secret(char (&field)[20]) {
    const ssize_t size = read(STDIN_FILENO, field, sizeof field - 1);
    field[size > 0 ? size : 0] = '\0';
    field[std::strcspn(field, "\n")] = '\0';
    if (field[0] == '\0') throw std::runtime_error("no secret on standard input");
}

/// Status 0 says that no known phrase of a failure was printed. Whether there is a session, the sessions say.
bool has_session(OpenInitiator& initiator, const std::string& target) {
    AnswerBuffer<_SessionInformation> sessions;
    unsigned int count = 0;
    initiator.QuerySessionList(sessions.data(), &count, sessions.bytes());
    for (const _SessionInformation& session : sessions.records()) {
        if (session.TargetName == target) return true;
    }
    return false;
}

void require(OpenInitiator& initiator, const char* task, unsigned int status) {
    if (status == iscsi_status::success) return;
    throw std::runtime_error(std::string(task) + ": " + std::to_string(status) + ": " +
                             initiator.GetErrStr(static_cast<int>(status)));
}

void log_in(char** arguments) {
    OpenInitiator initiator;
    _LoginParams params{};
    params.node_index = the_initiator;
    params.auth_method = 1;  // CHAP, by the initiator only
    if (inet_pton(AF_INET, arguments[1], params.target_address) != 1) {
        throw std::runtime_error(std::string("no IPv4 address: ") + arguments[1]);
    }
    params.target_port = static_cast<std::uint16_t>(std::atoi(arguments[2]));
    fill(params.target_name, arguments[3]);
    fill(params.username, arguments[4]);
    read_secret(params.password);

    AnswerBuffer<_TargetInformation> targets;
    unsigned int count = 0;
    require(initiator, "discovery",
            initiator.DiscoverTarget(the_initiator, params.target_address, params.target_port, nullptr,
                                     targets.data(), &count, targets.bytes()));
    const unsigned int status = initiator.LoginTarget(&params);
    explicit_bzero(&params, sizeof params);
    require(initiator, "login", status);
    if (!has_session(initiator, arguments[3]))
        throw std::runtime_error("login: done, but there is no session");
    std::printf("logged in to %s\n", arguments[3]);
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 5) {
        std::fprintf(stderr, "usage: log_in_with_chap ADDRESS PORT TARGET USER <SECRET_FILE\n");
        return 2;
    }
    try {
        log_in(arguments);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
