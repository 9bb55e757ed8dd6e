// The commands of login, logout and removal: their texts, how their end is judged, and what they leave
// behind.
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "include/open_initiator_functions.h"
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
    std::strcpy(params.password, "secret");
    return params;
}

/// The command that runs in place of the host's: a script that finds its arguments in "$@".
void install_iscsiadm(const std::string& script) {
    const std::string path = "/run/simhost/override/iscsiadm";
    host::write_file(path, "#!/bin/bash\n" + script + "\n");
    ASSERT_EQ(chmod(path.c_str(), 0755), 0);
}

TEST(Login, WritesTheRequestedSettingsInOrderUpToTheFirstFailure) {
    const Commands chap = {"node.session.auth.authmethod -v CHAP", "node.session.auth.username -v user",
                           "node.session.auth.password -v secret"};
    const std::string x64(64, 'x'), x20(20, 'x');
    const Commands everything = {
        "node.conn[0].iscsi.HeaderDigest -v CRC32C", "node.conn[0].iscsi.DataDigest -v CRC32C",
        "node.session.auth.authmethod -v CHAP",      "node.session.auth.username -v " + x64,
        "node.session.auth.password -v " + x20,      "node.session.auth.username_in -v " + x64,
        "node.session.auth.password_in -v " + x20,   "node.startup -v automatic"};
    const auto ask_everything_unterminated = [](_LoginParams& p) {
        std::memset(&p, 'x', sizeof p);
        p.target_port = 3260;
        p.auth_method = 2;
    };
    const shell::Answer done{0, 0, ""}, failed{exit_1, 0, ""};
    struct {
        void (*ask)(_LoginParams&);
        Commands updates;
        std::string target;  // empty: the last update fails
    } const cases[] = {
        {[](_LoginParams&) {}, {}, "iqn.a"},
        {[](_LoginParams& p) { p.header_digest = 1; }, {everything[0]}, "iqn.a"},
        {[](_LoginParams& p) { p.auth_method = 1; }, chap, "iqn.a"},
        {[](_LoginParams& p) { p.auth_method = 3; }, chap, "iqn.a"},
        {ask_everything_unterminated, everything, std::string(256, 'x')},
        {ask_everything_unterminated, {everything[0], everything[1]}, ""},
    };
    for (const auto& [ask, updates, target] : cases) {
        _LoginParams params = request();
        ask(params);
        shell::forget();
        shell::answer({done, target.empty() ? failed : done, done});
        EXPECT_EQ(_LoginTarget(&params, portal), target.empty() ? 205u : 0u);
        Commands expected;
        for (const std::string& setting : updates)
            expected.push_back("iscsiadm -m node -p 10.1.1.5:3260 -o update \t\t\t-n " + setting);
        if (!target.empty())
            expected.push_back("iscsiadm -m node -l -p 10.1.1.5:3260 -T " + target + " 1&>/tmp/opiscsierr");
        EXPECT_EQ(shell::commands(), expected);
    }
}

