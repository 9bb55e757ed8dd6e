// Tries every file of the directories named, where no fuzzer's own main program does.
#include <cstdint>
#include <filesystem>
#include <iostream>

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int count, char** arguments) {
    std::size_t tried = 0;
    for (int i = 1; i < count; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator{arguments[i]}) {
            std::cout << ++tried << ' ' << entry.path().string() << std::endl;
            const std::string input = host::read_file(entry.path());
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
        }
    }
    return tried == 0 ? 1 : 0;
}
