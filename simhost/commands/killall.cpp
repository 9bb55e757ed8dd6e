#include <cstdio>

#include "commands.h"
#include "failure.h"
#include "processes.h"

namespace simhost {

int killall(int argc, char** argv) {
    if (argc < 2) throw Failure(1, "no process name given");
    int exit_code = 0;
    for (int i = 1; i < argc; ++i) {
        if (argv[i][0] == '-') throw Failure(1, std::string("option not simulated: ") + argv[i]);
        if (processes_named(argv[i]).empty()) {
            std::fprintf(stderr, "%s: no process found\n", argv[i]);
            exit_code = 1;
        } else {
            end_processes_named(argv[i]);
        }
    }
    return exit_code;
}

}  // namespace simhost
