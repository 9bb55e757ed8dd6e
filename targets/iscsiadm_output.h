// What iscsiadm's captured output says.
#pragma once

#include "core/base/command.h"

namespace opinit {

/// Judges captured output by the phrases of a login: 197 already logged in; 199 login failed; 0 when no line
/// decides or the file cannot be opened. The file stays.
unsigned int _check_iscsiadm_output(const char* path);

/// Removes the captured output once it was read, also when memory runs out on the way.
class CapturedOutputRemoval {
public:
    CapturedOutputRemoval() = default;
    CapturedOutputRemoval(const CapturedOutputRemoval&) = delete;
    CapturedOutputRemoval& operator=(const CapturedOutputRemoval&) = delete;
    ~CapturedOutputRemoval() { remove_captured_output(); }
};

}  // namespace opinit
