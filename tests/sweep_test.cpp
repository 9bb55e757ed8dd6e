// Every system call and every allocation of every operation fails in every way. Whatever happens: a
// documented answer, nothing lost, nothing half done, nothing destroyed that would not have been destroyed
// anyway.
#include <pthread.h>
#include <sys/mman.h>

#include <iostream>
#include <map>
#include <set>

#include "platform/kvlinhw.h"
#include "tests/support/faults.h"
#include "tests/support/operations.h"
#include "tests/support/test.h"

static std::string log_of_maker;

// The maker's log is not on trial.
void KvLogger::KorvelLogMsg(ModName, LogType, char const* format, ...) {
    const faults::Pause pause;
    log_of_maker += "[" + std::string{format} + "]";
}

namespace {

using namespace operations;
using faults::Kind;
using faults::Plan;

constexpr std::size_t stack_size = 48 * 1024, abyss = 1 << 20, buffer_size = 40'000;
constexpr unsigned int died = 0xDEAD;  // while it was cancelled

const std::string conf = "/etc/iscsi/iscsid.conf", name_file = "/etc/iscsi/initiatorname.iscsi";

/// Stack of a thread, as small as an agent's may be, with an abyss below it that must not be touched.
unsigned char* small_stack() {
    void* memory =
        mmap(nullptr, abyss + stack_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED || mprotect(memory, abyss, PROT_NONE) != 0) std::abort();
    return static_cast<unsigned char*>(memory) + abyss;
}

/// All that can be seen of a call.
struct Seen {
    unsigned int status = 0, count = 0, bytes = 0;
    std::string buffer, err_msg, log, settings, name_file;
    std::vector<std::string> commands;
    faults::Report report;
};

/// What the operation puts into the log with this status, as it should stand in `err_msg` too.
bool logs(const std::string& name, unsigned int status) {
    if (status == 182 || status == 183) return false;
    for (const char* always : {"SetProperty", "LoginTarget", "LogoutTarget", "RemoveTarget"}) {
        if (name.starts_with(always)) return status != 0 || name.starts_with("SetProperty");
    }
    return name.starts_with("QueryDisks") ? status == 166 : status == 191 || status == 198;
}

std::multiset<std::string> destruction(const std::vector<std::string>& commands) {
    std::multiset<std::string> destructive;
    for (const std::string& command : commands) {
        if (command.ends_with(" stop")) destructive.insert("stop");  // by which script is no matter
        for (const char* part : {" -o delete", " -u", "killall", "rmmod"})
            if (command.find(part) != command.npos) destructive.insert(command);
    }
    return destructive;
}

/// Results that leave out what could not be read, where that is no failure: whole portals, all settings, all
/// LUNs.
bool may_differ(const std::string& name, const Seen& seen, const Plan& plan) {
    const bool out_of_memory = plan.allocation >= 0;
    if (name == "GetProperty" || name == "GetInitiatorGlobals") return seen.bytes == 260;
    if (name == "QuerySessionCount" || name == "QueryDiskCount") return seen.count == untouched;
    if (name == "QueryDisks") return seen.bytes == 709 && seen.count == 0;
    if (name == "GetList_Portals") return seen.bytes == 0 && !out_of_memory;
    if (name == "DiscoverTarget") return seen.count == 3;  // what could not be forgotten
    if (name != "GetTargetList") return false;
    const bool has_a = seen.buffer.find("iqn.a") != seen.buffer.npos;
    return out_of_memory || has_a == (seen.buffer.find("iqn.b") != seen.buffer.npos);
}

/// In which ways each kind of call fails; 0: it is cut short.
const std::map<Kind, std::vector<int>> errors = {{Kind::open, {ENOENT, EACCES, EIO, EMFILE, EINTR}},
                                                 {Kind::read, {EIO, EINTR, 0}},
                                                 {Kind::list, {EIO, ENOENT, EINTR}},
                                                 {Kind::write, {ENOSPC, EIO, EINTR, 0}},
                                                 {Kind::look, {ENOENT, EACCES, EIO}},
                                                 {Kind::entry, {ENOENT, EACCES, EIO}},
                                                 {Kind::cut, {EIO, ENOSPC, EINTR}},
                                                 {Kind::flush, {EIO, ENOSPC, EINTR}},
                                                 {Kind::lock, {EINTR, EMFILE}}};

class Sweep : public testing::TestWithParam<Operation> {
protected:
    Sweep() {
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
        populate_host();
        faults::trap_system_calls();
        GetParam().situation();
        old.settings = host::read_file(conf);
        old.name_file = host::read_file(name_file);
        run({});
        healthy = run({});
        EXPECT_EQ(healthy.status, expected.status);
        EXPECT_TRUE(healthy.buffer == expected_buffer(expected, healthy.buffer));
        EXPECT_FALSE(healthy.report.system_calls.empty() && healthy.report.counts.allocations == 0);
        judge("healthy\n");
    }

