// Stands before the C library's allocator: allocations fail as planned, and freed memory is searched.
#include <malloc.h>

#include <cerrno>
#include <cstring>

#include "tests/support/faults.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void __libc_free(void* block);
}

namespace {

bool fails() {
    using namespace faults;
    if (!armed) return false;
    const int n = counts.allocations++;
    if (plan.allocation < 0 || n < plan.allocation || (n > plan.allocation && !plan.lasting)) return false;
    ++counts.injected;
    errno = ENOMEM;
    return true;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
    if (fails()) return nullptr;
    void* block = __libc_malloc(size);
    if (faults::armed && block != nullptr) ++faults::counts.blocks;
    return block;
}

// Whatever it held, so that nothing is found that was there before.
void free(void* block) {
    if (block == nullptr) return;
    const std::size_t size = malloc_usable_size(block);
    if (faults::armed) {
        --faults::counts.blocks;
        if (memmem(block, size, faults::secret, std::strlen(faults::secret)) != nullptr)
            ++faults::counts.secrets;
    }
    explicit_bzero(block, size);
    __libc_free(block);
}

void* calloc(std::size_t count, std::size_t size) {
    void* block = malloc(count * size);
    return block != nullptr ? std::memset(block, 0, count * size) : nullptr;
}
}
