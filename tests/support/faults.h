// Bad days for one call: system calls and allocations that fail, and what the call leaves behind.
#pragma once

#include <string>
#include <vector>

namespace faults {

/// System calls by how they fail. `entry` makes or removes one.
enum class Kind : unsigned char { open, read, list, write, look, entry, cut, flush, lock };
inline constexpr const char* kind_names[] = {"open",  "read", "list",  "write", "look",
                                             "entry", "cut",  "flush", "lock"};

struct SystemCall {
    Kind kind;
    bool may_be_short;  // a transfer that a real host may cut short
    char path[200];     // as far as it is known
};

/// What fails from `begin` on. Numbers count from 0; -1: none.
struct Plan {
    int system_call = -1;
    int error = 0;  // of the system call or the command; 0: the transfer is cut short
    int allocation = -1;
    int command = -1;
    int result = 0;        // of the command, which does not run
    bool lasting = false;  // every further one of its kind fails too
    int times = 1;         // how many in a row fail otherwise
};

/// Counts that the two watchers share.
struct Counts {
    int system_calls, allocations, commands, injected;
    int blocks;            // heap blocks that were taken and not given back
    int secrets;           // blocks that were given back with the secret in them
    int inheritable;       // uses of descriptors that a child would inherit
    int unknown;           // system call that is in no list
    int standard_streams;  // uses of descriptors 0 to 2 as files of the library's own
};

struct Report {
    std::vector<SystemCall> system_calls;
    Counts counts;
    std::string faults;  // what the library did that it must never do; empty: nothing
};

/// Once per process, before the first plan: system calls are trapped from then on.
void trap_system_calls();

/// What must not stay in memory.
inline constexpr char secret[] = "quite-secret-1234";

void begin(const Plan& plan);
Report end();

/// Whether calls are watched, counted and made to fail now.
inline bool armed = false;

/// What the test does in between is not the library's.
class Pause {
public:
    Pause() { armed = false; }
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
    ~Pause() { armed = before_; }

private:
    bool before_ = armed;
};

inline Plan plan;
inline Counts counts;

}  // namespace faults
