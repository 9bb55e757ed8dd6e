#include "sessions/attribute.h"

#include <algorithm>
#include <span>

#include "core/base/host_files.h"

namespace opinit {
namespace {

constexpr std::string_view white_space = " \t\n\v\f\r";

}  // namespace

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
    const std::string_view text{line()};
    const std::size_t start = std::min(text.find_first_not_of(white_space), text.size());
    return text.substr(start, text.find_first_of(white_space, start) - start);
}

}  // namespace opinit
