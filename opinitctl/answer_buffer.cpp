#include "answer_buffer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace opinitctl {

GuardedSpace::GuardedSpace(std::size_t size) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t usable = (size + page - 1) / page * page;
    mapped_ = usable + page;
    void* const space =
        mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (space == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "no room for an answer");
    data_ = static_cast<std::byte*>(space);
    mprotect(data_ + usable, page, PROT_NONE);
}

GuardedSpace::~GuardedSpace() {
    munmap(data_, mapped_);
}

}  // namespace opinitctl