    Seen run(const Plan& next, const faults::SystemCall& call = {}) {
        GetParam().situation();
        host::remove("/tmp/opiscsierr");
        shell::forget();
        log_of_maker.clear();
        initiator.err_msg[0] = '\0';
        std::memset(buffer, 0xAA, buffer_size);
        std::memset(stack, 0, stack_size);
        plan = next;
        failing = call;
        call_on_small_stack();
        seen.buffer.assign(reinterpret_cast<char*>(buffer), buffer_size);
        seen.err_msg = initiator.err_msg;
        seen.log = log_of_maker;
        seen.settings = host::read_file(conf);
        seen.name_file = host::read_file(name_file);
        seen.commands = shell::commands();
        if (memmem(stack, stack_size, faults::secret, std::strlen(faults::secret)) != nullptr)
            seen.report.faults += "secret left on the stack; ";
        return seen;
    }

    void run_without_standard_streams() {
        for (int stream = 0; stream <= 2; ++stream) {
            fcntl(stream, F_DUPFD_CLOEXEC, 100);
            close(stream);
        }
        run({});
        for (int stream = 0; stream <= 2; ++stream) dup2(100 + stream, stream);
        EXPECT_EQ(seen.status, expected.status);
        judge("no standard streams\n");
    }

    void try_out(const Plan& next, const faults::SystemCall& call = {}) {
        char trying[400];
        std::snprintf(trying, sizeof trying,
                      "system call %d (%s %s), allocation %d, command %d: %s%s, %d in a row\n",
                      next.system_call, faults::kind_names[int(call.kind)], call.path, next.allocation,
                      next.command, next.error != 0 ? std::strerror(next.error) : "short",
                      next.lasting ? ", lasting" : "", next.times);
        run(next, call);
        EXPECT_GT(seen.report.counts.injected, 0) << trying;
        injected += seen.report.counts.injected;
        judge(trying);
    }

    void tell(const char* what, int number) {
        std::cout << name << ": " << number << " " << what << " failed " << injected << " times\n";
        EXPECT_TRUE(number == 0 || injected >= 2 * number);
        injected = 0;
    }

    void judge(const char* what) {
        SCOPED_TRACE(what);
        EXPECT_EQ(seen.report.faults, "");
        // What is gone is no session any more, and no portal of a target in use.
        const bool in_use =
            name == "RemoveTarget_InUse" && std::strstr(failing.path, "send_targets") != nullptr;
        const bool gone = plan.error == ENOENT &&
                          (plan.lasting || in_use || std::string_view{failing.path}.starts_with("/sys/"));
        EXPECT_TRUE(is_documented() || (gone && seen.status == 0)) << seen.status;
        expect_log();
        const auto destroyed = destruction(seen.commands), usually = destruction(expected.commands);
        EXPECT_TRUE(gone || std::includes(usually.begin(), usually.end(), destroyed.begin(), destroyed.end()))
            << testing::PrintToString(seen.commands);
        if (seen.status == 0 && expected.status == 0) expect_true_success();

        // Memory that is out is neither nothing found nor half an answer.
        const unsigned int not_found = name == "GetList_Groups" ? 1 : name == "RemoveTarget" ? 179 : died;
        EXPECT_TRUE(plan.allocation < 0 || seen.status != not_found);
        EXPECT_TRUE(name != "GetTargetList" || seen.status == 0 || seen.bytes == untouched ||
                    seen.bytes == 0);
        const std::string guard = seen.buffer.substr(seen.bytes == untouched ? 0 : seen.bytes);
        EXPECT_EQ(guard.find_first_not_of(filling), guard.npos);
        EXPECT_TRUE(seen.settings == old.settings || seen.settings == healthy.settings) << seen.settings;
        EXPECT_TRUE(seen.name_file == old.name_file || seen.name_file == healthy.name_file) << seen.name_file;
        EXPECT_TRUE(failing.kind == Kind::entry || !host::exists("/tmp/tmpiscsidconf.txt"));
        if (is_transparent()) {
            EXPECT_EQ(seen.status, expected.status);
            EXPECT_TRUE(seen.buffer == expected_buffer(expected, seen.buffer));
        }
    }

