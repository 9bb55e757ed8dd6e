// Open file descriptors.
#pragma once

#include <sys/types.h>

#include <cerrno>
#include <utility>

namespace opinit {

/// Whether errno says that nothing stands at a path. With any other number something may be there.
inline bool nothing_there(int error) {
    return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

/// Makes a system call again for as long as a signal of the agent's interrupts it.
template <class Call>
auto uninterrupted(Call call) {
    decltype(call()) result;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

/// Owns a descriptor that is closed on exec, and is never 0, 1 or 2: an agent without standard streams would
/// print its messages into the file.
class Descriptor {
public:
    Descriptor(const char* path, int flags, mode_t permissions = 0);
    Descriptor(Descriptor&& other) noexcept
        : number_{std::exchange(other.number_, -1)}, error_{other.error_} {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        std::swap(error_, other.error_);
        return *this;
    }
    ~Descriptor();

    bool is_open() const { return number_ >= 0; }
    int number() const { return number_; }
    /// Why it could not be opened: what errno said.
    int error() const { return error_; }
    /// Whether it could not be opened because nothing stands there.
    bool missing() const { return nothing_there(error_); }

private:
    int number_;
    int error_;
};

}  // namespace opinit
