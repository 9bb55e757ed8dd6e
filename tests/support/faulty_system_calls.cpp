// Traps the process's own system calls with a filter that lets only marked ones through. Whatever function of
// whatever library makes them, they arrive here.
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <bitset>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "tests/support/faults.h"

namespace faults {
namespace {

constexpr long mark = 0x7e57ca11;  // the sixth argument, which none of these calls has

/// Where the file stands among the arguments: a descriptor, or a path that comes first or second.
enum class File { descriptor, path, second_path };
using enum File;

constexpr struct Trapped {
    Kind kind;
    File file;
    std::initializer_list<int> numbers;
} trapped[] = {
    {Kind::open, path, {SYS_open}},
    {Kind::open, second_path, {SYS_openat}},
    {Kind::read, descriptor, {SYS_read, SYS_pread64}},
    {Kind::list, descriptor, {SYS_getdents64}},
    {Kind::write, descriptor, {SYS_write, SYS_pwrite64, SYS_writev}},
    {Kind::look, path, {SYS_stat, SYS_lstat, SYS_access, SYS_readlink}},
    {Kind::look, second_path, {SYS_newfstatat, SYS_faccessat2, SYS_readlinkat}},
    {Kind::look, descriptor, {SYS_fstat}},
    {Kind::entry, path, {SYS_unlink, SYS_rmdir}},
    {Kind::entry, second_path, {SYS_unlinkat}},
    {Kind::cut, descriptor, {SYS_ftruncate}},
    {Kind::flush, descriptor, {SYS_fsync, SYS_fdatasync}},
    {Kind::lock, descriptor, {SYS_flock, SYS_fcntl}},
};

/// Calls that are let through: they do not fail in a way that matters here, or cannot be made by a signal's
/// handler. One that stands in neither list is a fault of these lists.
constexpr int harmless[] = {
    SYS_close,  SYS_lseek,  SYS_mmap,         SYS_munmap,          SYS_mprotect,     SYS_madvise,
    SYS_brk,    SYS_futex,  SYS_rt_sigaction, SYS_rt_sigprocmask,  SYS_rt_sigreturn, SYS_sigaltstack,
    SYS_clone,  SYS_clone3, SYS_vfork,        SYS_execve,          SYS_exit,         SYS_exit_group,
    SYS_wait4,  SYS_uname,  SYS_getpid,       SYS_gettid,          SYS_geteuid,      SYS_getrandom,
    SYS_tgkill, SYS_rseq,   SYS_prctl,        SYS_set_robust_list, SYS_prlimit64,    SYS_clock_nanosleep};

struct Trap {
    int number;
    long long arguments[5];
};

SystemCall seen[20'000];
Kind failing;
std::bitset<64> open_before;

long let_through(const Trap& trap) {
    const auto& a = trap.arguments;
    const long result = syscall(trap.number, a[0], a[1], a[2], a[3], a[4], mark);
    return result < 0 ? -errno : result;
}

const Trapped* entry_of(const Trap& trap) {
    return std::find_if(std::begin(trapped), std::end(trapped), [&](const Trapped& entry) {
        return std::count(entry.numbers.begin(), entry.numbers.end(), trap.number) != 0;
    });
}

/// Only as it locks or copies does this call fail in a way that matters.
bool is_harmless(const Trap& trap) {
    constexpr int fails[] = {F_SETLK, F_SETLKW, F_OFD_SETLK, F_OFD_SETLKW, F_DUPFD, F_DUPFD_CLOEXEC};
    return trap.number == SYS_fcntl && std::count(std::begin(fails), std::end(fails), trap.arguments[1]) == 0;
}

void note_path(const Trap& trap, const Trapped& entry, SystemCall& call) {
    call = {entry.kind, entry.kind == Kind::read || entry.kind == Kind::write, ""};
    if (entry.file != descriptor) {
        const auto* name = reinterpret_cast<const char*>(trap.arguments[entry.file == path ? 0 : 1]);
        std::strncpy(call.path, name, sizeof call.path - 1);
        return;
    }
    char link[40];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", static_cast<int>(trap.arguments[0]));
    syscall(SYS_readlinkat, AT_FDCWD, link, call.path, sizeof call.path - 1, 0, mark);
    // These give their whole text at once, or are not read further on purpose.
    for (const char* whole : {"/sys/", "/cmdline", "/etc/issue"})
        if (std::strstr(call.path, whole) != nullptr) call.may_be_short = false;
}

void watch_descriptor(const Trap& trap, Kind kind) {
    const long file = trap.arguments[0];
    const bool message = file == 2 && trap.number == SYS_write;
    if (message || kind == Kind::lock) return;
    if (file >= 0 && file <= 2) ++counts.standard_streams;
    const long flags = syscall(SYS_fcntl, file, F_GETFD, 0, 0, 0, mark);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) ++counts.inheritable;
}

bool is_planned(int n, const SystemCall& call) {
    if (plan.system_call < 0 || n < plan.system_call) return false;
    if (n == plan.system_call) failing = call.kind;
    const bool again = plan.lasting || n < plan.system_call + plan.times;
    const bool one_more = again && call.kind == failing && (plan.error != 0 || call.may_be_short);
    return n == plan.system_call || one_more;
}

/// A listing comes in the smallest portions, so that it can fail in the middle.
long list_little(Trap trap) {
    const long long room = trap.arguments[2];
    trap.arguments[2] = 64;
    const long size = let_through(trap);
    if (size != -EINVAL) return size;
    trap.arguments[2] = room;
    return let_through(trap);
}

long supervise(Trap trap) {
    if (is_harmless(trap)) return let_through(trap);
    const Trapped& entry = *entry_of(trap);
    if (&entry == std::end(trapped)) {
        counts.unknown = trap.number;
        return let_through(trap);
    }
    const int n = counts.system_calls++;
    if (n >= static_cast<int>(std::size(seen))) return -EIO;
    note_path(trap, entry, seen[n]);
    if (entry.file == descriptor) watch_descriptor(trap, entry.kind);
    if (is_planned(n, seen[n])) {
        ++counts.injected;
        if (plan.error != 0) return -plan.error;
        trap.arguments[2] = trap.arguments[2] != 0 ? 1 : 0;
    }
    return entry.kind == Kind::list ? list_little(trap) : let_through(trap);
}

void on_trap(int, siginfo_t*, void* context) {
    const int before = errno;
    auto& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    const Trap trap{
        static_cast<int>(registers[REG_RAX]),
        {registers[REG_RDI], registers[REG_RSI], registers[REG_RDX], registers[REG_R10], registers[REG_R8]}};
    registers[REG_RAX] = armed ? supervise(trap) : let_through(trap);
    errno = before;
}

std::bitset<64> open_descriptors() {
    std::bitset<64> open;
    for (std::size_t descriptor = 0; descriptor < open.size(); ++descriptor)
        open[descriptor] = syscall(SYS_fcntl, descriptor, F_GETFD, 0, 0, 0, mark) >= 0;
    return open;
}

}  // namespace

void trap_system_calls() {
    struct sigaction action {};
    action.sa_sigaction = on_trap;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    constexpr auto calls = static_cast<unsigned char>(std::size(harmless));
    std::vector<sock_filter> filter{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[5])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned int>(mark), calls + 2, 0),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
    };
    for (unsigned char i = 0; i < calls; ++i) {
        const auto let_through = static_cast<unsigned char>(calls - i);
        filter.push_back(
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned int>(harmless[i]), let_through, 0));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP));
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    const bool done = sigaction(SIGSYS, &action, nullptr) == 0 &&
                      prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
                      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
    if (!done) std::abort();
}

void begin(const Plan& next) {
    open_before = open_descriptors();
    plan = next;
    counts = {};
    armed = true;
}

Report end() {
    armed = false;
    Report report{{seen, seen + counts.system_calls}, counts, ""};
    const auto complain = [&report](int count, const char* what) {
        if (count != 0) report.faults += std::to_string(count) + " " + what + "; ";
    };
    complain(counts.blocks, "heap blocks lost");
    complain(counts.secrets, "heap blocks freed with a secret");
    complain(counts.inheritable, "uses of descriptors that a child inherits");
    complain(counts.unknown, "is the number of a system call that the sweep does not know");
    complain(counts.standard_streams, "uses of standard streams as files");
    complain(open_descriptors() != open_before ? 1 : 0, "change of open descriptors");
    return report;
}

}  // namespace faults