    bool is_documented() const {
        // Starting and stopping answer what their script's shell says.
        const bool raw = name.starts_with("StartInitiator") || name.starts_with("StopInitiator");
        if (raw && plan.command >= 0 && seen.status == static_cast<unsigned int>(plan.result)) return true;
        const auto& sick = GetParam().sick;
        return seen.status == expected.status || std::count(sick.begin(), sick.end(), seen.status) != 0;
    }

    void expect_log() {
        const std::string message = initiator.GetErrStr(static_cast<int>(seen.status));
        const bool is_logged = logs(name, seen.status);
        EXPECT_EQ(seen.err_msg, is_logged ? message : "");
        const bool no_module = seen.status == 416;
        EXPECT_EQ(seen.log, no_module   ? "[open iscsi initiator start failed: driver modules not loaded]"
                            : is_logged ? "[" + message + "]"
                                        : "");
    }

    /// What is interrupted or cut short is gone on with.
    bool is_transparent() const { return plan.system_call >= 0 && (plan.error == 0 || plan.error == EINTR); }

    void expect_true_success() {
        std::vector<std::string> done = seen.commands, usual = expected.commands;
        for (auto* commands : {&done, &usual})
            std::erase_if(*commands,
                          [](const std::string& text) { return text.find("10.0.0.9") != text.npos; });
        EXPECT_TRUE(done.size() == usual.size() || name == "StopInitiator_Suse")
            << testing::PrintToString(done);
        EXPECT_EQ(seen.settings, healthy.settings);
        EXPECT_EQ(seen.name_file, healthy.name_file);
        const bool gone = plan.error == ENOENT && failing.kind != Kind::read;
        if (gone || may_differ(name, seen, plan)) return;
        EXPECT_EQ(seen.bytes, expected.bytes);
        EXPECT_EQ(seen.count, expected.count);
    }

    OpenInitiator initiator;
    const std::string name = GetParam().name;
    const Outcome& expected = GetParam().healthy;
    Plan plan;
    faults::SystemCall failing;
    Seen old, healthy, seen;
    int injected = 0;

private:
    void call_on_small_stack() {
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstack(&attributes, stack, stack_size);
        pthread_t thread;
        const auto work = [](void* self) { return static_cast<Sweep*>(self)->call_here(), self; };
        ASSERT_EQ(pthread_create(&thread, &attributes, work, this), 0);
        pthread_join(thread, nullptr);
        pthread_attr_destroy(&attributes);
    }

    /// In a cancelled thread, for a cancellation has to wait.
    void call_here() {
        const stack_t own{signal_stack, 0, sizeof signal_stack};
        sigaltstack(&own, nullptr);
        Call call{initiator, buffer};
        seen.status = died;
        const int before = plan.lasting ? PTHREAD_CANCEL_DISABLE : PTHREAD_CANCEL_ENABLE;
        int after = -1;
        pthread_setcancelstate(before, nullptr);
        pthread_cancel(pthread_self());
        faults::begin(plan);
        seen.status = GetParam().call(call);
        seen.report = faults::end();
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &after);
        EXPECT_EQ(after, before);
        seen.count = call.count;
        seen.bytes = call.bytes;
    }

    static inline unsigned char* stack = small_stack();
    static inline unsigned char buffer[buffer_size];
    static inline unsigned char signal_stack[64 * 1024];
};

std::vector<Operation> swept_operations() {
    std::vector<Operation> swept = table;
    std::erase_if(swept, [](const Operation& operation) { return operation.sick.empty(); });
    return swept;
}
INSTANTIATE_TEST_SUITE_P(Table, Sweep, testing::ValuesIn(swept_operations()),
                         [](const auto& parameter) { return std::string{parameter.param.name}; });

