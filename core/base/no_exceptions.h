// The line that no exception crosses: every exported function does its work behind it.
#pragma once

#include <pthread.h>

namespace opinit {

/// Keeps a cancelled thread going until the work is done: a login is not left half way.
class Uncancelled {
public:
    Uncancelled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    Uncancelled(const Uncancelled&) = delete;
    Uncancelled& operator=(const Uncancelled&) = delete;
    ~Uncancelled() { pthread_setcancelstate(before_, nullptr); }

private:
    int before_;
};

/// The result of `work`, or `otherwise` when an exception ended it: memory was out, or a function that an
/// agent put in the place of one of ours threw.
template <class Result, class Work>
Result without_exceptions(Result otherwise, Work work) noexcept {
    const Uncancelled whole;
    try {
        return work();
    } catch (...) {
        return otherwise;
    }
}

}  // namespace opinit
