// The initiator's configuration as an agent reads and writes it.
#include <sys/syscall.h>
#include <sys/wait.h>

#include <cstdarg>
#include <thread>

#include "kvlinopinitr/iscsi_properties.h"
#include "tests/support/test.h"

// What befalls a call, by its name and the permissions of its file; false: it fails.
static std::function<bool(std::string_view call, mode_t mode)> fate;

static bool meet(const char* call, int descriptor = -1) {
    struct stat status {};
    fstat(descriptor, &status);
    return !fate || fate(call, status.st_mode & 07777);
}

static std::size_t piece = SIZE_MAX;  // most that one call reads
long slept = 0;                       ///< without having waited

// These stand in for the C library's.
extern "C" {
int fsync(int descriptor) {
    return meet("fsync", descriptor) ? 0 : -1;
}
ssize_t pwrite(int descriptor, const void* text, std::size_t size, off_t offset) {
    const auto result = static_cast<ssize_t>(syscall(SYS_pwrite64, descriptor, text, size, offset));
    meet("pwrite", descriptor);
    return result;
}
ssize_t read(int descriptor, void* text, std::size_t size) {
    if (meet("read")) return static_cast<ssize_t>(syscall(SYS_read, descriptor, text, std::min(size, piece)));
    errno = EIO;
    return -1;
}
int remove(const char* path) {
    const int result = unlink(path) == 0 ? 0 : rmdir(path), error = errno;
    meet("remove");
    errno = error;
    return result;
}
int fcntl(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    const bool locks = command == F_OFD_SETLK, moves = command == F_DUPFD_CLOEXEC;
    if (!(locks && !meet("lock")) && !(moves && !meet("move")))
        return static_cast<int>(syscall(SYS_fcntl, descriptor, command, argument));
    errno = locks ? EINTR : EMFILE;
    return -1;
}
int nanosleep(const timespec* time, timespec* rest) {
    if (meet("nanosleep")) return static_cast<int>(syscall(SYS_nanosleep, time, rest));
    slept += time->tv_nsec;
    return 0;
}
int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    time->tv_sec += slept / 1'000'000'000;
    return result;
}
}

