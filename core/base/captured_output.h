// The file that the shell writes the output of commands to. Its place, /tmp, is everybody's.
#pragma once

namespace opinit {

/// `tmperrfile` as it is now; an empty text when the agent set it to null.
const char* captured_output_path();

/// Sees to it that the shell will write into an empty file that nobody else has a hand on. A plain file that
/// only we may write stays, emptied, and a device does; what else is there goes. Where that is not possible,
/// the shell will fail to write, and the command's output stays unknown.
void make_way_for_captured_output();

void remove_captured_output();

/// Removes the captured output once it was read, also when memory runs out on the way.
class CapturedOutputRemoval {
public:
    CapturedOutputRemoval() = default;
    CapturedOutputRemoval(const CapturedOutputRemoval&) = delete;
    CapturedOutputRemoval& operator=(const CapturedOutputRemoval&) = delete;
    ~CapturedOutputRemoval() { remove_captured_output(); }
};

}  // namespace opinit
