// How the work of an operation ended.
#pragma once

namespace opinit {

struct Verdict {
    unsigned int status;
    bool reported;  ///< whether the object records and logs the status
};

constexpr Verdict silent(unsigned int status) {
    return {status, false};
}
constexpr Verdict reported(unsigned int status) {
    return {status, true};
}

}  // namespace opinit
