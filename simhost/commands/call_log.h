#pragma once

#include <string>
#include <string_view>

namespace simhost {

// The argument as a shell would need it: plain text as it is, anything else in single quotes, and text
// with control characters as $'...', so that a call always fits one line.
std::string shell_word(std::string_view text);

// Appends the call to the call log, in one write.
void log_call(std::string_view name, int argc, char** argv);

}  // namespace simhost
