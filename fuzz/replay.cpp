// Tries every file of the directories named, where no fuzzer's own main program does.
#include <cstdint>
#include <cstdio>
#include <filesystem>

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int count, char** arguments) {
    std::size_t tried = 0;
    for (int i = 1; i < count; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator{arguments[i]}) {
            std::printf("%s\n", entry.path().c_str());
            std::fflush(stdout);
            const std::string input = fuzz::get(entry.path().c_str());
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
            ++tried;
        }
    }
    std::printf("%zu inputs\n", tried);
    return tried == 0 ? 1 : 0;
}