namespace {

using host::obey_permissions, host::write_file;

const std::string conf = "/etc/iscsi/iscsid.conf", name_file = "/etc/iscsi/initiatorname.iscsi",
                  temporary = "/tmp/tmpiscsidconf.txt";
const std::string write_temporary = "write " + temporary, write_conf = "write " + conf;
const std::string x159(159, 'x'), v256(256, 'v'), n223(223, 'n');
const std::string page = "ERL=0\n" + std::string(4089, '#');

using Property = std::pair<unsigned int, std::string>;

int set(const std::vector<Property>& request) {
    std::vector<_iSCSI_Property> list;
    for (const auto& [id, value] : request) value.copy(list.emplace_back(_iSCSI_Property{id, {}}).value, 256);
    list.push_back({iscsi_property::end_of_list, {}});
    return _SetProperty(1, list.data());
}

/// Result and count of the node list, then the settings as " ID=VALUE".
std::string read(int mode = 2) {
    unsigned int count = 9;
    void* list = &count;
    const int result = _GetInitiatorNodeList(&list, &count, mode);
    std::string text = std::to_string(result) + " " + std::to_string(count);
    if (list == nullptr) return text;
    const _InitiatorNode& node = *static_cast<_InitiatorNode*>(list);
    if (mode == 1) text += std::string{" "} + node.node_name;
    for (const _iSCSI_Property* entry = node.properties; mode != 1 && entry->id != 78; ++entry) {
        text += " " + std::to_string(entry->id) + "=" + entry->value;
    }
    std::free(list);
    return text;
}

/// Something happens at one kind of call, which fails then.
void at(
    std::string_view call, mode_t mode, const std::function<void()>& event = [] {}) {
    fate = [=](std::string_view called, mode_t called_on) {
        const bool meant = called == call && called_on == mode;
        if (meant) event();
        return !meant;
    };
}

using Contents = std::vector<std::pair<std::string, std::string>>;

void expect_read(int mode, const std::string& path, const Contents& contents) {
    for (const auto& [text, expected] : contents) {
        write_file(path, text);
        EXPECT_EQ(read(mode), expected) << text;
    }
}

TEST(InitiatorName, IsTheFirstNameWord) {
    expect_read(1, name_file,
                {{"#InitiatorName=iqn.a InitiatorName=iqn.b", "0 1 iqn.b"},
                 {"\r\n\tIInitiatorName==iqn.a=b\r\n", "0 1 iqn.a"},
                 {"InitiatorName=\n", "-1 0"},
                 {"xnitiatorName=iqn.a\n", "0 0"},
                 {"InitiatorName=n" + n223, "-2 0"}});
}

TEST(Settings, AreReadInFileOrder) {
    host::set_initiator_name("iqn.a");
    expect_read(2, conf,
                {{"node.session.iscsi.InitialR2T = No Yes\nERL=a=b\n#ERL = c", "0 3 1=iqn.a 7=No 14=a"},
                 {"ERL# = a\nERL### = b\nERL##c = d\nERLs = f\n", "0 4 1=iqn.a 14=a 14=b 14=d"},
                 {"ERL\nERL =\n==\n=node.startup= ", "0 2 1=iqn.a 14="},
                 {"#" + x159.substr(2) + "#ERL = next_piece\n", "0 2 1=iqn.a 14=next_piece"}});
}

TEST(Readers, WantFilesThatMayBeWritten) {
    host::set_initiator_name("iqn.a");
    write_file(conf, "ERL = 1\n");
    _iSCSI_Property out{4711, "older"};
    EXPECT_EQ(_GetProperty(1, 14, &out), 0);
    EXPECT_EQ(std::memcmp(out.value, "1\0\0\0", 5), 0) << "nothing stays of what stood there";
    chmod(conf.c_str(), 0400);
    obey_permissions(true);
    EXPECT_EQ(read(), "0 1 1=iqn.a");
    EXPECT_EQ(_GetProperty(1, 14, &out), -1);
    chmod(name_file.c_str(), 0400);
    EXPECT_EQ(read(), "-1 0");
}

TEST(Readers, TakeHalfOfAValueForNone) {
    host::set_initiator_name("iqn.ab");
    write_file(conf, "ERL = 12\n");
    _iSCSI_Property out;
    for (const auto& [half, ask] :
         {std::pair<std::size_t, std::function<void()>>{19, [] { EXPECT_EQ(read(1), "-1 0"); }},
          {7, [&] { EXPECT_EQ(_GetProperty(1, 14, &out), -1); }}}) {
        piece = half;
        fate = [reads = 0](auto call, mode_t) mutable { return call != "read" || ++reads != 2; };
        ask();
    }
}

TEST(NodeList, HoldsTheSettingsInModesTwoAndThree) {
    host::set_initiator_name("iqn.a");
    write_file(conf, "ERL = 1\n");
    for (const int mode : {2, 3}) EXPECT_EQ(read(mode), "0 2 1=iqn.a 14=1");
    host::stop_stack();
    void* list;
    unsigned int count;
    EXPECT_EQ(_GetInitiatorNodeList(&list, &count, 2), 0);
    EXPECT_EQ(static_cast<_InitiatorNode*>(list)->stack_running, 0);
    std::free(list);
    EXPECT_EQ(_AddInitiatorNode(), -1);
    EXPECT_EQ(_RemoveInitiatorNode("iqn.b"), -1);
    EXPECT_EQ(_RemoveInitiatorNode("iqn.a"), 0);
    host::put("/sys/class/iscsi_session", "");
    EXPECT_EQ(_RemoveInitiatorNode("iqn.a"), 0) << "what is no directory holds no sessions";
    host::put("/sys/class/iscsi_session", "/");
    chmod("/sys/class/iscsi_session", 0);
    obey_permissions(true);
    EXPECT_EQ(_RemoveInitiatorNode("iqn.a"), -2) << "sessions cannot be counted";
    obey_permissions(false);
    host::remove("/sys/class/iscsi_session");
    host::add_session({.number = 7});
    EXPECT_EQ(_RemoveInitiatorNode("iqn.a"), -2);
}

TEST(Writer, ReplacesAppendsAndRefuses) {
    const std::string long_lines = "#" + x159 + "ERL = 1\n" + x159 + "ERL = 1\n";
    const std::tuple<std::string, std::vector<Property>, int, std::string> cases[] = {
        {"a\nnode.startup=a # why\nb", {{15, "c"}}, 0, "a\nnode.startup = c\nb"},
        {"#ERL=1\n", {{15, "a"}, {14, "2"}}, 0, "#ERL=1\nnode.startup = a\nnode.session.iscsi.ERL = 2\n\n"},
        {"a", {{1, "iqn.b"}}, 0, "a\n\n"},
        {long_lines, {{14, v256}}, 0, long_lines + "node.session.iscsi.ERL = " + v256 + "\n\n"},
        {"ERL = 1", {{14, "2"}, {78, "x"}}, 86, "ERL = 1"},
        {"ERL = 1", {{14, "2"}, {1, n223 + "n"}}, -3, "ERL = 1"},
    };
    for (const auto& [before, request, result, after] : cases) {
        write_file(conf, before);
        EXPECT_EQ(set(request), result);
        EXPECT_EQ(host::read_file(conf), after);
    }
}

TEST(Settings, AreReadBack) {
    std::vector<Property> all;
    for (const auto& row : iSCSI_PropertyTable)
        if ((row.flags & 1) != 0 && row.name != nullptr)
            all.push_back({row.id, "v" + std::to_string(row.id)});
    EXPECT_EQ(all.size(), 30U);
    EXPECT_EQ(set(all), 0);
    const std::string settings = read() + " ";
    for (const auto& [id, value] : all)
        EXPECT_NE(settings.find(" " + std::to_string(id) + "=" + value + " "), settings.npos) << settings;
}

TEST(Writer, KeepsTheFileAndItsPermissions) {
    write_file("/etc/real.conf", "ERL = 1\n");
    write_file("/etc/victim", "victim");
    host::make_link(conf, "/etc/real.conf");
    host::make_link(temporary, "/etc/victim");
    host::make_link(name_file, "../real.name");
    chmod("/etc/real.conf", 0640);
    umask(0);
    std::vector<mode_t> flushed;
    fate = [&](std::string_view call, mode_t mode) {
        if (call == "fsync") flushed.push_back(mode);
        return true;
    };
    EXPECT_EQ(set({{1, "iqn.b"}, {14, "2"}}), 0);
    EXPECT_EQ(host::read_file("/etc/real.conf"), "ERL = 2\n\n");
    EXPECT_EQ(flushed, (std::vector<mode_t>{0666, 0640})) << "only what stays, for good";
    EXPECT_EQ(host::read_file("/etc/victim"), "victim");
    EXPECT_EQ(host::read_file("/etc/real.name"), "InitiatorName=iqn.b\n");
    for (const auto& entry : {temporary, temporary + "/x"}) {
        host::make_directory(entry);
        EXPECT_EQ(set({{14, "3"}}), 0) << "a directory is out of the way";
        EXPECT_FALSE(host::exists(temporary));
    }
}

void fill() {
    write_file(conf, page);
    chmod(conf.c_str(), 0640);
    host::set_initiator_name("iqn.a");
}

TEST(Writer, LosesNothingWhenAFileFailsOrStandsInTheWay) {
    const auto cut_temporary = [] { at("pwrite", 0600, [] { write_file(temporary, "#"); }); };
    const auto file_comes_again = [] {
        write_file(temporary, "");
        at("remove", 0, [] { write_file(temporary, ""); });
    };
    const std::tuple<std::function<void()>, std::string, const char*> cases[] = {
        {[] { at("fsync", 0640); }, write_conf, "iqn.b"},
        {[] { at("fsync", 0644); }, "", "iqn.a"},
        {cut_temporary, "read tmp file", "iqn.b"},
        {[] { at("pwrite", 0600, [] { unlink(temporary.c_str()); }); }, "read tmp file", "iqn.b"},
        {[] { fate = [](auto call, mode_t) { return call != "lock" && call != "nanosleep"; }; }, write_conf,
         "iqn.a"},
        {file_comes_again, write_temporary, "iqn.b"},
    };
    for (const auto& [break_it, unable, name] : cases) {
        SCOPED_TRACE(unable + name);
        fill();
        testing::internal::CaptureStderr();
        break_it();
        EXPECT_EQ(set({{1, "iqn.b"}, {14, "1"}}), -1);
        fate = nullptr;
        EXPECT_EQ(host::read_file(conf), page);
        EXPECT_EQ(host::read_file(name_file), "InitiatorName=" + std::string{name} + "\n");
        EXPECT_EQ(host::exists(temporary), unable == write_temporary) << "what was there stays there";
        host::remove(temporary);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  unable.empty() ? "" : "ERROR: unable to " + unable + ".\n");
    }
}

