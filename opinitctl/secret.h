// Secrets: read from a file or standard input, kept in memory that is wiped, shown as stars.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace opinitctl {

/// The same for every secret, so that not even its length shows.
inline constexpr const char* stars = "********";

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

/// Reads the one line in `source`, a file or "-", into `field`, which stays terminated. A Failure says why a
/// secret cannot be had; it never quotes any of it.
void read_secret(const std::string& source, char* field, std::size_t size);

template <std::size_t Size>
void read_secret(const std::string& source, char (&field)[Size]) {
    read_secret(source, field, Size);
}

}  // namespace opinitctl
