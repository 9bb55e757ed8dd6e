// What iscsiadm's captured output says.
#pragma once

namespace opinit {

/// Judges captured output by the phrases of a login: 197 already logged in; 199 login failed; 0 when no line
/// decides or there is no file. The file stays.
unsigned int _check_iscsiadm_output();

}  // namespace opinit
