// Short texts and directories of the host: sysfs, procfs, open-iscsi's databases.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "errors.h"

namespace opinitctl {

/// Says why, and who could.
Failure cannot_read(const std::string& path, int error);

/// Whether errno says so: with any other number something may be there.
bool nothing_there(int error);

/// Content without the newline at its end; empty where it cannot be read.
std::string text_in(const std::string& path);

/// The same line by line.
std::vector<std::string> lines_in(const std::string& path);

/// Names in a directory, those with numbers in the order of the numbers; none where there is no such
/// directory, and a Failure where it cannot be listed.
std::vector<std::string> names_in(const std::string& path);

/// What a link says; empty where it is none.
std::string link_text(const std::string& path);

/// The pieces between separators, of which there is one more than separators.
std::vector<std::string> split(const std::string& text, char separator);

/// Decimal digits and nothing else: nobody means 8 by 010.
std::optional<unsigned int> number_in(const std::string& text);

}  // namespace opinitctl
