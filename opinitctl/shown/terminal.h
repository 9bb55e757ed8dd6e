// The person at the terminal: how wide it is, colours, questions.
#pragma once

#include <cstddef>
#include <string>

namespace opinitctl {

/// Columns of the terminal behind the descriptor; 0 where it is none.
std::size_t terminal_width(int fd);

/// Whether standard output takes colours, and the person wants them: https://no-color.org
bool wants_colours();

/// Asks "QUESTION? [y/N]"; the answer is read from standard input.
bool agrees(const std::string& question);

}  // namespace opinitctl
