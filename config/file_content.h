// Whole files: reading, and replacing what is in them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "core/base/host_files.h"
#include "core/base/secret_text.h"

namespace opinit {

/// The file from its current position to its end; nothing when it cannot be read to the end. One of at most
/// the expected size takes one read and another one that finds its end, which is spared where `enough` was
/// read.
std::optional<SecretText> read_content(const File& file, std::size_t expected, std::size_t enough = SIZE_MAX);

/// Puts `text` into an empty file that need not outlive the call: it is not asked to reach the disk.
bool fill_new_file(const File& file, std::string_view text);

/// Makes `text` the content of a file that holds `old`, in place, and has it reach the disk. When it fails,
/// `old` is put back as far as possible.
bool replace_content(const File& file, std::string_view old, std::string_view text);

}  // namespace opinit
