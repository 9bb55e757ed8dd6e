#include "tests/support/memory.h"

#include <dlfcn.h>

#include <climits>
#include <cstddef>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
}

namespace {

int countdown = -1;
int failures_left = 0;
bool failed = false;

bool fails() {
    if (countdown < 0 || countdown-- > 0) return false;
    countdown = 0;
    failed = true;
    if (--failures_left == 0) countdown = -1;
    return true;
}

}  // namespace

namespace memory {

void fail_from(int n) {
    failures_left = INT_MAX;
    failed = false;
    countdown = n;
}

void fail_only(int n) {
    failures_left = 1;
    failed = false;
    countdown = n;
}

bool restore() {
    countdown = -1;
    return failed;
}

}  // namespace memory

// The library's own allocations end here too: these names stand before the C library's.
extern "C" void* malloc(std::size_t size) { return fails() ? nullptr : __libc_malloc(size); }
extern "C" void* calloc(std::size_t count, std::size_t size) {
    return fails() ? nullptr : __libc_calloc(count, size);
}
