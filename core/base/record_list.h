// Chains of result records: each a heap block of the packed record and, behind it, the pointer to the next.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "kvlinopinitr/iscsi_records.h"

namespace opinit {

/// What `SIZEOFPOINTER` holds once an object exists.
inline constexpr std::size_t link_size = sizeof(void*);

/// Copies every payload, back to back, and returns the bytes copied. A null list copies nothing.
std::uint32_t copy_record_list(unsigned char* destination, std::uint32_t payload_size, const void* first);

/// Frees every record of the chain and wipes it first, since settings hold CHAP secrets. A null list is a
/// no-op.
void free_record_list(void* first, std::uint32_t payload_size);

template <class Record>
void link_record(Record* record, Record* next) {
    std::memcpy(reinterpret_cast<unsigned char*>(record) + sizeof(Record), &next, link_size);
}

/// A zeroed heap record without successor, or null when memory is out.
template <class Record>
Record* new_record() {
    return static_cast<Record*>(std::calloc(1, sizeof(Record) + link_size));
}

/// Owns a chain of records until it is released to a caller.
template <class Record>
class RecordList {
public:
    RecordList() = default;
    explicit RecordList(Record* first) : last_{first}, first_{first} {
        while (last_ != nullptr && next_record(last_) != nullptr) last_ = next_record(last_);
    }
    RecordList(RecordList&& other) noexcept : last_{other.last_}, first_{other.release()} {}
    ~RecordList() { free_record_list(first_, sizeof(Record)); }

    /// The new last record, zeroed, or null when memory is out (the list stays as it was).
    Record* append() {
        Record* record = new_record<Record>();
        if (record == nullptr) return nullptr;
        if (first_ == nullptr) {
            first_ = record;
        } else {
            link_record(last_, record);
        }
        last_ = record;
        return record;
    }

    Record* first() const { return first_; }
    Record* last() const { return last_; }
    Record* release() {
        last_ = nullptr;
        return std::exchange(first_, nullptr);
    }

private:
    Record* last_ = nullptr;
    Record* first_ = nullptr;
};

/// Puts a result into the caller's buffer: the whole of it, and only when both pointers are there.
template <class Record>
void deliver(const Record* list, void* buffer, unsigned int* bytes) {
    if (buffer == nullptr || bytes == nullptr) return;
    *bytes = copy_record_list(static_cast<unsigned char*>(buffer), sizeof(Record), list);
}

}  // namespace opinit
