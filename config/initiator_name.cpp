#include "config/initiator_name.h"

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <optional>
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
constexpr int most_links = 8;

namespace fs = std::filesystem;

bool is_name_word(std::string_view word) {
    return word.find(name_key) != std::string_view::npos && !word.starts_with('#');
}

/// The file's name word, or a word that is none; nothing when the file cannot be read.
std::optional<std::string> find_name_word(const File& file) {
    LineReader lines{file, name_line_limit};
    std::string word;  // may go on in the next piece
    while (const auto piece = lines.next()) {
        for (const char c : *piece) {
            if (!is_white_space(c)) {
                word += c;
            } else if (is_name_word(word)) {
                return word;
            } else {
                word.clear();
            }
        }
    }
    return lines.failed() ? std::nullopt : std::optional{word};
}

/// The open name file. One that was made here, for a name that it never got, is removed.
class NameFile {
public:
    NameFile() : file_{name_file, Access::read_and_write} {
        if (file_.missing()) make();
    }
    NameFile(const NameFile&) = delete;
    NameFile& operator=(const NameFile&) = delete;
    ~NameFile() {
        if (!made_.empty()) ::unlink(made_.c_str());
    }

    const File& file() const { return file_; }
    void keep() { made_.clear(); }

private:
    /// Where the administrator's link leads to nothing, the file is made there, and the link stays.
    void make() {
        fs::path path = name_file;
        for (int links = 0; links < most_links; ++links) {
            file_ = File{path.c_str(), Access::create_new};
            if (file_) made_ = path;
            std::error_code no_link;
            const fs::path target = fs::read_symlink(path, no_link);
            if (file_ || no_link) return;
            path = path.parent_path() / target;
        }
    }

    File file_;
    fs::path made_;
};

}  // namespace

int _GetInitiatorName(char (&name)[initiator_name_size]) {
    const File file{name_file, Access::read_and_write};
    if (!file) return -1;
    const auto word = find_name_word(file);
    if (!word) return -1;
    if (!is_name_word(*word)) return 0;
    if (word->size() >= initiator_name_size) return -2;
    std::string_view rest = word->c_str();
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
    NameFile name_holder;
    const File& file = name_holder.file();
    if (!file) return -1;
    const auto old = read_content(file, name_line_limit);
    if (!old || !replace_content(file, old->view(), line)) return -1;
    name_holder.keep();
    return 0;
}

}  // namespace opinit
