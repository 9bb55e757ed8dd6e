// What a test puts on its simulated host, at the real paths, and what it finds there afterwards.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// Creates the directories on the way and replaces the file.
void write_file(const std::string& path, std::string_view text);
/// The command that runs in place of the host's: a script that finds its arguments in "$@".
void install_iscsiadm(const std::string& script);
std::string read_file(const std::string& path);
bool exists(const std::string& path);
void make_directory(const std::string& path);
void make_link(const std::string& path, const std::string& target);
void remove(const std::string& path);

/// What stands at a path, as rows of tables say it: a file's text, "-> TARGET" for a link, "/" for a
/// directory, or nothing.
void put(const std::string& path, const std::string& what);
inline const std::string nothing = "nothing";

/// Takes from root what lets it pass over permissions, and gives it back.
void obey_permissions(bool obey);

std::string module_file();
/// The stack as the probes of the library see it.
void start_stack();
void stop_stack();
void remove_stack();

void set_initiator_name(const std::string& name);

struct Lun {
    int number;
    std::string device;  // empty: no block device
    std::string sectors;
    std::string vendor;
    std::string model;
};

struct Session {
    int number;
    std::string target = "iqn.2024-01.example.array:disks";
    int scsi_host = 3;
    std::string address = "10.0.0.1";
    std::string port = "3260";
    std::string initiator_address = "10.0.0.100";
    std::vector<Lun> luns = {};
    int target_id = 0;
};

void add_session(const Session& session);

/// Lines of the maker's log since the last `forget_log`: "MODULE LEVEL TEXT".
std::vector<std::string> log_entries();
void forget_log();

}  // namespace host

/// Commands that the process handed to system(), which stands in for the C library's.
namespace shell {

struct Answer {
    int result;
    int error;
    std::string captured;  // text for the file that the command's output goes to
};

/// Exact texts in order since the last `forget`.
const std::vector<std::string>& commands();
void forget();
/// From now on commands are not run but answered, in order; the last answer serves all further ones. An empty
/// list has commands run for real again. `effect` is what the commands do besides.
void answer(std::vector<Answer> answers, std::function<void(std::string_view)> effect = {});

}  // namespace shell
