#include "session_state.h"

#include <filesystem>
#include <string>

#include "files.h"
#include "portal.h"

namespace fs = std::filesystem;

namespace simhost {
namespace {

// Without a connection the kernel answers a read of these with ENOTCONN, though they open. On plain files the
// nearest thing is a process's own memory, which opens and whose first byte cannot be read (EIO).
const fs::path unreadable = run_directory / "proc/self/mem";

struct States {
    const char* session;
    const char* connection;
    const char* device;
};

States states_of(SessionState state) {
    switch (state) {
        case SessionState::up:
            return {"LOGGED_IN", "up", "running"};
        case SessionState::recovering:
            return {"FAILED", "failed", "blocked"};
        case SessionState::failed:
            break;
    }
    return {"FREE", "failed", "transport-offline"};
}

void write_attribute(const fs::path& attribute, const std::string& value) {
    fs::remove(attribute);
    write_file(attribute, value + "\n");
}

void make_unreadable(const fs::path& attribute) {
    fs::remove(attribute);
    fs::create_symlink(unreadable, attribute);
}

void write_device_states(const fs::path& session, const char* state) {
    for (const std::string& target : names_in(session)) {
        if (!target.starts_with("target")) continue;
        for (const std::string& lun : names_in(session / target)) {
            if (fs::exists(session / target / lun / "state")) {
                write_attribute(session / target / lun / "state", state);
            }
        }
    }
}

// The host's address is what cannot be told from other attributes when the session comes back.
fs::path kept_address(const std::string& number) {
    return run_directory / "lost-addresses" / number;
}

void lose_connection(const fs::path& connection, const fs::path& host, const std::string& number) {
    if (fs::is_symlink(host / "ipaddress")) return;
    fs::create_directories(kept_address(number).parent_path());
    write_file(kept_address(number), read_line(host / "ipaddress"));
    for (const char* name : {"address", "port", "local_port"}) make_unreadable(connection / name);
    make_unreadable(host / "ipaddress");
}

void restore_connection(const fs::path& connection, const fs::path& host, const std::string& number) {
    if (!fs::is_symlink(host / "ipaddress")) return;
    write_attribute(connection / "address", kernel_form(read_line(connection / "persistent_address")));
    write_attribute(connection / "port", read_line(connection / "persistent_port"));
    write_attribute(connection / "local_port", "45442");
    write_attribute(host / "ipaddress", read_line(kept_address(number)));
}

}  // namespace

bool set_session_state(unsigned sid, SessionState state) {
    const std::string number = std::to_string(sid);
    const fs::path session = fs::path("/sys/class/iscsi_session") / ("session" + number);
    if (!fs::exists(session)) return false;
    const fs::path device = fs::canonical(session / "device");
    const fs::path connection = fs::path("/sys/class/iscsi_connection") / ("connection" + number + ":0");
    const fs::path host = fs::path("/sys/class/iscsi_host") / device.parent_path().filename();
    const States states = states_of(state);
    write_attribute(session / "state", states.session);
    write_attribute(connection / "state", states.connection);
    write_device_states(device, states.device);
    if (state == SessionState::up) {
        restore_connection(connection, host, number);
    } else {
        lose_connection(connection, host, number);
    }
    return true;
}

}  // namespace simhost