TEST(Writer, LeavesNoNameFileThatNeverGotAName) {
    host::make_link(name_file, "/etc/real.name");
    umask(022);
    at("fsync", 0644);
    EXPECT_EQ(set({{1, "iqn.a"}}), -1);
    EXPECT_FALSE(host::exists("/etc/real.name"));
    EXPECT_TRUE(host::exists(name_file)) << "the link is the administrator's";
}

TEST(Writer, LeavesNoFileWhoseDescriptorCannotBeMoved) {
    fill();
    host::remove(name_file);
    close(STDIN_FILENO);
    at("move", 0);
    for (const unsigned int id : {1u, 14u}) EXPECT_EQ(set({{id, "iqn.b"}}), -1);
    EXPECT_FALSE(host::exists(name_file) || host::exists(temporary));
}

int lock_against_writers(int operation) {
    const int descriptor = open(conf.c_str(), O_RDONLY);
    struct flock lock {};
    lock.l_type = F_RDLCK;
    return fcntl(descriptor, operation, &lock) == 0 ? descriptor : -1;
}

// Sets the same property again and again; what was set stands there afterwards, whoever else writes.
bool writes_in_turn(unsigned int id, std::size_t rounds) {
    for (std::size_t i = 0; i < rounds; ++i) {
        const std::string value(1 + i * id % 100, static_cast<char>('a' + i % 26));
        if (set({{id, value}, {1, "iqn." + value}}) != 0) return false;
        const int lock = lock_against_writers(F_OFD_SETLKW);
        const std::string settings = read() + " ";
        close(lock);
        if (settings.find(" " + std::to_string(id) + "=" + value + " ") == settings.npos) return false;
    }
    return true;
}

