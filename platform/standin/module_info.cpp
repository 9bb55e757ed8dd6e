// Stand-in for the maker's module query: has libkmod read the module file's own information.
#include <libkmod.h>
#include <sys/utsname.h>

#include <array>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "platform/kvlinhw.h"

namespace {

struct Release {
    void operator()(kmod_ctx* context) const { kmod_unref(context); }
    void operator()(kmod_module* module) const { kmod_module_unref(module); }
    void operator()(kmod_list* information) const { kmod_module_info_free_list(information); }
};

template <class Handle>
using Owned = std::unique_ptr<Handle, Release>;

bool is_file_of(const std::string& module, const std::string& name) {
    constexpr std::array suffixes{".ko", ".ko.xz", ".ko.zst", ".ko.gz"};
    for (const char* suffix : suffixes) {
        if (name == module + suffix) return true;
    }
    return false;
}

std::string module_path(const std::string& module) {
    utsname kernel{};
    if (uname(&kernel) != 0) return {};
    std::error_code error;
    const std::string root = std::string{"/lib/modules/"} + kernel.release + "/kernel";
    for (std::filesystem::recursive_directory_iterator entry{root, error}, end; !error && entry != end;
         entry.increment(error)) {
        if (is_file_of(module, entry->path().filename())) return entry->path();
    }
    return {};
}

Owned<kmod_list> read_information(const std::string& path) {
    const char* const no_configuration = nullptr;
    const Owned<kmod_ctx> context{kmod_new(nullptr, &no_configuration)};
    if (!context) return {};
    // Its complaints would go to the agent's standard error.
    kmod_set_log_priority(context.get(), 0);
    kmod_module* found = nullptr;
    if (kmod_module_new_from_path(context.get(), path.c_str(), &found) < 0) return {};
    const Owned<kmod_module> module{found};
    kmod_list* information = nullptr;
    if (kmod_module_get_info(module.get(), &information) < 0) return {};
    return Owned<kmod_list>{information};
}

void copy_value(kmod_list* information, std::string_view key, char* text) {
    kmod_list* entry = nullptr;
    kmod_list_foreach(entry, information) {
        if (key != kmod_module_info_get_key(entry)) continue;
        const std::string_view value{kmod_module_info_get_value(entry)};
        text[value.copy(text, kv_modinfo_text_size - 1)] = '\0';
        return;
    }
}

}  // namespace

int getModinfo(const char* module, char* version, char* description) try {
    const Owned<kmod_list> information = read_information(module_path(module));
    if (!information) return 1;
    copy_value(information.get(), "version", version);
    copy_value(information.get(), "description", description);
    return 0;
} catch (const std::exception&) {
    return 1;
}
