// An agent compiled long ago: it knows the interface as a table of slots, not by names.
#pragma once

#include <array>
#include <string>

#include "kvlinopinitr/open_initiator.h"
#include "kvlinopinitr/open_initiator_functions.h"

/// Two entries for the destructors stand before the first operation.
inline constexpr int first_slot = 2;

template <class... Arguments>
#ifdef __clang__
__attribute__((no_sanitize("function")))
#endif
unsigned int
call_slot(ISCSI_Initiator& initiator, int slot, Arguments... arguments) {
    void** table = *reinterpret_cast<void***>(&initiator);
    const auto operation =
        reinterpret_cast<unsigned int (*)(ISCSI_Initiator*, Arguments...)>(table[first_slot + slot]);
    return operation(&initiator, arguments...);
}

/// Bytes behind a buffer that no operation may touch.
template <std::size_t size>
class GuardedBuffer {
public:
    GuardedBuffer() { bytes_.fill(0xAA); }
    unsigned char* data() { return bytes_.data(); }
    bool untouched_from(std::size_t offset) const {
        for (std::size_t i = offset; i < bytes_.size(); ++i) {
            if (bytes_[i] != 0xAA) return false;
        }
        return true;
    }

private:
    std::array<unsigned char, size + 64> bytes_;
};
