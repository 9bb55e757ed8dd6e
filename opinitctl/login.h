// Logging in, and making sure that it happened.
#pragma once

#include <optional>
#include <string>

#include "output.h"

namespace opinitctl {

struct LoginRequest {
    std::string target;
    std::string portal;
    std::optional<std::string> user;
    std::string secret_file;
    std::optional<std::string> user_in;
    std::string secret_in_file;
    bool persistent = false;
    bool header_digest = false;
    bool data_digest = false;
    unsigned int limit = 0;  ///< seconds; 0 is none
};

void log_in(const LoginRequest& request, const Output& output);

}  // namespace opinitctl
