#include <dlfcn.h>

#include "tests/support/faults.h"
#include "tests/support/test.h"

namespace shell {
namespace {

std::vector<std::string> recorded;
std::vector<Answer> scripted;
std::size_t answered = 0;
std::function<void(std::string_view)> act;

}  // namespace

const std::vector<std::string>& commands() {
    return recorded;
}
void forget() {
    recorded.clear();
}
void answer(std::vector<Answer> answers, std::function<void(std::string_view)> effect) {
    scripted = std::move(answers);
    act = std::move(effect);
    answered = 0;
}

}  // namespace shell

extern "C" int system(const char* command) {
    using namespace shell;
    const bool fails = faults::armed && faults::counts.commands++ == faults::plan.command;
    const faults::Pause pause;
    recorded.emplace_back(command);
    if (fails) {
        ++faults::counts.injected;
        errno = faults::plan.error;
        return faults::plan.result;
    }
    if (scripted.empty()) {
        static const auto real = reinterpret_cast<int (*)(const char*)>(dlsym(RTLD_NEXT, "system"));
        return real(command);
    }
    const Answer& next = scripted[std::min(answered++, scripted.size() - 1)];
    if (recorded.back().find(" 1&>") != std::string::npos) host::write_file(tmperrfile, next.captured);
    if (act) act(recorded.back());
    if (next.result != 0) errno = next.error;
    return next.result;
}
