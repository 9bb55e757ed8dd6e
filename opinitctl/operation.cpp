#include "operation.h"

#include "errors.h"

namespace opinitctl {
namespace {

bool is_about_the_stack(unsigned int status) {
    return status == iscsi_status::stack_not_installed || status == iscsi_status::initiator_not_started;
}

}  // namespace

void require_success(ISCSI_Initiator& initiator, const std::string& task, unsigned int status,
                     const std::string& hint) {
    if (status == iscsi_status::success) return;
    std::string text = "cannot " + task + ": " + std::to_string(status);
    const std::string message = initiator.GetErrStr(static_cast<int>(status));
    if (!message.empty()) text += ": " + message;
    const std::string advice = is_about_the_stack(status) ? "\"opinitctl doctor\" tells why" : hint;
    if (!advice.empty()) text += " (" + advice + ")";
    throw Failure(text);
}

}  // namespace opinitctl
