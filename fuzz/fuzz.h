// What the fuzzers share. Each runs in a simulated host, writes what the library reads at the real paths, and
// compares the answers with those of a reading of its own.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/host.h"

namespace fuzz {

/// What a fuzzer does with one input.
void try_input(const std::string& input);

/// Ends the program when they differ, so that the input is kept.
void require_equal(const std::string& expected, const std::string& found, std::string_view what);
void require_equal(long long expected, long long found, std::string_view what);

/// Runs of characters that are no separators.
std::vector<std::string> words(std::string_view text, std::string_view separators);
inline constexpr std::string_view whitespace = " \t\n\v\f\r";

/// As fgets reads: a piece ends behind a newline or at `longest` characters.
std::vector<std::string> pieces(std::string_view text, std::size_t longest);

bool contains(std::string_view text, std::string_view part);

template <class Object>
std::string bytes(const Object& object) {
    return {reinterpret_cast<const char*>(&object), sizeof object};
}

}  // namespace fuzz
