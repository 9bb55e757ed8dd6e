// Whole files: reading, and replacing what is in them.
#pragma once

#include <optional>
#include <string_view>

#include "core/base/host_files.h"
#include "core/base/secret_text.h"

namespace opinit {

/// The file from its current position to its end; nothing when it cannot be read to the end.
std::optional<SecretText> read_content(const File& file);

/// Makes `text` the content of the file, in place, and has it reach the disk.
bool write_content(const File& file, std::string_view text);

/// The same for a file that holds `old`. When it fails, `old` is put back as far as possible.
bool replace_content(const File& file, std::string_view old, std::string_view text);

}  // namespace opinit
