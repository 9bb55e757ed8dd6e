// The commands of login, logout and removal: their texts, how their end is judged, what they leave behind.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <tuple>

#include "kvlinopinitr/open_initiator_functions.h"
#include "tests/support/host.h"

namespace {

using Commands = std::vector<std::string>;
constexpr int exit_1 = 256;
constexpr const char* portal = "10.1.1.5";

_LoginParams request(const std::string& target = "iqn.a") {
    _LoginParams params{};
    params.target_port = 3260;
    target.copy(params.target_name, sizeof params.target_name);
    std::strcpy(params.username, "user");
    std::strcpy(params.password, "word");
    return params;
}

/// The command that runs in place of the host's: a script that finds its arguments in "$@".
void install_iscsiadm(const std::string& script) {
    const std::string path = "/run/simhost/override/iscsiadm";
    host::write_file(path, "#!/bin/bash\n" + script + "\n");
    ASSERT_EQ(chmod(path.c_str(), 0755), 0);
}

TEST(Login, WritesTheRequestedSettingsInOrderUpToTheFirstFailure) {
    const auto expect = [](_LoginParams& params, const Commands& settings, const std::string& target = "") {
        shell::forget();
        EXPECT_EQ(_LoginTarget(&params, portal), target.empty() ? 205u : 0u);
        Commands expected;
        for (const std::string& setting : settings)
            expected.push_back("iscsiadm -m node -p 10.1.1.5:3260 -o update \t\t\t-n " + setting);
        if (!target.empty())
            expected.push_back("iscsiadm -m node -l -p 10.1.1.5:3260 -T " + target + " 1&>/tmp/opiscsierr");
        EXPECT_EQ(shell::commands(), expected);
    };
    shell::answer({{0, 0, ""}});
    _LoginParams params = request();
    expect(params, {}, "iqn.a");
    const std::string auth = "node.session.auth.", conn = "node.conn[0].iscsi.", x64(64, 'x'), x20(20, 'x');
    const Commands chap = {auth + "authmethod -v CHAP", auth + "username -v user", auth + "password -v word"};
    params.auth_method = 1;
    expect(params, chap, "iqn.a");
    params.auth_method = 3;
    expect(params, chap, "iqn.a");
    std::memset(&params, 'x', sizeof params);  // everything, and no field is terminated
    params.target_port = 3260;
    params.auth_method = 2;
    const Commands digests = {conn + "HeaderDigest -v CRC32C", conn + "DataDigest -v CRC32C"};
    expect(params,
           {digests[0], digests[1], chap[0], auth + "username -v " + x64, auth + "password -v " + x20,
            auth + "username_in -v " + x64, auth + "password_in -v " + x20, "node.startup -v automatic"},
           std::string(256, 'x'));
    shell::answer({{0, 0, ""}, {exit_1, 0, ""}});
    expect(params, digests);
    params.header_digest = 0;
    shell::answer({{exit_1, 0, ""}});
    expect(params, {digests[1]});
}

TEST(Login, IsJudgedByTheFirstDecidingLineAlone) {
    const std::string noise(1'000'000, 'x');
    const std::pair<std::string, unsigned int> cases[] = {
        {"", 0},
        {"iscsiadm: NO Records FOUND\n", 199},
        {"Error: session Already Exists\n", 197},
        {"initiator reported error (8 - connection timed out)", 199},
        {"initiator reported error (19 - encountered non-retryable iSCSI login failure)", 199},
        {"initiator reported error (24 - iSCSI login failed due to authorization failure)", 199},
        {"error\nconnection timed out\nalready exists\nauthorization failure\nencountered non-retryable\n",
         0},
        {"error (15 - session exists)\n", 0},
        {"error (15)\nerror: already exists\nerror: connection timed out\n", 197},
        {"error: already exists after connection timed out\n", 197},
        {noise + "\nerror: already exists\n", 197},
        {"error: " + noise.substr(0, 511 - 7) + "already exists\n", 0},
        {"error: " + noise.substr(0, 511 - 7 - 14) + "already exists\n", 197},
    };
    for (const auto& [output, status] : cases) {
        for (const int result : {0, exit_1}) {
            shell::answer({{result, 0, output}});
            _LoginParams params = request();
            EXPECT_EQ(_LoginTarget(&params, portal), status) << output.substr(0, 200);
            EXPECT_FALSE(host::exists("/tmp/opiscsierr"));
        }
    }
}

TEST(Login, HandsTextFromOutsideToTheCommandByteForByte) {
    install_iscsiadm(R"(printf '%s\0' "$@" >>/tmp/arguments)");
    const std::string touch = "touch /tmp/owned";
    const std::string substituted = "$(" + touch + ")`" + touch + "`", quotes(223, '\'');
    const std::string all =
        "';" + touch + ";'\n" + touch + "\n\" >/tmp/owned\\ # $HOME ~ * ? [a-z] {a,b} !! & |\t\x01\xff";
    for (const std::string& text : {"iqn.x;" + touch, substituted, all, quotes, std::string{"-x"}}) {
        _LoginParams params = request(text);
        params.auth_method = 1;
        text.copy(params.username, sizeof params.username);
        host::remove("/tmp/arguments");
        EXPECT_EQ(_LoginTarget(&params, portal), 0u) << text;
        const std::string arguments = host::read_file("/tmp/arguments");
        using namespace std::string_literals;
        EXPECT_NE(arguments.find("\0-T\0"s + text + "\0"s), arguments.npos) << text;
        EXPECT_NE(arguments.find("username\0-v\0"s + text.substr(0, 64)), arguments.npos) << text;
        EXPECT_FALSE(host::exists("/tmp/owned")) << text;
    }
}

/// Every way in which a command can end, against the five that judge it, each in its own way.
TEST(Shell, EveryEndOfACommandHasItsAnswer) {
    enum Situation { usual, sigchld_ignored, stale_echild };
    const std::tuple<std::string, Situation, unsigned, unsigned, unsigned, unsigned> cases[] = {
        {"exit 0", usual, 0, 0, 0, 0},
        {"", usual, 205, 1, 0, 1},  // there is no such command
        {"kill -9 $$", usual, 205, 1, 0, 1},
        {"exit 7", stale_echild, 0, 0, 0, 0},
        {"exit 7", sigchld_ignored, 0, 0, 0, 0},
        {"echo 'iscsiadm: No Records Found' >&2; exit 21", sigchld_ignored, 199, 0, 179, 199},
        {"echo 'A Session is using it'; echo no records found; exit 15", usual, 205, 1, 167, 1},
        {"yes no news | head -c 1000000; echo no records found; exit 21", stale_echild, 199, 0, 179, 199},
    };
    host::add_session({.number = 3});
    host::write_file("/var/lib/iscsi/send_targets/10.1.1.5,3260/st_config", "");
    const std::string path = getenv("PATH");
    for (const auto& [script, situation, login, logout, remove, forget] : cases) {
        SCOPED_TRACE(script + " in situation " + std::to_string(situation));
        install_iscsiadm(script);
        setenv("PATH", script.empty() ? "/nowhere" : path.c_str(), 1);
        signal(SIGCHLD, situation == sigchld_ignored ? SIG_IGN : SIG_DFL);
        const auto after_stale = [situation = situation](auto operation) {
            host::remove("/tmp/opiscsierr");
            if (situation != stale_echild) host::write_file("/tmp/opiscsierr", "stale: no records found");
            errno = situation == stale_echild ? ECHILD : EEXIST;
            return operation();
        };
        const bool done = script == "exit 0" && situation == usual, lost = situation != usual;
        _LoginParams params = request();
        params.persistent = 1;
        unsigned char session[16] = {3};
        _TargetInformation* list = nullptr;
        EXPECT_EQ(after_stale([&] { return _LoginTarget(&params, portal); }), login);
        EXPECT_EQ(after_stale([&] { return _LogoutTarget(session); }), logout);
        EXPECT_EQ(errno == 0, lost);
        EXPECT_EQ(after_stale([&] { return _remove_iscsi_dirs(portal, 3260); }), remove);
        EXPECT_EQ(host::exists("/tmp/opiscsierr"), done) << "read, so removed";
        EXPECT_EQ(after_stale([&] { return _remove_persistent_entry("", portal, 3260, nullptr); }), forget);
        EXPECT_EQ(host::exists("/tmp/opiscsierr"), !lost) << "removed only when it was read";
        EXPECT_EQ(after_stale([&] { return _GetTargetList(&list, 0); }), -2);
        EXPECT_EQ(host::exists("/tmp/opiscsierr"), done) << "of the stale record's deletion";
    }
}

constexpr const char* capture_path = "/tmp/opiscsierr";

/// What another user may have left where output is captured, and what becomes of it.
TEST(Capture, HandsNothingToWhoeverWasThereBefore) {
    const std::string victim = "/tmp/victim", text = "untouched";
    const std::tuple<const char*, std::function<void()>, unsigned int, bool> cases[] = {
        {"nothing", [] {}, 197, false},
        {"directory", [] { host::make_directory(capture_path); }, 197, false},
        {"full directory", [] { host::write_file(std::string{capture_path} + "/x", ""); }, 0, true},
        {"FIFO", [] { mkfifo(capture_path, 0666); }, 197, false},
        {"link", [&] { host::make_link(capture_path, victim); }, 197, false},
        {"dangling link", [] { host::make_link(capture_path, "/tmp/new"); }, 197, false},
        {"second name", [&] { EXPECT_EQ(::link(victim.c_str(), capture_path), 0); }, 197, false},
        {"device", [] { EXPECT_EQ(mknod(capture_path, S_IFCHR | 0600, 0), 0); }, 0, true},
        {"our own", [] { host::write_file(capture_path, "iscsiadm: no records found"); }, 197, false},
    };
    umask(0);
    alarm(60);  // for whoever waits for the other end of a FIFO
    for (const auto& [what, leave_there, status, stays] : cases) {
        SCOPED_TRACE(what);
        host::remove(capture_path);
        host::write_file(victim, text);
        install_iscsiadm("stat -c %a /tmp/opiscsierr >/tmp/mode; echo 'error: already exists'; exit 15");
        leave_there();
        _LoginParams params = request();
        EXPECT_EQ(_LoginTarget(&params, portal), status);
        EXPECT_EQ(host::exists(capture_path), stays);
        EXPECT_EQ(host::read_file(victim), text);
        EXPECT_FALSE(host::exists("/tmp/new"));
        EXPECT_TRUE(what != std::string{"nothing"} || host::read_file("/tmp/mode") == "600\n");
    }
}

TEST(Capture, ReadsNothingElseBack) {
    host::write_file("/tmp/lie", "error: already exists\n");
    alarm(60);
    for (const char* swap : {"ln -s /tmp/lie", "mkfifo", "mkdir"}) {
        install_iscsiadm("rm -f /tmp/opiscsierr; " + std::string{swap} + " /tmp/opiscsierr; exit 15");
        _LoginParams params = request();
        EXPECT_EQ(_LoginTarget(&params, portal), 0u) << swap;
    }
}

TEST(Capture, LeavesAnotherUsersFileAlone) {
    const std::string theirs = "/tmp/theirs";
    host::write_file(capture_path, "theirs");
    host::remove(theirs);
    if (chown(capture_path, 1, 1) != 0) GTEST_SKIP() << "no other user here";
    const int file = open(capture_path, O_RDONLY | O_CLOEXEC);
    install_iscsiadm("echo 'error: already exists'; exit 15");
    _LoginParams params = request();
    EXPECT_EQ(_LoginTarget(&params, portal), 197u);
    struct stat status {};
    fstat(file, &status);
    EXPECT_EQ(status.st_size, 6) << "removed, not written";
    close(file);
}

TEST(Commands, QuoteTheAddressTextsThatTheyAreGiven) {
    shell::answer({{0, 0, ""}});
    const char* hostile = "1.2.3.4;touch /tmp/owned";
    _LoginParams params = request();
    params.persistent = 1;
    _TargetInformation* list = nullptr;
    unsigned int count = 0;
    _LoginTarget(&params, hostile);
    _remove_iscsi_dirs(hostile, 3260);
    _remove_persistent_entry(nullptr, hostile, 3260, nullptr);
    EXPECT_EQ(_DiscoverTarget(hostile, 3260, &list, &count), 179u);
    EXPECT_EQ(shell::commands().size(), 5U);
    for (const std::string& command : shell::commands()) {
        EXPECT_NE(command.find(" '1.2.3.4;touch /tmp/owned:3260'"), command.npos) << command;
    }
}

TEST(Commands, HaveTheirExactTextsAndCaptureWhereTheAgentSays) {
    shell::answer({{0, 0, ""}});
    host::add_session({.number = 3});
    tmperrfile = "/tmp/el sewhere";
    const std::string capture = " 1&>'/tmp/el sewhere'", node = "iscsiadm -m node -p 10.1.1.5:";
    unsigned char session[16] = {3}, unknown[16] = {4};
    EXPECT_EQ(_LogoutTarget(unknown), 166u);
    EXPECT_EQ(_LogoutTarget(session), 0u);
    EXPECT_EQ(_remove_iscsi_dirs(portal, 65536 + 3260), 0u);
    EXPECT_EQ(_remove_persistent_entry(nullptr, portal, 65536, nullptr), 0u);
    EXPECT_EQ(shell::commands(),
              (Commands{"iscsiadm -m session -r 3 -u", node + "3260 -o delete" + capture,
                        node + "65536 -o update \t\t-n node.startup -v manual" + capture}));
    EXPECT_TRUE(host::exists(tmperrfile)) << "a success leaves it";
    _LoginParams params = request();
    EXPECT_EQ(_LoginTarget(&params, portal), 0u);
    EXPECT_FALSE(host::exists(tmperrfile));
}

}  // namespace
