// Loads the library when it is needed, for an agent that also runs where it is not installed. The class comes
// with it: its constructor is a symbol, and its operations are reached through the interface's table.
#include <dlfcn.h>
#include <kvlinopinitr/open_initiator.h>

#include <cstdio>
#include <memory>
#include <new>

namespace {

/// The object's memory is the agent's, its construction and destruction the library's.
class LoadedInitiator {
public:
    explicit LoadedInitiator(void* library)
        : destroy_{reinterpret_cast<Function>(dlsym(library, "_ZN13OpenInitiatorD1Ev"))} {
        const auto construct = reinterpret_cast<Function>(dlsym(library, "_ZN13OpenInitiatorC1Ev"));
        if (construct == nullptr || destroy_ == nullptr) return;
        construct(memory_);
        interface_ = std::launder(reinterpret_cast<ISCSI_Initiator*>(memory_));
    }
    LoadedInitiator(const LoadedInitiator&) = delete;
    LoadedInitiator& operator=(const LoadedInitiator&) = delete;
    ~LoadedInitiator() {
        if (interface_ != nullptr) destroy_(memory_);
    }

    ISCSI_Initiator* get() const { return interface_; }

private:
    using Function = void (*)(void*);

    alignas(OpenInitiator) unsigned char memory_[sizeof(OpenInitiator)];
    Function destroy_;
    ISCSI_Initiator* interface_ = nullptr;
};

}  // namespace

int main(int count, char** arguments) {
    // It stays loaded whatever happens: the connection records it hands out are good as long as the process
    // lives.
    void* library = dlopen(count > 1 ? arguments[1] : "libkvlinopinitr.so.2", RTLD_NOW);
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    const LoadedInitiator initiator{library};
    if (initiator.get() == nullptr) {
        std::fprintf(stderr, "not the library it should be\n");
        return 1;
    }
    std::printf("the stack is %s\n",
                initiator.get()->IsServiceAvailable() != 0 ? "installed" : "not installed");
    return 0;
}
