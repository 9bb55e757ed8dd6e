// The commands of login, logout and removal: their texts, how their end is judged, what they leave behind.
#include "tests/support/test.h"

static mode_t pretended = 0;  // what lstat takes every file for

extern "C" int lstat(const char* path, struct stat* entry) noexcept {
    const int result = fstatat(AT_FDCWD, path, entry, AT_SYMLINK_NOFOLLOW);
    if (pretended != 0) entry->st_mode = pretended;
    return result;
}

namespace {

using namespace std::string_literals;
using Commands = std::vector<std::string>;
constexpr int exit_1 = 256;
constexpr const char *portal = "10.1.1.5", *capture_path = "/tmp/opiscsierr";
const std::string touch = "touch /tmp/owned", already = "error: already exists";

_LoginParams request(const std::string& target = "iqn.a") {
    _LoginParams params{};
    params.target_port = 3260;
    target.copy(params.target_name, sizeof params.target_name);
    std::strcpy(params.username, "user");
    std::strcpy(params.password, "word");
    return params;
}

unsigned int log_in(_LoginParams params = request()) {
    return _LoginTarget(&params, portal);
}

TEST(Login, WritesFieldsThatFillTheirRoomAndStopsAtTheFirstFailure) {
    const auto expect = [](const _LoginParams& params, unsigned int status, const Commands& last_words) {
        shell::forget();
        EXPECT_EQ(log_in(params), status);
        Commands words;
        for (const std::string& command : shell::commands()) {
            const std::string text = command.substr(0, command.find(" 1&>"));
            words.push_back(text.substr(text.rfind(' ') + 1));
        }
        EXPECT_EQ(words, last_words);
    };
    shell::answer({{0, 0, ""}});
    _LoginParams params = request();
    params.auth_method = 3;
    expect(params, 0, {"CHAP", "user", "word", "iqn.a"});
    std::memset(&params, 'x', sizeof params);  // everything, and no field is terminated
    params.auth_method = 2;
    const std::string x64(64, 'x'), x20(20, 'x'), x256(256, 'x');
    expect(params, 0, {"CRC32C", "CRC32C", "CHAP", x64, x20, x64, x20, "automatic", x256});
    shell::answer({{0, 0, ""}, {exit_1, 0, ""}});
    expect(params, 205, {"CRC32C", "CRC32C"});
}

TEST(Login, IsJudgedByPiecesOf511Characters) {
    const std::string x490(511 - 7 - 14, 'x');
    for (const auto& [beginning, status] : {std::pair{"error: ", 197U}, {"error: x", 0U}}) {
        shell::answer({{exit_1, 0, beginning + x490 + "already exists\n"}});
        EXPECT_EQ(log_in(), status);
    }
}

TEST(Commands, HandOnTextFromOutsideByteForByte) {
    host::install_iscsiadm(R"(printf '%s\0' "$@" >>/tmp/arguments)");
    const std::string every =
        "';" + touch + ";'\n" + touch + "\n\" >/tmp/owned\\ # $HOME ~ * ? [a-z] {a,b} !! & |\t\x01\xff";
    for (const std::string& text : {"iqn.x;" + touch, "$(" + touch + ")`" + touch + "`", every,
                                    std::string(223, '\''), "-x"s, "~"s, "\xc3\xa4"s}) {
        _LoginParams params = request(text);
        params.auth_method = 1;
        std::memset(params.username, 0, sizeof params.username);
        text.copy(params.username, sizeof params.username);
        host::remove("/tmp/arguments");
        EXPECT_EQ(_LoginTarget(&params, text.c_str()), 0u) << text;
        const std::string arguments = host::read_file("/tmp/arguments");
        for (const std::string& argument :
             {"-T\0"s + text, "node.session.auth.username\0-v\0"s + text.substr(0, 64)})
            EXPECT_NE(arguments.find("\0"s + argument + "\0"s), arguments.npos) << text;
        EXPECT_NE(arguments.find("-p\0"s + text + ":3260\0"s), arguments.npos) << text;
        EXPECT_FALSE(host::exists("/tmp/owned")) << text;
    }
}

/// Every way in which a command can end, against the five that judge it, each in its own way.
TEST(Commands, HaveAnAnswerForEveryEnd) {
    enum Situation { usual, sigchld_ignored, stale_echild };
    const std::tuple<std::string, Situation, unsigned, unsigned, unsigned, unsigned> cases[] = {
        {"exit 0", usual, 0, 0, 0, 0},
        {"", usual, 205, 1, 0, 1},  // there is no such command
        {"kill -9 $$", usual, 205, 1, 0, 1},
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
        host::install_iscsiadm(script);
        setenv("PATH", script.empty() ? "/nowhere" : path.c_str(), 1);
        signal(SIGCHLD, situation == sigchld_ignored ? SIG_IGN : SIG_DFL);
        const bool done = script == "exit 0" && situation == usual, lost = situation != usual;
        const auto expect = [&, stale = situation == stale_echild](unsigned status, bool captured,
                                                                   auto call) {
            host::put(capture_path, stale ? host::nothing : "stale: no records found");
            errno = stale ? ECHILD : EEXIST;
            EXPECT_EQ(static_cast<unsigned>(call()), status);
            EXPECT_EQ(host::exists(capture_path), captured);
        };
        unsigned char session[16] = {3};
        _TargetInformation* list = nullptr;
        _LoginParams params = request();
        params.persistent = 1;
        expect(login, login == 205 && situation != stale_echild, [&] { return log_in(params); });
        expect(logout, situation != stale_echild, [&] { return _LogoutTarget(session); });
        // What was read is removed, and what only a stale record's deletion said.
        expect(remove, done, [] { return _remove_iscsi_dirs(portal, 3260); });
        expect(forget, !lost, [] { return _remove_persistent_entry("", portal, 3260, nullptr); });
        expect(~1U, done, [&] { return _GetTargetList(&list, 0); });
    }
}

TEST(Commands, HaveTheirExactTextsAndCaptureWhereTheAgentSays) {
    shell::answer({{0, 0, ""}});
    tmperrfile = "/tmp/el sewhere";
    const char* const hostile = "1.2.3.4;touch /tmp/owned";
    const std::string capture = " 1&>'/tmp/el sewhere'", quoted = "'1.2.3.4;touch /tmp/owned:";
    _TargetInformation* list = nullptr;
    unsigned int count = 0;
    EXPECT_EQ(_remove_iscsi_dirs(hostile, 65536 + 3260), 0u);
    EXPECT_EQ(_remove_persistent_entry(nullptr, hostile, 65536, nullptr), 0u);
    EXPECT_EQ(_DiscoverTarget(hostile, 3260, &list, &count), 179u);
    EXPECT_EQ(shell::commands(), (Commands{"iscsiadm -m node -p " + quoted + "3260' -o delete" + capture,
                                           "iscsiadm -m node -p " + quoted +
                                               "65536' -o update \t\t-n node.startup -v manual" + capture,
                                           "iscsiadm -m discovery -t st -p " + quoted + "3260'"}));
    EXPECT_TRUE(host::exists(tmperrfile)) << "a success leaves it";
    EXPECT_EQ(log_in(), 0u);
    EXPECT_FALSE(host::exists(tmperrfile));
}

/// What another user may have left where output is captured, and what becomes of it.
TEST(Capture, HandsNothingToWhoeverWasThereBefore) {
    const std::string victim = "/tmp/victim", text = "untouched";
    int theirs = -1;
    const auto leave_theirs = [&] {
        theirs = open(capture_path, O_CREAT | O_RDONLY | O_CLOEXEC, 0666);
        if (fchown(theirs, 1, 1) != 0) theirs = -1;  // there is no other user here
    };
    const std::tuple<const char*, std::function<void()>, unsigned int, bool> cases[] = {
        {"nothing", [] {}, 197, false},
        {"directory", [] { host::make_directory(capture_path); }, 197, false},
        {"full directory", [] { host::write_file(capture_path + "/x"s, ""); }, 197, false},
        {"FIFO", [] { mkfifo(capture_path, 0666); }, 197, false},
        {"link", [&] { host::make_link(capture_path, victim); }, 197, false},
        {"second name", [&] { EXPECT_EQ(::link(victim.c_str(), capture_path), 0); }, 197, false},
        {"device", [] { EXPECT_EQ(mknod(capture_path, S_IFCHR | 0600, 0), 0); }, 0, true},
        {"block device",
         [] {
             host::write_file(capture_path, "");
             pretended = S_IFBLK | 0600;
         },
         197, true},
        {"another user's", leave_theirs, 197, false},
        {"our own", [] { host::write_file(capture_path, "iscsiadm: no records found"); }, 197, false},
        {"the group's", [] { ::close(::open(capture_path, O_CREAT | O_WRONLY, 0620)); }, 197, false},
        {"everybody's", [] { ::close(::open(capture_path, O_CREAT | O_WRONLY, 0602)); }, 197, false},
    };
    umask(0);
    alarm(60);  // for whoever waits for the other end of a FIFO
    for (const auto& [what, leave_there, status, stays] : cases) {
        SCOPED_TRACE(what);
        pretended = 0;
        host::remove(capture_path);
        host::write_file(victim, text);
        host::install_iscsiadm("stat -c %a /tmp/opiscsierr >/tmp/mode; echo '" + already + "'; exit 15");
        leave_there();
        EXPECT_EQ(log_in(), status);
        EXPECT_EQ(host::exists(capture_path), stays);
        EXPECT_EQ(host::read_file(victim), text);
        EXPECT_LE(lseek(theirs, 0, SEEK_END), 0) << "removed, not written";
        EXPECT_TRUE(what == "our own"s || stays || host::read_file("/tmp/mode") == "600\n");
        const bool aside = std::system("ls /tmp/opiscsierr.aside.*/x >/tmp/aside 2>&1") == 0;
        EXPECT_EQ(aside, what == "full directory"s);
        host::remove("/tmp/aside");
        std::system("rm -rf /tmp/opiscsierr.*");
    }
    host::remove(capture_path);
    host::write_file("/tmp/lie", already + "\n");
    for (const char* swap : {"ln -s /tmp/lie", "mkfifo", "mkdir"}) {
        host::install_iscsiadm("rm -f /tmp/opiscsierr; "s + swap + " /tmp/opiscsierr; exit 15");
        EXPECT_EQ(log_in(), 0u) << "nothing else is read back than a file: " << swap;
    }
}

}  // namespace
