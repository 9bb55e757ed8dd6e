// What the library uses of the maker's runtime library, libkvlinhw.
#pragma once

/// Modules and levels of the maker's log. Their meanings are the maker's; this library uses one of each.
enum ModName : int {};
enum LogType : int {};
inline constexpr ModName kv_module_initiator{5};
inline constexpr LogType kv_level_error{2};

class KvLogger {
public:
    /// Writes one entry to the maker's log; `format` and what follows it as for printf.
    static void KorvelLogMsg(ModName module, LogType level, char const* format, ...)
        __attribute__((format(printf, 3, 4)));
};

extern "C" {

/// Size of each text buffer of `getModinfo`, which the caller fills with zeros.
inline constexpr unsigned int kv_modinfo_text_size = 256;

/// Reports two NUL-terminated texts about a kernel module: its version and its description. 0 on success.
int getModinfo(const char* module, char* version, char* description);
}
