#include "running/held_signals.h"

#include <ctime>

namespace opinitctl {
namespace {

bool is_ignored(int signal) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

}  // namespace

HeldSignals::HeldSignals() {
    sigset_t held;
    sigfillset(&held);
    for (const int signal : {SIGTSTP, SIGTTIN, SIGTTOU, SIGCONT}) sigdelset(&held, signal);
    sigemptyset(&awaited_);
    sigaddset(&awaited_, SIGCHLD);
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
        if (!is_ignored(signal)) sigaddset(&awaited_, signal);
    }
    sigprocmask(SIG_BLOCK, &held, &before_);
}

HeldSignals::~HeldSignals() {
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

int HeldSignals::wait(std::chrono::milliseconds time) const {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    const timespec limit = {seconds.count(), std::chrono::nanoseconds(time - seconds).count()};
    const int signal = sigtimedwait(&awaited_, nullptr, &limit);
    return signal < 0 ? 0 : signal;
}

}  // namespace opinitctl
