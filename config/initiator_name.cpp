#include "config/initiator_name.h"

#include <unistd.h>

#include <array>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "config/file_content.h"
#include "core/base/host_files.h"
#include "core/base/tokens.h"

namespace opinit {
namespace {

constexpr const char* name_file = "/etc/iscsi/initiatorname.iscsi";
constexpr std::string_view name_key = "InitiatorName=";
constexpr std::size_t name_line_limit = 512;

/// A word of the file, character by character, so that an endless one costs no memory.
class Word {
public:
    void add(char c) {
        if (size_ < initiator_name_size - 1) text_[size_] = c;
        ++size_;
        if (key_matched_ == name_key.size()) return;
        if (c != name_key[key_matched_])
            key_matched_ = 0;  // its first letter does not occur again in the key
        if (c == name_key[key_matched_]) ++key_matched_;
    }

    bool is_name_word() const { return key_matched_ == name_key.size() && text_[0] != '#'; }
    bool too_long() const { return size_ >= initiator_name_size; }
    std::string_view text() const { return text_.data(); }

private:
    std::array<char, initiator_name_size> text_{};
    std::size_t size_ = 0;
    std::size_t key_matched_ = 0;
};

/// The file's name word, or a word that is none.
Word find_name_word(const File& file) {
    LineReader lines{file, name_line_limit};
    Word word;
    while (const auto piece = lines.next()) {
        for (const char c : *piece) {
            if (std::isspace(static_cast<unsigned char>(c)) == 0) {
                word.add(c);
            } else if (word.is_name_word()) {
                return word;
            } else {
                word = Word{};
            }
        }
    }
    return word;
}

/// Removes a name file that was made for a name it never got.
class NewNameFile {
public:
    NewNameFile() : is_new_{::access(name_file, F_OK) != 0 && errno == ENOENT} {}
    NewNameFile(const NewNameFile&) = delete;
    NewNameFile& operator=(const NewNameFile&) = delete;
    ~NewNameFile() {
        // Where the administrator's link led to nothing, the link stays.
        char path[PATH_MAX];
        if (is_new_ && ::realpath(name_file, path) != nullptr) ::unlink(path);
    }

    void keep() { is_new_ = false; }

private:
    bool is_new_;
};

}  // namespace

int _GetInitiatorName(char (&name)[initiator_name_size]) {
    const File file{name_file, Access::read_and_write};
    if (!file) return -1;
    const Word word = find_name_word(file);
    if (!word.is_name_word()) return 0;
    if (word.too_long()) return -2;
    std::string_view rest = word.text();
    const auto is_equals = [](char c) { return c == '='; };
    next_token(rest, is_equals);
    const std::string_view value = next_token(rest, is_equals);
    if (value.empty()) return -1;
    std::memset(name, 0, sizeof name);
    value.copy(name, sizeof name - 1);
    return value.size() > longest_initiator_name ? -2 : 0;
}

int write_initiator_name(std::string_view name) {
    if (name.size() > longest_initiator_name) return -3;
    const std::string line = std::string{name_key}.append(name).append("\n");
    NewNameFile made;
    const File file{name_file, Access::create};
    if (!file) return -1;
    const auto old = read_content(file, name_line_limit);
    if (!old || !replace_content(file, old->view(), line)) return -1;
    made.keep();
    return 0;
}

}  // namespace opinit
