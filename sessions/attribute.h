// One attribute of sysfs.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace opinit {

/// The first line of an attribute file, read when this is made. A value beginning with "<NULL>" counts as
/// absent, and so does an empty file: the line is then empty.
class Attribute {
public:
    /// `line_limit` as for fgets: the line keeps at most `line_limit` - 1 characters.
    Attribute(const char* path, std::size_t line_limit);

    bool opened() const { return opened_; }
    /// Whether nothing stands there.
    bool missing() const { return missing_; }
    /// Whether it could be opened but not read: the kernel has the attribute and no value for it now.
    bool unreadable() const { return unreadable_; }
    const char* line() const { return line_.data(); }
    /// The line's first whitespace-delimited word, empty when there is none.
    std::string_view word() const;

private:
    bool opened_;
    bool missing_;
    bool unreadable_ = false;
    std::array<char, 1025> line_;
};

}  // namespace opinit
