// Stand-in for the maker's logger: entries go to syslog, and to a file for tests and demonstrations.
#include <sys/types.h>
#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "platform/kvlinhw.h"

namespace {

/// Names the file that receives every entry as a line "MODULE LEVEL TEXT".
constexpr const char* log_file_variable = "KVLINHW_LOG";

struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

void KvLogger::KorvelLogMsg(ModName module, LogType level, char const* format, ...) {
    char text[2048];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);

    syslog(LOG_DAEMON | LOG_NOTICE, "module %d level %d: %s", int{module}, int{level}, text);
    if (const char* path = std::getenv(log_file_variable)) {
        if (const std::unique_ptr<std::FILE, Close> file{std::fopen(path, "a")}) {
            std::fprintf(file.get(), "%d %d %s\n", int{module}, int{level}, text);
        }
    }
}