TEST(Login, IsJudgedByTheFirstDecidingLineAlone) {
    const std::string noise(1'000'000, 'x');
    struct {
        std::string output;
        unsigned int status;
    } const cases[] = {
        {"", 0},
        {"Login to [iface: default] successful.\n", 0},
        {"iscsiadm: NO Records FOUND\n", 199},
        {"no records found", 199},
        {"Error: session Already Exists\n", 197},
        {"initiator reported error (8 - connection timed out)", 199},
        {"initiator reported error (19 - encountered non-retryable iSCSI login failure)", 199},
        {"initiator reported error (24 - iSCSI login failed due to authorization failure)", 199},
        {"connection timed out\nalready exists\nauthorization failure\nencountered non-retryable\n", 0},
        {"error\nalready exists\n", 0},
        {"error (15 - session exists)\n", 0},
        {"error (15)\nerror: already exists\nerror: connection timed out\n", 197},
        {"error: authorization failure\nerror: already exists\n", 199},
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
    const std::string texts[] = {"iqn.x;" + touch,
                                 "$(" + touch + ")",
                                 "`" + touch + "`",
                                 "';" + touch + ";'",
                                 "a\n" + touch + "\n",
                                 ">/tmp/owned",
                                 "\";" + touch + "\\ # $HOME ~ * ? [a-z] {a,b} !! & |\t\x01\xff",
                                 std::string(223, '\''),
                                 "-x"};
    for (const std::string& text : texts) {
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

/// Every way in which a command can end, against the four that judge it, each in its own way.
TEST(Shell, EveryEndOfACommandHasItsAnswer) {
    enum Situation { usual, sigchld_ignored, stale_echild };
    struct {
        std::string script;  // empty: there is no such command
        Situation situation;
        unsigned int login, logout, remove, forget;
    } const cases[] = {
        {"exit 0", usual, 0, 0, 0, 0},
        {"", usual, 205, 1, 0, 1},
        {"kill -9 $$", usual, 205, 1, 0, 1},
        {"exit 7", stale_echild, 0, 0, 0, 0},
        {"exit 7", sigchld_ignored, 0, 0, 0, 0},
        {"echo 'iscsiadm: No Records Found' >&2; exit 21", usual, 205, 1, 179, 1},
        {"echo 'iscsiadm: No Records Found' >&2; exit 21", sigchld_ignored, 199, 0, 179, 199},
        {"echo 'A Session is using it'; echo no records found; exit 15", usual, 205, 1, 167, 1},
        {"echo 'A Session is using it'; exit 15", stale_echild, 0, 0, 167, 0},
        {"echo 'Error: already exists'; exit 15", sigchld_ignored, 197, 0, 0, 197},
        {"yes no news | head -c 1000000; echo no records found; exit 21", stale_echild, 199, 0, 179, 199},
    };
    host::add_session({.number = 3});
    const std::string path = getenv("PATH");
    for (const auto& [script, situation, login, logout, remove, forget] : cases) {
        SCOPED_TRACE(script + " in situation " + std::to_string(situation));
        install_iscsiadm(script);
        setenv("PATH", script.empty() ? "/nowhere" : path.c_str(), 1);
        signal(SIGCHLD, situation == sigchld_ignored ? SIG_IGN : SIG_DFL);
        const auto prepare = [situation = situation] {
            host::write_file("/tmp/opiscsierr", "stale: no records found");
            errno = situation == stale_echild ? ECHILD : EEXIST;
        };
        const bool done = script == "exit 0" && situation == usual, lost = situation != usual;

        _LoginParams params = request();
        params.persistent = 1;
        prepare();
        EXPECT_EQ(_LoginTarget(&params, portal), login);
        unsigned char session[16] = {3};
        prepare();
        EXPECT_EQ(_LogoutTarget(session), logout);
        EXPECT_EQ(errno == 0, lost);
        prepare();
        EXPECT_EQ(_remove_iscsi_dirs(portal, 3260), remove);
        EXPECT_EQ(host::exists("/tmp/opiscsierr"), done) << "read, so removed";
        prepare();
        EXPECT_EQ(_remove_persistent_entry("ignored", portal, 3260, nullptr), forget);
        EXPECT_EQ(host::exists("/tmp/opiscsierr"), !lost) << "removed only when it was read";
    }
}

TEST(Commands, HaveTheirExactTextsAndCaptureWhereTheAgentSays) {
    shell::answer({{0, 0, ""}});
    host::add_session({.number = 3});
    tmperrfile = "/tmp/el sewhere";
    unsigned char session[16] = {4};
    EXPECT_EQ(_LogoutTarget(session), 166u);
    session[0] = 3;
    EXPECT_EQ(_LogoutTarget(session), 0u);
    EXPECT_EQ(_remove_iscsi_dirs("10.1.1.5", 65536 + 3260), 0u);
    EXPECT_EQ(_remove_persistent_entry(nullptr, "10.1.1.5", 65536, nullptr), 0u);
    EXPECT_EQ(
        shell::commands(),
        (Commands{"iscsiadm -m session -r 3 -u",
                  "iscsiadm -m node -p 10.1.1.5:3260 -o delete 1&>'/tmp/el sewhere'",
                  "iscsiadm -m node -p 10.1.1.5:65536 -o update \t\t-n node.startup -v manual 1&>'/tmp/el "
                  "sewhere'"}));
    EXPECT_TRUE(host::exists(tmperrfile)) << "a success leaves it";
    _LoginParams params = request();
    EXPECT_EQ(_LoginTarget(&params, portal), 0u);
    EXPECT_FALSE(host::exists(tmperrfile));
}

}  // namespace
