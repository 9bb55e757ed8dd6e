// Secrets: read from a file, standard input or the terminal, kept in memory that is wiped.
#pragma once

#include <cstring>
#include <span>
#include <string>
#include <string_view>

namespace opinitctl {

/// Where a secret is read from standard input instead of a file.
inline constexpr std::string_view standard_input = "-";

/// A record that may hold a secret.
template <class Record>
struct Wiped {
    Record record = {};

    Wiped() = default;
    ~Wiped() { explicit_bzero(&record, sizeof record); }
    Wiped(const Wiped&) = delete;
    Wiped& operator=(const Wiped&) = delete;
};

/// Reads a secret into `field`, which stays terminated: the one line in `source`, a file or "-", or what the
/// person at the terminal answers when asked for the secret of `owner` (no source, or one that is a
/// terminal). A Failure says why it cannot be had; it never quotes any of it.
void read_secret(const std::string& source, const std::string& owner, std::span<char> field);

}  // namespace opinitctl
