#include "config/writers_turn.h"

#include <fcntl.h>

#include <cerrno>
#include <thread>

namespace opinit {
namespace {

using namespace std::chrono_literals;

constexpr auto pause = 1ms;

/// Sets or lifts the lock; false when another one holds it. It belongs to the open file, not to the process,
/// so that threads take turns as well.
bool set_lock(const File& file, short type) {
    struct flock whole_file {};
    whole_file.l_type = type;
    whole_file.l_whence = SEEK_SET;
    if (::fcntl(file.descriptor(), F_OFD_SETLK, &whole_file) == 0) return true;
    return errno != EAGAIN && errno != EACCES && errno != EINTR;
}

}  // namespace

WritersTurn::WritersTurn(const File& file, Clock::time_point deadline)
    : file_{file}, mine_{set_lock(file, F_WRLCK)}, late_{!mine_} {
    // No wait without end: a process that was stopped in its turn, or anyone who may read the file and locks
    // it against writers, would hang the agent.
    while (!mine_ && Clock::now() < deadline) {
        std::this_thread::sleep_for(pause);
        mine_ = set_lock(file_, F_WRLCK);
    }
}

WritersTurn::~WritersTurn() {
    // Closing alone would leave the lock with a child that the agent forked meanwhile.
    if (mine_) set_lock(file_, F_UNLCK);
}

}  // namespace opinit
