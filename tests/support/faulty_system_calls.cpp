// Traps the process's own system calls with a filter that lets only marked ones through. Whatever function of
// whatever library makes them, they arrive here.
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

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

constexpr struct {
    int number;
    Kind kind;
} trapped[] = {
    {SYS_open, Kind::open},       {SYS_openat, Kind::open},     {SYS_openat2, Kind::open},
    {SYS_dup, Kind::open},        {SYS_read, Kind::read},       {SYS_pread64, Kind::read},
    {SYS_getdents64, Kind::list}, {SYS_write, Kind::write},     {SYS_pwrite64, Kind::write},
    {SYS_writev, Kind::write},    {SYS_stat, Kind::look},       {SYS_lstat, Kind::look},
    {SYS_fstat, Kind::look},      {SYS_newfstatat, Kind::look}, {SYS_statx, Kind::look},
    {SYS_access, Kind::look},     {SYS_faccessat, Kind::look},  {SYS_faccessat2, Kind::look},
    {SYS_readlink, Kind::look},   {SYS_readlinkat, Kind::look}, {SYS_unlink, Kind::entry},
    {SYS_unlinkat, Kind::entry},  {SYS_rmdir, Kind::entry},     {SYS_mkdir, Kind::entry},
    {SYS_rename, Kind::entry},    {SYS_fchmod, Kind::entry},    {SYS_ftruncate, Kind::cut},
    {SYS_fsync, Kind::flush},     {SYS_fdatasync, Kind::flush}, {SYS_flock, Kind::lock},
    {SYS_fcntl, Kind::lock},
};

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

Kind kind_of(const Trap& trap) {
    for (const auto& [number, kind] : trapped) {
        if (number == trap.number) return kind;
    }
    std::abort();
}

/// A call that cannot fail in a way that matters.
bool is_harmless(const Trap& trap) {
    if (trap.number != SYS_fcntl) return false;
    switch (trap.arguments[1]) {
        case F_SETLK:
        case F_SETLKW:
        case F_OFD_SETLK:
        case F_OFD_SETLKW:
        case F_DUPFD:
        case F_DUPFD_CLOEXEC:
            return false;
        default:
            return true;
    }
}

bool works_on_descriptor(const Trap& trap) {
    switch (trap.number) {
        case SYS_read:
        case SYS_pread64:
        case SYS_getdents64:
        case SYS_write:
        case SYS_pwrite64:
        case SYS_writev:
        case SYS_ftruncate:
        case SYS_fsync:
        case SYS_fdatasync:
        case SYS_flock:
        case SYS_fcntl:
        case SYS_fstat:
        case SYS_fchmod:
        case SYS_dup:
            return true;
        default:
            return false;
    }
}

void note_path(const Trap& trap, Kind kind, SystemCall& call) {
    call = {kind, kind == Kind::read || kind == Kind::write, ""};
    if (!works_on_descriptor(trap)) {
        const bool at = trap.number == SYS_openat || trap.number == SYS_openat2 ||
                        trap.number == SYS_newfstatat || trap.number == SYS_statx ||
                        trap.number == SYS_faccessat || trap.number == SYS_faccessat2 ||
                        trap.number == SYS_readlinkat || trap.number == SYS_unlinkat;
        std::strncpy(call.path, reinterpret_cast<const char*>(trap.arguments[at ? 1 : 0]),
                     sizeof call.path - 1);
        return;
    }
    char link[40];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", static_cast<int>(trap.arguments[0]));
    syscall(SYS_readlinkat, AT_FDCWD, link, call.path, sizeof call.path - 1, 0, mark);
    // These give their whole text at once, or are not read further on purpose.
    for (const char* whole : {"/sys/", "/cmdline", "/etc/issue"}) {
        if (std::strstr(call.path, whole) != nullptr) call.may_be_short = false;
    }
}

void watch_descriptor(const Trap& trap, Kind kind) {
    const long descriptor = trap.arguments[0];
    const bool message = kind == Kind::write && descriptor == 2 && trap.number == SYS_write;
    if (descriptor < 0 || message || kind == Kind::lock || kind == Kind::open) return;
    if (descriptor <= 2) ++counts.standard_streams;
    const long flags = syscall(SYS_fcntl, descriptor, F_GETFD, 0, 0, 0, mark);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) ++counts.inheritable;
}

bool is_planned(int n, const SystemCall& call) {
    if (plan.system_call < 0 || n < plan.system_call) return false;
    if (n == plan.system_call) failing = call.kind;
    const bool one_more = plan.lasting && call.kind == failing && (plan.error != 0 || call.may_be_short);
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
    const Kind kind = kind_of(trap);
    if (is_harmless(trap)) return let_through(trap);
    const int n = counts.system_calls++;
    if (n >= static_cast<int>(std::size(seen))) return -EIO;
    note_path(trap, kind, seen[n]);
    if (works_on_descriptor(trap)) watch_descriptor(trap, kind);
    if (is_planned(n, seen[n])) {
        ++counts.injected;
        if (plan.error != 0) return -plan.error;
        trap.arguments[2] = trap.arguments[2] != 0 ? 1 : 0;
    }
    return kind == Kind::list ? list_little(trap) : let_through(trap);
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
    for (std::size_t descriptor = 0; descriptor < open.size(); ++descriptor) {
        open[descriptor] = syscall(SYS_fcntl, descriptor, F_GETFD, 0, 0, 0, mark) >= 0;
    }
    return open;
}

void require(bool done, const char* what) {
    if (done) return;
    std::perror(what);
    std::_Exit(2);
}

}  // namespace

void trap_system_calls() {
    struct sigaction action {};
    action.sa_sigaction = on_trap;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    require(sigaction(SIGSYS, &action, nullptr) == 0, "sigaction");

    constexpr auto calls = static_cast<unsigned char>(std::size(trapped));
    std::vector<sock_filter> filter{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[5])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned int>(mark), calls + 1, 0),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
    };
    for (unsigned char i = 0; i < calls; ++i) {
        const auto to_trap = static_cast<unsigned char>(calls - i);
        filter.push_back(
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned int>(trapped[i].number), to_trap, 0));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP));
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    require(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "no new privileges");
    require(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0, "system call filter");
}

void begin(const Plan& next) {
    open_before = open_descriptors();
    plan = next;
    counts = {};
    armed = true;
}

Report end() {
    armed = false;
    Report report;
    report.allocations = counts.allocations;
    report.commands = counts.commands;
    report.injected = counts.injected;
    report.system_calls.assign(seen, seen + counts.system_calls);
    const auto complain = [&report](int count, const char* what) {
        if (count != 0) report.faults += std::to_string(count) + " " + what + "; ";
    };
    complain(counts.blocks, "heap blocks lost");
    complain(counts.secrets, "heap blocks freed with a secret");
    complain(counts.inheritable, "uses of descriptors that a child inherits");
    complain(counts.standard_streams, "uses of standard streams as files");
    complain(open_descriptors() != open_before ? 1 : 0, "change of open descriptors");
    return report;
}

}  // namespace faults
