// The message of a status code.
#pragma once

namespace opinit {

/// Constant text from `OpenIscsiErrStr`; an empty text for a code that has none, never null.
const char* status_message(unsigned int code);

}  // namespace opinit
