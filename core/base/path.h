// Paths of the host, put together without the heap: probes work when memory is out.
#pragma once

#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>

namespace opinit {

class Path {
public:
    explicit Path(std::string_view start) { text(start); }

    Path& text(std::string_view part) {
        // Names of files have 255 characters at most, so every path of the host fits. What does not fit is an
        // empty path, which nothing stands at.
        if (part.size() >= text_.size() - size_) {
            size_ = text_.size();
            text_[0] = '\0';
            return *this;
        }
        part.copy(text_.data() + size_, part.size());
        size_ += part.size();
        text_[size_] = '\0';
        return *this;
    }

    template <class Integer>
    Path& number(Integer value) {
        std::array<char, 24> digits;
        const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
        return text({digits.data(), static_cast<std::size_t>(end - digits.data())});
    }

    const char* c_str() const { return text_.data(); }
    std::string_view view() const { return c_str(); }

private:
    std::array<char, 800> text_;
    std::size_t size_ = 0;
};

}  // namespace opinit
