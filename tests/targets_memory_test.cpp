// Lists are whole and nothing is left behind, whichever allocation of the target functions fails.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <utility>

#include "include/open_initiator_functions.h"
#include "tests/support/host.h"

namespace {

constexpr long unlimited = -1;
long allowed = unlimited;
long outstanding = 0;

bool refused() {
    return allowed != unlimited && allowed-- == 0;
}

}  // namespace

// The link options lead the library's calls here: records, and everything else.
extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void __real_free(void* block);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size) {
    return refused() ? nullptr : (++outstanding, __real_calloc(count, size));
}
extern "C" void __wrap_free(void* block) {
    if (block != nullptr) --outstanding;
    __real_free(block);
}
void* operator new(std::size_t size) {
    if (refused()) throw std::bad_alloc{};
    ++outstanding;
    return std::malloc(size);
}
void operator delete(void* block) noexcept {
    __wrap_free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    __wrap_free(block);
}

extern "C" int system(const char*) {
    return 0;
}

namespace {

/// `allowed` runs into `unlimited` at the allocation that is refused, so just that one is.
template <class Work>
void refuse_each_allocation(Work work) {
    bool reached = true;
    for (long failing = 0; reached; ++failing) {
        ASSERT_LT(failing, 500);
        const long before = outstanding;
        _TargetInformation* list = nullptr;
        allowed = failing;
        const unsigned int targets = work(&list);
        reached = std::exchange(allowed, unlimited) == unlimited;
        unsigned int whole = 0;
        for (const _TargetInformation* target = list; target != nullptr; target = next_record(target)) {
            if (target->target_name[0] != '\0' && target->portals != nullptr) ++whole;
        }
        EXPECT_EQ(whole, targets) << "when allocation " << failing << " fails";
        EXPECT_EQ(list == nullptr, targets == 0);
        FreeTargetList(list);
        EXPECT_EQ(outstanding, before) << "left behind when allocation " << failing << " fails";
    }
}

TEST(MemoryRunsOut, InTheReadersOfTheDatabases) {
    for (const char* entry : {"a,10.1.1.5,1,1,default", "b,10.1.1.5,1,1,default", "b,10.1.1.6,1,1,default"}) {
        for (const char* portal : {"10.1.1.5,1/", "10.1.1.6,1/"}) {
            // Directories that are not empty survive a discovery.
            host::write_file(std::string{"/var/lib/iscsi/send_targets/"} + portal + entry + "/default", "");
        }
    }
    refuse_each_allocation([](_TargetInformation** list) {
        const int status = _GetTargetList(list, 1);
        EXPECT_TRUE(status == 0 || status == 2) << status;
        unsigned int targets = 0;
        for (auto* target = *list; target != nullptr; target = next_record(target))
            targets += target->node_index;
        EXPECT_EQ(targets != 0, status == 0);
        return targets;
    });
    refuse_each_allocation([](_TargetInformation** list) {
        unsigned int targets = 0;
        const unsigned int status = _DiscoverTarget("10.1.1.5", 1, list, &targets);
        EXPECT_TRUE(status == 2 || (status == 0 && targets == 2)) << status << ", " << targets;
        return targets;
    });
}

}  // namespace
