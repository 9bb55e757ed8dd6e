#include <dlfcn.h>

#include <cerrno>

#include "kvlinopinitr/open_initiator_functions.h"
#include "tests/support/host.h"

namespace shell {
namespace {

std::vector<std::string> recorded;
std::vector<Answer> scripted;
std::size_t answered = 0;

}  // namespace

const std::vector<std::string>& commands() {
    return recorded;
}
void forget() {
    recorded.clear();
}
void answer(std::vector<Answer> answers) {
    scripted = std::move(answers);
    answered = 0;
}

}  // namespace shell

extern "C" int system(const char* command) {
    using namespace shell;
    recorded.emplace_back(command);
    if (scripted.empty()) {
        static const auto real = reinterpret_cast<int (*)(const char*)>(dlsym(RTLD_NEXT, "system"));
        return real(command);
    }
    const Answer& next = scripted[std::min(answered++, scripted.size() - 1)];
    if (recorded.back().find(" 1&>") != std::string::npos) host::write_file(tmperrfile, next.captured);
    if (next.result != 0) errno = next.error;
    return next.result;
}
