#pragma once

namespace simhost {

// What becomes of a session when its target goes away and comes back.
enum class SessionState {
    up,
    recovering,  // the connection is lost, and the session waits for it
    failed,      // it has waited in vain, and its disks fail
};

// False where there is no such session.
bool set_session_state(unsigned sid, SessionState state);

}  // namespace simhost
