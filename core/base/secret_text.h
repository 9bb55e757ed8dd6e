// Text that may hold CHAP secrets.
#pragma once

#include <string.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace opinit {

/// Wipes memory before it is given back, also what a growing container leaves behind.
template <class T>
struct WipingAllocator {
    using value_type = T;

    T* allocate(std::size_t count) { return std::allocator<T>{}.allocate(count); }
    void deallocate(T* memory, std::size_t count) {
        explicit_bzero(memory, count * sizeof(T));
        std::allocator<T>{}.deallocate(memory, count);
    }
    bool operator==(const WipingAllocator&) const = default;
};

class SecretText {
public:
    void append(std::string_view text) {
        const std::size_t end = view().size();
        resize(end + text.size());
        text.copy(characters_.data() + end, text.size());
    }
    void reserve(std::size_t size) { characters_.reserve(size + 1); }
    /// Cuts the text or fills it up with NULs.
    void resize(std::size_t size) {
        characters_.resize(size + 1);
        characters_.back() = '\0';
    }
    std::span<char> from(std::size_t begin) {
        return std::span{characters_}.subspan(begin, view().size() - begin);
    }
    std::string_view view() const {
        return characters_.empty() ? "" : std::string_view{characters_.data(), characters_.size() - 1};
    }
    const char* c_str() const { return view().data(); }

private:
    // Not a string, which keeps short texts outside the allocator's memory. With the terminator; without one
    // where nothing was ever put in, or all was moved out.
    std::vector<char, WipingAllocator<char>> characters_;
};

}  // namespace opinit
