#include "sessions/attribute.h"

#include <algorithm>
#include <span>

#include "core/base/host_files.h"
#include "core/base/tokens.h"

namespace opinit {

Attribute::Attribute(const char* path, std::size_t line_limit) {
    line_[0] = '\0';
    const File file{path, Access::read};
    opened_ = static_cast<bool>(file);
    missing_ = file.missing();
    if (!opened_) return;
    const std::size_t longest = std::min(line_limit, line_.size()) - 1;
    const std::ptrdiff_t size = file.read(std::span{line_}.first(longest));
    unreadable_ = size < 0;
    const std::string_view text{line_.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
    const std::size_t end = text.starts_with("<NULL>") ? 0 : std::min(text.find('\n'), text.size());
    line_[end] = '\0';
}

std::string_view Attribute::word() const {
    std::string_view text{line()};
    return next_token(text, is_white_space);
}

}  // namespace opinit