TEST(Writers, TakeTurns) {
    constexpr std::size_t rounds = 80;
    write_file(conf, page + "\n");
    const pid_t other = fork();
    bool well[2] = {};
    std::thread second{[&] { well[0] = writes_in_turn(other != 0 ? 18 : 16, rounds); }};
    well[1] = writes_in_turn(other != 0 ? 15 : 17, rounds);
    second.join();
    if (other == 0) _exit(well[0] && well[1] ? 0 : 1);
    int status = -1;
    waitpid(other, &status, 0);
    EXPECT_TRUE(well[0] && well[1] && status == 0) << well[0] << well[1] << status;
    const std::string text = host::read_file(conf);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2 + 4 + 4 * rounds)
        << "4 settings, an empty line each time";
}

TEST(Writers, LeaveNoLockWithAChildAndDoNotWaitForEver) {
    fill();
    pid_t child = -1;
    at("fsync", 0640, [&] {
        if (child < 0 && (child = fork()) == 0) pause();
    });
    EXPECT_EQ(set({{14, "1"}}), -1);
    int pauses = 0;
    at("nanosleep", 0, [&] { ++pauses; });
    EXPECT_EQ(set({{14, "2"}}), 0);
    EXPECT_EQ(pauses, 0);
    ASSERT_GT(child, 0);
    kill(child, SIGKILL);
    fill();
    ASSERT_GE(lock_against_writers(F_OFD_SETLK), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(set({{1, "iqn.b"}, {14, "1"}}), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "ERROR: unable to write " + conf + ".\n");
    EXPECT_LE(pauses, 10000);
    EXPECT_GE(pauses, 8000);
    EXPECT_EQ(host::read_file(conf) + host::read_file(name_file), page + "InitiatorName=iqn.a\n");
}

TEST(Writers, WriteIntoTheFileThatStandsThereWhenTheirTurnComes) {
    fill();
    const int lock = lock_against_writers(F_OFD_SETLK);
    at("nanosleep", 0, [&] {
        write_file(conf + ".new", "ERL = 7\n");
        rename((conf + ".new").c_str(), conf.c_str());
        close(lock);
        fate = nullptr;
    });
    EXPECT_EQ(set({{14, "1"}}), 0);
    EXPECT_EQ(host::read_file(conf), "ERL = 1\n");
}

}  // namespace
