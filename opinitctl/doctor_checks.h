// What the library looks at on a host, each thing with what is wrong with it and what helps.
#pragma once

#include <string>
#include <vector>

namespace opinitctl {

enum class Result { ok, problem, note };

struct Check {
    const char* name;
    Result result;
    std::string finding;
    std::string remedy;
};

std::vector<Check> examine_host();

}  // namespace opinitctl
