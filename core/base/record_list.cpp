#include "core/base/record_list.h"

#include <string.h>

namespace opinit {
namespace {

void* next_of(const void* record, std::uint32_t payload_size) {
    void* next;
    std::memcpy(&next, static_cast<const unsigned char*>(record) + payload_size, link_size);
    return next;
}

}  // namespace

std::uint32_t copy_record_list(unsigned char* destination, std::uint32_t payload_size, const void* first) {
    std::uint32_t copied = 0;
    for (const void* record = first; record != nullptr; record = next_of(record, payload_size)) {
        std::memcpy(destination + copied, record, payload_size);
        copied += payload_size;
    }
    return copied;
}

void free_record_list(void* first, std::uint32_t payload_size) {
    for (void* record = first; record != nullptr;) {
        void* next = next_of(record, payload_size);
        explicit_bzero(record, payload_size);
        std::free(record);
        record = next;
    }
}

}  // namespace opinit
