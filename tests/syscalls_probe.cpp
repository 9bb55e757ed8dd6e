// Runs one operation between two marks that a system call trace shows.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "kvlinopinitr/iscsi_records.h"
#include "kvlinopinitr/open_initiator.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace {

unsigned int run(OpenInitiator& initiator, const std::string& operation, unsigned char* buffer) {
    unsigned int count = 0;
    unsigned int bytes = 0;
    if (operation == "check") return check_stack_available() + check_stack_running() == 2 ? 0 : 1;
    if (operation == "sessions") return initiator.QuerySessionList(buffer, &count, &bytes);
    if (operation == "disks") {
        unsigned char session[] = "1";
        return initiator.QueryDisks(session, buffer, &count, &bytes);
    }
    if (operation == "targets") return initiator.GetTargetList(1, 0, buffer, &bytes);
    if (operation == "set") {
        _iSCSI_Property request[] = {{7, "No"}, {21, "a-user"}, {78, ""}};
        return static_cast<unsigned int>(_SetProperty(1, request));
    }
    return 1;
}

}  // namespace

int main(int, char** arguments) {
    OpenInitiator initiator;
    std::vector<unsigned char> buffer(30 << 20);
    access("/mark", F_OK);
    const unsigned int status = run(initiator, arguments[1], buffer.data());
    access("/mark", F_OK);
    std::printf("%u\n", status);
    return status == 0 ? 0 : 1;
}
