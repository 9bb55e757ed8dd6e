#include "fuzz/fuzz.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "tests/support/host.h"

namespace fuzz {

void put(const char* path, std::string_view text) {
    const int descriptor = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const bool written = write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    require_equal("written", written && close(descriptor) == 0 ? "written" : "lost", path);
}

std::string get(const char* path) {
    std::string text(1 << 16, '\0');
    const int descriptor = open(path, O_RDONLY);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(read(descriptor, text.data(), text.size()), 0)));
    close(descriptor);
    return text;
}

void require_equal(const std::string& expected, const std::string& found, std::string_view what) {
    if (found == expected) return;
    const auto differ = std::mismatch(expected.begin(), expected.end(), found.begin(), found.end());
    const auto same = static_cast<std::size_t>(differ.first - expected.begin());
    std::fprintf(stderr, "%.*s: different from character %zu on\n", static_cast<int>(what.size()),
                 what.data(), same);
    for (const std::string& text :
         {"expected: " + expected.substr(same, 100), "found: " + found.substr(same, 100)}) {
        for (const char c : text) {
            const bool readable = c >= ' ' && c <= '~';
            std::fprintf(stderr, readable ? "%c" : "\\x%02x", static_cast<unsigned char>(c));
        }
        std::fputc('\n', stderr);
    }
    std::abort();
}

std::vector<std::string> words(std::string_view text, std::string_view separators) {
    std::vector<std::string> found(1);
    for (const char c : text) {
        if (!contains(separators, {&c, 1})) {
            found.back() += c;
        } else if (!found.back().empty()) {
            found.emplace_back();
        }
    }
    if (found.back().empty()) found.pop_back();
    return found;
}

std::vector<std::string> pieces(std::string_view text, std::size_t longest) {
    std::vector<std::string> found;
    bool open = false;
    for (const char c : text) {
        if (!open) found.emplace_back();
        found.back() += c;
        open = c != '\n' && found.back().size() < longest;
    }
    return found;
}

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int lowest_free = dup(0);
    close(lowest_free);
    fuzz::try_input({reinterpret_cast<const char*>(data), size});
    const int now = dup(0);
    close(now);
    fuzz::require_equal(std::to_string(lowest_free), std::to_string(now), "lowest free descriptor");
    return 0;
}

/// libFuzzer wants a directory for inputs that it finds to be of interest.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    host::make_directory("/run/inputs");
    return 0;
}
