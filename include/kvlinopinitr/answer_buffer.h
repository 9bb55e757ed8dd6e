// Room for the answer of an operation that is not told how much room there is. A pattern for agents: the
// library neither needs nor uses it.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <system_error>
#include <vector>

namespace kvlinopinitr {

/// Buffer and byte count of a listing operation, for at most `most_records` records. It is address space that
/// takes memory only where it is written, with a page behind it that cannot be: an answer beyond the limit
/// ends the program instead of overwriting something else. Counting first would not do: a session may appear,
/// and a discovery may find more, between the two calls.
template <class Record>
class AnswerBuffer {
public:
    explicit AnswerBuffer(std::size_t most_records = 16384) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t usable = (most_records * sizeof(Record) + page - 1) / page * page;
        mapped_ = usable + page;
        space_ = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE,
                      -1, 0);
        if (space_ == MAP_FAILED) {
            throw std::system_error(errno, std::generic_category(), "no room for an answer");
        }
        if (mprotect(static_cast<std::byte*>(space_) + usable, page, PROT_NONE) != 0) {
            const int error = errno;
            munmap(space_, mapped_);
            throw std::system_error(error, std::generic_category(), "no guard behind an answer");
        }
    }
    AnswerBuffer(const AnswerBuffer&) = delete;
    AnswerBuffer& operator=(const AnswerBuffer&) = delete;
    ~AnswerBuffer() { munmap(space_, mapped_); }

    void* data() { return space_; }
    /// Where the operation writes how much it answered: nothing, unless it writes. Asked for anew for each
    /// call.
    unsigned int* bytes() {
        bytes_ = 0;
        return &bytes_;
    }

    std::vector<Record> records() const {
        std::vector<Record> records(bytes_ / sizeof(Record));
        if (!records.empty()) std::memcpy(records.data(), space_, records.size() * sizeof(Record));
        return records;
    }

private:
    void* space_;
    std::size_t mapped_;
    unsigned int bytes_ = 0;
};

}  // namespace kvlinopinitr
