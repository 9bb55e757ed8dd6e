// Stand-in for the maker's module query: has libkmod read the module file's own information.
#include <dlfcn.h>
#include <libkmod.h>
#include <sys/utsname.h>

#include <array>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/kvlinhw.h"

namespace {

struct Unload {
    void operator()(void* library) const { dlclose(library); }
};
using Library = std::unique_ptr<void, Unload>;

/// A function of a library, which must have it.
template <class Function>
Function* loaded(const Library& library, const char* name) {
    void* const function = library ? dlsym(library.get(), name) : nullptr;
    if (function == nullptr) throw std::runtime_error(name);
    return reinterpret_cast<Function*>(function);
}

/// What is used of libkmod. It is loaded when it is asked for: what it needs itself takes an agent longer to
/// load than all the rest.
struct Kmod {
    Library library{dlopen("libkmod.so.2", RTLD_LAZY | RTLD_LOCAL)};
    decltype(&kmod_new) context = loaded<decltype(kmod_new)>(library, "kmod_new");
    decltype(&kmod_unref) drop_context = loaded<decltype(kmod_unref)>(library, "kmod_unref");
    decltype(&kmod_set_log_priority) log_priority =
        loaded<decltype(kmod_set_log_priority)>(library, "kmod_set_log_priority");
    decltype(&kmod_module_new_from_path) module_at =
        loaded<decltype(kmod_module_new_from_path)>(library, "kmod_module_new_from_path");
    decltype(&kmod_module_unref) drop_module =
        loaded<decltype(kmod_module_unref)>(library, "kmod_module_unref");
    decltype(&kmod_module_get_info) information =
        loaded<decltype(kmod_module_get_info)>(library, "kmod_module_get_info");
    decltype(&kmod_module_info_free_list) drop_information =
        loaded<decltype(kmod_module_info_free_list)>(library, "kmod_module_info_free_list");
    decltype(&kmod_module_info_get_key) key =
        loaded<decltype(kmod_module_info_get_key)>(library, "kmod_module_info_get_key");
    decltype(&kmod_module_info_get_value) value =
        loaded<decltype(kmod_module_info_get_value)>(library, "kmod_module_info_get_value");
    decltype(&kmod_list_next) next = loaded<decltype(kmod_list_next)>(library, "kmod_list_next");
};

template <class Handle, class Drop>
auto owned(Handle* handle, Drop drop) {
    return std::unique_ptr<Handle, Drop>(handle, drop);
}

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

void copy_value(const Kmod& kmod, const kmod_list* information, std::string_view key, char* text) {
    for (const kmod_list* entry = information; entry != nullptr; entry = kmod.next(information, entry)) {
        if (key != kmod.key(entry)) continue;
        const std::string_view value{kmod.value(entry)};
        text[value.copy(text, kv_modinfo_text_size - 1)] = '\0';
        return;
    }
}

bool read_information(const Kmod& kmod, const std::string& path, char* version, char* description) {
    const char* const no_configuration = nullptr;
    const auto context = owned(kmod.context(nullptr, &no_configuration), kmod.drop_context);
    if (!context) return false;
    // Its complaints would go to the agent's standard error.
    kmod.log_priority(context.get(), 0);
    kmod_module* found = nullptr;
    if (kmod.module_at(context.get(), path.c_str(), &found) < 0) return false;
    const auto module = owned(found, kmod.drop_module);
    kmod_list* list = nullptr;
    if (kmod.information(module.get(), &list) < 0) return false;
    const auto information = owned(list, kmod.drop_information);
    copy_value(kmod, list, "version", version);
    copy_value(kmod, list, "description", description);
    return true;
}

}  // namespace

int getModinfo(const char* module, char* version, char* description) try {
    return read_information(Kmod(), module_path(module), version, description) ? 0 : 1;
} catch (const std::exception&) {
    return 1;
}
