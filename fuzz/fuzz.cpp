#include "fuzz/fuzz.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace fuzz {

void require_equal(const std::string& expected, const std::string& found, std::string_view what) {
    if (found == expected) return;
    const auto differ = std::mismatch(expected.begin(), expected.end(), found.begin(), found.end());
    const auto same = static_cast<std::size_t>(differ.first - expected.begin());
    std::fprintf(stderr, "%.*s: different from character %zu on", static_cast<int>(what.size()), what.data(),
                 same);
    for (const std::string* text : {&expected, &found}) {
        std::fputs(text == &expected ? "\nexpected: " : "\nfound: ", stderr);
        for (const char c : text->substr(same, 100))
            std::fprintf(stderr, c >= ' ' && c <= '~' ? "%c" : "\\x%02x", static_cast<unsigned char>(c));
    }
    std::abort();
}

void require_equal(long long expected, long long found, std::string_view what) {
    require_equal(std::to_string(expected), std::to_string(found), what);
}

std::vector<std::string> words(std::string_view text, std::string_view separators) {
    std::vector<std::string> found;
    std::size_t begin = 0, end = 0;
    while ((begin = text.find_first_not_of(separators, end)) != text.npos) {
        end = std::min(text.find_first_of(separators, begin), text.size());
        found.emplace_back(text.substr(begin, end - begin));
    }
    return found;
}

std::vector<std::string> pieces(std::string_view text, std::size_t longest) {
    std::vector<std::string> found;
    for (; !text.empty(); text.remove_prefix(found.back().size())) {
        found.emplace_back(text.substr(0, std::min(text.find('\n'), longest - 1) + 1));
    }
    return found;
}

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != text.npos;
}

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int lowest_free = dup(0);
    close(lowest_free);
    fuzz::try_input({reinterpret_cast<const char*>(data), size});
    const int now = dup(0);
    close(now);
    fuzz::require_equal(lowest_free, now, "lowest free descriptor");
    return 0;
}
