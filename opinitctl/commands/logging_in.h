// Logging in, and making sure that it happened.
#pragma once

#include <optional>
#include <string>

#include "host/portal.h"
#include "shown/output.h"

namespace opinitctl {

struct LoginRequest {
    std::string target;            ///< empty for every target that is recorded at the portal
    std::optional<Portal> portal;  ///< none for every portal that is recorded of the target
    std::optional<std::string> user;
    std::string secret_file;  ///< empty to ask
    std::optional<std::string> user_in;
    std::string secret_in_file;
    bool persistent = false;
    bool header_digest = false;
    bool data_digest = false;
    unsigned int limit = 0;  ///< seconds for all, or 0
};

void log_in(const LoginRequest& request, const Output& output);

}  // namespace opinitctl
