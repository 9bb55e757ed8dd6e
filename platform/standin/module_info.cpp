// Stand-in for the maker's module query: reads the module file's own information section.
#include <elf.h>
#include <sys/utsname.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "platform/kvlinhw.h"

namespace {

std::string module_path(const std::string& module) {
    utsname kernel{};
    if (uname(&kernel) != 0) return {};
    std::error_code error;
    const std::string root = std::string{"/lib/modules/"} + kernel.release + "/kernel";
    for (std::filesystem::recursive_directory_iterator entry{root, error}, end; !error && entry != end;
         entry.increment(error)) {
        if (entry->path().filename() == module + ".ko") return entry->path();
    }
    return {};
}

std::string read_file(const std::string& path) {
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
}

template <class Structure>
bool read_at(std::string_view image, std::size_t offset, Structure& structure) {
    if (offset > image.size() || image.size() - offset < sizeof structure) return false;
    std::memcpy(&structure, image.data() + offset, sizeof structure);
    return true;
}

std::string_view part(std::string_view image, std::size_t offset, std::size_t size) {
    return offset <= image.size() ? image.substr(offset, size) : std::string_view{};
}

/// The section's NUL-separated "key=value" texts, empty where the image has none.
std::string_view modinfo_section(std::string_view image) {
    Elf64_Ehdr header;
    Elf64_Shdr names;
    if (!read_at(image, 0, header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) return {};
    if (!read_at(image, header.e_shoff + std::size_t{header.e_shstrndx} * sizeof names, names)) return {};
    const std::string_view name_table = part(image, names.sh_offset, names.sh_size);
    for (std::size_t i = 0; i < header.e_shnum; ++i) {
        Elf64_Shdr section;
        if (!read_at(image, header.e_shoff + i * sizeof section, section)) return {};
        const std::string_view name = part(name_table, section.sh_name, std::string_view::npos);
        if (name.substr(0, name.find('\0')) == ".modinfo")
            return part(image, section.sh_offset, section.sh_size);
    }
    return {};
}

void copy_value(std::string_view section, std::string_view key, char* text) {
    while (!section.empty()) {
        const std::string_view entry = section.substr(0, section.find('\0'));
        if (entry.size() > key.size() && entry.substr(0, key.size()) == key && entry[key.size()] == '=') {
            text[entry.copy(text, kv_modinfo_text_size - 1, key.size() + 1)] = '\0';
            return;
        }
        section.remove_prefix(std::min(section.size(), entry.size() + 1));
    }
}

}  // namespace

int getModinfo(const char* module, char* version, char* description) try {
    const std::string image = read_file(module_path(module));
    const std::string_view section = modinfo_section(image);
    if (section.empty()) return 1;
    copy_value(section, "version", version);
    copy_value(section, "description", description);
    return 0;
} catch (const std::exception&) {
    return 1;
}
