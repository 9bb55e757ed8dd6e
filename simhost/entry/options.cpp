#include "options.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "distros.h"
#include "failure.h"

namespace simhost {

namespace fs = std::filesystem;

namespace {

constexpr const char* examples = R"(
A host that is new has the stack running and no session. --distro, --sysfs and --stopped say how a
new host is made; a state directory that was used before keeps what it has.

The exit status is COMMAND's own (128 + N when signal N ended it); 125 when the host cannot be
entered, 126 or 127 when COMMAND cannot be run or found.

  simhost/enter bash
  simhost/enter --distro suse --stopped iscsiadm -m session
  simhost/enter --state ~/myhost iscsiadm -m discovery -t st -p 192.168.50.10
)";

struct HelpFormatter : CLI::Formatter {
    std::string make_usage(const CLI::App*, std::string) const override {
        return "Usage: simhost/enter [OPTIONS] COMMAND [ARGUMENTS...]\n";
    }
};

void declare(CLI::App& app, Options& options) {
    app.name("simhost/enter");
    app.formatter(std::make_shared<HelpFormatter>());
    app.footer(examples);
    // From COMMAND on nothing is ours, whatever it looks like.
    app.prefix_command();
    app.add_option(
           "--distro", options.distro,
           "Kind of host: redhat (default), suse or other of old, redhat-today, suse-today or debian-today")
        ->check(CLI::IsMember(distro_names()));
    app.add_option("--state", options.state, "Keep the host in this directory from one call to the next");
    app.add_option("--sysfs", options.sysfs,
                   "Form of the session entries in /sys: today (default) or older, where the device link "
                   "names the SCSI host")
        ->check(CLI::IsMember({"today", "older"}));
    app.add_flag("--stopped", options.stopped, "The stack is installed but not running");
    app.add_option("--writable", options.writable, "A directory that COMMAND may write to (repeatable)")
        ->check(CLI::ExistingDirectory)
        ->allow_extra_args(false);
    // Given by the script, which knows where the project is.
    app.add_option("--project", options.project)->group("")->required();
}

void make_canonical(Options& options) {
    options.project = fs::canonical(options.project);
    options.templates = options.project / "simhost" / "etc";
    options.build = fs::read_symlink("/proc/self/exe").parent_path();
    if (options.state) {
        fs::create_directories(*options.state);
        options.state = fs::canonical(*options.state);
    }
    for (fs::path& directory : options.writable) directory = fs::canonical(directory);
}

}  // namespace

ParsedOptions parse_options(int argc, char** argv) {
    CLI::App app{"Run COMMAND on a simulated host with an iSCSI stack; nothing outside changes."};
    Options options;
    declare(app, options);
    try {
        app.parse(argc, argv);
        options.command = app.remaining();
        if (!options.command.empty() && options.command.front() == "--") {
            options.command.erase(options.command.begin());
        }
        if (options.command.empty()) throw CLI::RequiredError("COMMAND");
    } catch (const CLI::ParseError& error) {
        return {std::nullopt, app.exit(error) == 0 ? 0 : exit_not_entered};
    }
    make_canonical(options);
    return {options, 0};
}

}  // namespace simhost
