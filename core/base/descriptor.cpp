#include "core/base/descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace opinit {
namespace {

constexpr int first_free = STDERR_FILENO + 1;

int open_above_standard_streams(const char* path, int flags, mode_t permissions) {
    const int number = uninterrupted([&] { return ::open(path, flags | O_CLOEXEC, permissions); });
    if (number < 0 || number >= first_free) return number;
    const int moved = ::fcntl(number, F_DUPFD_CLOEXEC, first_free);
    const int error = errno;
    ::close(number);
    // What was just created, and that nobody could write into.
    if (moved < 0 && (flags & O_EXCL) != 0) ::unlink(path);
    errno = error;
    return moved;
}

}  // namespace

Descriptor::Descriptor(const char* path, int flags, mode_t permissions)
    : number_{open_above_standard_streams(path, flags, permissions)}, error_{is_open() ? 0 : errno} {}

Descriptor::~Descriptor() {
    if (is_open()) ::close(number_);
}

}  // namespace opinit
