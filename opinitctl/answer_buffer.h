// Room for the answer of an operation that is not told how much room there is.
#pragma once

#include <cstddef>
#include <cstring>
#include <vector>

namespace opinitctl {

/// Most records that are taken from one answer.
inline constexpr std::size_t most_records = 16384;

/// Address space that takes memory only where it is written, with a page behind it that cannot be: an answer
/// beyond the limit ends the program instead of overwriting something else.
class GuardedSpace {
public:
    explicit GuardedSpace(std::size_t size);
    ~GuardedSpace();
    GuardedSpace(const GuardedSpace&) = delete;
    GuardedSpace& operator=(const GuardedSpace&) = delete;

    std::byte* data() const { return data_; }

private:
    std::byte* data_;
    std::size_t mapped_;
};

/// Buffer and byte count of a listing operation. Counting first would not help: a session may appear, and a
/// discovery may find more, between the two calls.
template <class Record>
class AnswerBuffer {
public:
    void* data() const { return space_.data(); }
    unsigned int* bytes() { return &bytes_; }

    std::vector<Record> records() const {
        std::vector<Record> records(bytes_ / sizeof(Record));
        if (!records.empty()) std::memcpy(records.data(), space_.data(), records.size() * sizeof(Record));
        return records;
    }

private:
    GuardedSpace space_{most_records * sizeof(Record)};
    unsigned int bytes_ = 0;
};

}  // namespace opinitctl