TEST_P(Sweep, OutlivesEveryFault) {
    const std::vector<faults::SystemCall> calls = healthy.report.system_calls;
    for (int n = 0; n < static_cast<int>(calls.size()); ++n) {
        const faults::SystemCall& call = calls[static_cast<std::size_t>(n)];
        for (const int error : errors.at(call.kind)) {
            if (error == 0 && !call.may_be_short) continue;
            try_out({.system_call = n, .error = error}, call);
            const bool interrupted = error == EINTR;
            try_out({.system_call = n, .error = error, .lasting = !interrupted, .times = interrupted ? 2 : 1},
                    call);
        }
    }
    tell("system calls", static_cast<int>(calls.size()));
    for (int n = 0; n < healthy.report.counts.allocations; ++n) {
        for (const bool lasting : {false, true}) try_out({.allocation = n, .lasting = lasting});
    }
    tell("allocations", healthy.report.counts.allocations);
    constexpr std::pair<int, int> ends[] = {{-1, EAGAIN}, {-1, ENOMEM}, {-1, ECHILD}, {127 << 8, 0}, {9, 0}};
    for (int n = 0; n < healthy.report.counts.commands; ++n) {
        for (const auto& [result, error] : ends) try_out({.error = error, .command = n, .result = result});
    }
    tell("commands", healthy.report.counts.commands);
    run_without_standard_streams();
}

/// Of those that open, read or write. Each alone, and long enough for a cancellation to act wherever it can.
TEST(ExportedFunctions, AreFinishedByCancelledThreads) {
    populate_host();
    shell::answer({{0, 0, ""}});
    static unsigned char session[16] = {1};
    static _iSCSI_Property property, end_of_list{78, ""};
    static _LoginParams params;
    static void* list = nullptr;
    static unsigned int count = 0;
    static int code = 0;
    static char target[] = "iqn.d", name[] = "iqn.x";
    static const auto chain = [](auto type) { return reinterpret_cast<decltype(type)>(&(list = nullptr)); };
    using Function = void (*)();
    const Function functions[] = {
        [] { check_stack_available(); },
        [] { is_module_loaded(); },
        [] { check_iscsid_instances(); },
        [] { check_stack_running(); },
        [] { get_linux_distro(&code); },
        [] { _GetProperty(0, 7, &property); },
        [] { _SetProperty(0, &end_of_list); },
        [] { _GetInitiatorNodeList(&list, &count, 2); },
        [] { _RemoveInitiatorNode(name); },
        [] { _GetPortalGroups(name, target, chain(static_cast<_TargetPortalGroups**>(nullptr))); },
        [] { _DiscoverTarget("10.0.0.7", 3260, chain(static_cast<_TargetInformation**>(nullptr)), &count); },
        [] { _LoginTarget(&params, "10.0.0.3"); },
        [] { _LogoutTarget(session); },
        [] { _GetTargetList(chain(static_cast<_TargetInformation**>(nullptr)), 1); },
        [] { _remove_iscsi_dirs("10.0.0.3", 3260); },
        [] { _remove_persistent_entry(nullptr, "10.0.0.3", 3260, nullptr); },
        [] { _QuerySessionCount(&count); },
        [] { _QuerySessionList(chain(static_cast<_SessionInformation**>(nullptr)), &count, nullptr); },
        [] { _QuerySessionID("10.0.0.1", 3260, "iqn.a"); },
        [] { _QueryConnectionList(name, session, chain(static_cast<_ConnectionInformation**>(nullptr))); },
        [] { _QueryDiskCount(session, &count); },
        [] { _QueryDiskList("1", chain(static_cast<_DiskInformation**>(nullptr)), &count); },
    };
    for (const Function& function : functions) {
        pthread_t thread;
        const auto work = [](void* finished) {
            pthread_cancel(pthread_self());
            (*static_cast<const Function*>(finished))();
            return finished;
        };
        void* result = nullptr;
        ASSERT_EQ(pthread_create(&thread, nullptr, work, const_cast<Function*>(&function)), 0);
        pthread_join(thread, &result);
        EXPECT_EQ(result, &function) << "number " << &function - functions;
    }
}

TEST(Probes, TakeNoMemoryAndBelieveNoListingThatFails) {
    populate_host();
    faults::trap_system_calls();
    faults::begin({.allocation = 0, .lasting = true});
    const int answers[] = {check_stack_available(), is_module_loaded(), check_stack_running(),
                           check_iscsid_instances()};
    EXPECT_EQ(faults::end().counts.allocations, 0);
    EXPECT_EQ(std::vector<int>(std::begin(answers), std::end(answers)), (std::vector{1, 1, 1, 1}));
    faults::begin({});
    check_iscsid_instances();
    const std::vector<faults::SystemCall> calls = faults::end().system_calls;
    for (int n = 0; n < static_cast<int>(calls.size()); ++n) {
        if (calls[static_cast<std::size_t>(n)].kind != Kind::list) continue;
        faults::begin({.system_call = n, .error = EIO});
        EXPECT_EQ(check_iscsid_instances(), 0) << n;
        faults::end();
    }
}

}  // namespace
