// Logging a session out.
#include "core/base/command.h"
#include "core/base/no_exceptions.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "sessions/session_class.h"

using namespace opinit;

unsigned int _LogoutTarget(unsigned char* session) {
    return without_exceptions(iscsi_status::out_of_memory, [&] {
        const int number = session[0];
        if (find_session(number) == 0) return iscsi_status::no_such_session;
        Command command;
        command.text("iscsiadm -m session -r ").number(number).text(" -u");
        return run_command(command.c_str()) == 0 ? iscsi_status::success : iscsi_status::failure;
    });
}
