// The text of iscsid.conf with a request's settings in it.
#pragma once

#include <string_view>

#include "config/request.h"
#include "core/base/secret_text.h"

namespace opinit {

/// Every line whose key the request names is replaced; keys without a line are appended, with an empty line
/// behind them. All other lines stay as they are, byte for byte.
SecretText rewritten_settings(std::string_view old, const Request& request);

}  // namespace opinit
