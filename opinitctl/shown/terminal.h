// What is known of the terminal.
#pragma once

#include <cstddef>

namespace opinitctl {

/// Columns of the terminal behind the descriptor; 0 where it is none.
std::size_t terminal_width(int fd);

/// Whether standard output takes colours, and the person wants them: https://no-color.org
bool wants_colours();

}  // namespace opinitctl
